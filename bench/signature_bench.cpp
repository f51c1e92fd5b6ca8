// The PMF and the seal: format rules, signatures and the trust in their signers.
#include <openssl/pem.h>

#include <string>
#include <vector>

#include "base/file_handle.h"
#include "bench/race.h"
#include "lab/certificate_authority.h"
#include "lab/device.h"
#include "lab/pmf_builder.h"
#include "pmf/certificate.h"
#include "pmf/parser.h"
#include "pmf/pcr_set.h"
#include "pmf/rules.h"
#include "pmf/signature.h"
#include "pmf/trust.h"
#include "seal/seal_signature.h"

namespace vellum::bench {
namespace {

constexpr std::int64_t now = 1'772'445'600;  // 2026-03-02 10:00:00 UTC

constexpr double rules_limit = 20;
constexpr const char* rsa_name = "RSA verification";

// Partitions, the costliest entries, as many as fit; what is left is a certificate's worth of bytes.
std::vector<std::uint8_t> make_pmf(std::size_t size) {
    lab::pmf file;
    const PMF::PartitionEntry entry = file.disk.entries.back();
    while (build(file).size() + 272 <= size) {
        file.disk.entries.push_back(entry);
    }
    if (const std::size_t made = build(file).size(); made < size) {
        file.certificate.content.resize(size - made);
    }
    return build(file);
}

void pmf_rules(benchmark::State& state) {
    const log_session session(log_level::off);
    const std::vector<std::uint8_t> bytes = make_pmf(static_cast<std::size_t>(state.range(0)));
    bool valid = static_cast<std::int64_t>(bytes.size()) == state.range(0);
    const auto path = [&] {
        return seconds_of([&] {
            std::optional<PmfDocument> document;
            pmf_pcr_set pcrs;
            PMF::PCRMetadataFileExtension extension;
            valid = valid && ok(parse_pmf(bytes, document)) && ok(run_strict_rules(*document)) &&
                    ok(read_pmf_pcrs(*document, pcrs)) && ok(get_pmf_extension(*document, extension)) &&
                    ok(check_pmf_pcr_set(extension));
        });
    };
    race(state, {"SHA-384 of the PMF", rules_limit}, path, [&] { return sha384_of(bytes); });
    if (!valid) {
        state.SkipWithError("the PMF does not pass");
    }
}
// The largest that a header can claim: a marker and 2000 dwords.
BENCHMARK(pmf_rules)->Name("PMF, parse and every rule")->Arg(2'004)->Arg(8'004)->UseManualTime();

struct sealed_device {
    sealed_device() {
        lab::seal_log block;
        valid = ok(lab::make_device({}, made)) && ok(parse_pmf(made.platform_measurements, pmf));
        block.events = made.seal_log;
        valid = valid && ok(read_seal_log(build(block), log));
        signature = read_seal_signature(build(made.signature));
        valid = valid && signature;
    }

    lab::device made;
    std::optional<PmfDocument> pmf;
    seal_log log;
    std::optional<seal_signature> signature;
    bool valid = false;
};

void pmf_signature(benchmark::State& state) {
    const log_session session(log_level::off);
    const sealed_device device;
    bool verified = device.valid;
    const auto path = [&] {
        return seconds_of(
            [&] { benchmark::DoNotOptimize(verified && ok(verify_pmf_signature(*device.pmf, verified))); });
    };
    race(state, {rsa_name}, path, rsa_verification);
    if (!verified) {
        state.SkipWithError("the PMF is not signed");
    }
}
BENCHMARK(pmf_signature)->Name("PMF, signature")->Arg(1)->UseManualTime();

void seal_signature_level_1(benchmark::State& state) {
    const log_session session(log_level::off);
    const sealed_device device;
    bool trusted = device.valid;
    const auto path = [&] {
        return seconds_of([&] {
            const seal_signature_inputs inputs = {device.log, *device.signature, true, nullptr, &*device.pmf, now};
            trusted = trusted && verify_seal_signature(inputs).verdict != stage_verdict::failed;
        });
    };
    race(state, {rsa_name}, path, rsa_verification);
    if (!trusted) {
        state.SkipWithError("the seal is not trusted");
    }
}
BENCHMARK(seal_signature_level_1)->Name("seal signature, TL1")->Arg(1)->UseManualTime();

// Reads the certificates with the library alone.
double certificate_reading(const std::vector<std::string>& paths) {
    return seconds_of([&] {
        for (const std::string& path : paths) {
            const file_handle file(std::fopen(path.c_str(), "r"));
            const certificate_handle certificate(file ? PEM_read_X509(file.get(), nullptr, nullptr, nullptr)
                                                      : nullptr);
            benchmark::DoNotOptimize(certificate.get());
        }
    });
}

// The root that counts is one of as many in the directory.
void pmf_trust(benchmark::State& state) {
    log_session session(log_level::off);
    const sealed_device device;
    const test::temp_dir directory;
    std::vector<std::string> paths;
    for (const auto& [path, text] : device.made.certificates) {
        paths.push_back(directory.write(path, text));
    }
    for (std::int64_t i = 1; i < state.range(0); ++i) {
        const std::string name = "Other root " + std::to_string(i);
        paths.push_back(directory.write("trusted/" + std::to_string(i) + ".crt",
                                        lab::pem(lab::self_signed(lab::authority(name, 1)).der)));
    }
    const pmf_trust_settings settings = {true, directory.file("trusted"), directory.file("intermediate"), ""};
    bool trusted = device.valid;
    const auto path = [&] {
        return seconds_of([&] {
            vellum::pmf_trust trust;
            trusted = trusted && ok(verify_pmf_trust(*device.pmf, settings, session.services().directories,
                                                     session.services().time, trust));
        });
    };
    race(state, {"reading the directory"}, path, [&] { return certificate_reading(paths); });
    if (!trusted) {
        state.SkipWithError("the PMF is not trusted");
    }
}
BENCHMARK(pmf_trust)->Name("PMF, trust in its signer")->Arg(1)->Arg(10)->Arg(100)->Arg(1'000)->UseManualTime();

}  // namespace
}  // namespace vellum::bench
