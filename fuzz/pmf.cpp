// The PMF: from the file to the decision whether to trust it, and what is read from it.
#include <tuple>

#include "core/log.h"
#include "disk/partitions.h"
#include "fuzz/fuzz_session.h"
#include "lab/device.h"
#include "native.h"  // of the system that the build is for
#include "pmf/parser.h"
#include "pmf/pcr_set.h"
#include "pmf/rules.h"
#include "pmf/signature.h"
#include "pmf/system_info.h"
#include "pmf/trust.h"

namespace vellum::fuzz {
namespace {

bool is_signed(byte_view file) {
    std::optional<PmfDocument> document;
    bool verified = false;
    return ok(parse_pmf(file, document)) && ok(verify_pmf_signature(*document, verified)) && verified;
}

// One bit of a signed PMF is changed; where, the digest of the file says. The trailing bytes are not signed.
void check_signature(byte_view file, const PmfDocument& document) {
    std::vector<std::uint8_t> copy(file.begin(), file.end());
    demand(is_signed(copy), "a signed PMF is signed in every copy");
    sha384_value digest{};
    demand(ok(pmf_digest(file, digest)), "hashing works");
    const std::size_t at = (digest[0] + 256U * digest[1]) % (file.size() - document.trailing_bytes);
    copy[at] = static_cast<std::uint8_t>(copy[at] ^ (1U << (digest[2] % 8)));
    demand(!is_signed(copy), "a changed PMF is not signed");
}

std::vector<std::uint8_t> write_back(const PmfDocument& document, byte_view file) {
    std::vector<std::uint8_t> written(file.begin(), file.begin() + 4);
    written.insert(written.end(), document.header_bytes.begin(), document.header_bytes.end());
    for (const pmf_extension& extension : document.extensions) {
        written.insert(written.end(), extension.bytes.begin(), extension.bytes.end());
    }
    written.insert(written.end(), file.end() - document.trailing_bytes, file.end());
    return written;
}

void check_trust(const PmfDocument& document, bool verified) {
    static native_platform native;
    static const pmf_trust_settings settings = [] {
        lab::device sample;
        demand(ok(lab::make_device({}, sample)), "the sample device can be made");
        for (const auto& [path, text] : sample.certificates) {
            scratch().write(path, text);
        }
        return pmf_trust_settings{true, scratch().file("trusted"), scratch().file("intermediate"), ""};
    }();
    pmf_trust trust;
    still_clock clock;
    const bool trusted = ok(verify_pmf_trust(document, settings, native.services().directories, clock, trust));
    demand(verified || !trusted, "a trusted PMF is signed");
    const bool relied_on = ok(verify_pmf_trust(document, {}, native.services().directories, clock, trust));
    demand(relied_on || !trusted, "what is trusted is also relied on where nobody has to vouch for it");
}

void read_contents(const PmfDocument& document) {
    pmf_pcr_set pcrs;
    PMF::PCRMetadataFileExtension pcr_table;
    PMF::DiskMetadataFileExtension disk;
    PMF::SystemInfoExtension system;
    std::ignore = run_strict_rules(document);
    demand(ok(read_pmf_pcrs(document, pcrs)), "every PCR that an accepted PMF lists is one");
    demand((pcrs.mask >> pcr_count) == 0, "no PCR is listed that does not exist");
    demand(ok(get_pmf_extension(document, pcr_table)) && ok(get_pmf_extension(document, disk)) &&
               ok(get_pmf_extension(document, system)),
           "an accepted PMF has every required extension");
    std::ignore = check_pmf_pcr_set(pcr_table);
    std::ignore = compare_gpt_partitions({disk_gpt_label, {}}, disk);
    std::ignore = compare_with_smbios(system, {});
    std::ignore = compare_with_registry(system, {});
}

}  // namespace

void check(byte_view input) {
    std::vector<std::uint8_t> file;
    const bool loaded = ok(load_pmf_file(scratch().write("pmf.bin", input), file));
    demand(loaded ? equal_bytes(file, input) : file.empty(), "a file is loaded as it is, or not at all");
    std::optional<PmfDocument> document;
    if (!loaded || !ok(parse_pmf(file, document))) {
        demand(!document, "a refused PMF leaves nothing");
        return;
    }
    demand(equal_bytes(write_back(*document, file), file), "a document holds every byte of the file");
    bool verified = false;
    const bool tried = ok(verify_pmf_signature(*document, verified));
    demand(tried || !verified, "a signature that could not be tried is not valid");
    if (verified) {
        check_signature(file, *document);
    }
    check_trust(*document, verified);
    read_contents(*document);
}

}  // namespace vellum::fuzz
