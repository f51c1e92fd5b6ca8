#include "tpm/event_details/tagged_event.h"

#include <algorithm>
#include <optional>
#include <span>

#include "core/times.h"
#include "tpm/event_details/text_fields.h"

namespace vellum {
namespace {

constexpr std::size_t max_depth = 8;
constexpr std::size_t max_values = 4096;

constexpr std::uint32_t windows_container = 0x40000000;

// How the bytes of a value are read. What does not fit stays bytes.
enum class value_form {
    bytes,
    container,
    flag,         // a byte, 0 or 1
    number,       // of 1, 2, 4 or 8 bytes
    wide_text,    // UTF-16
    any_text,     // UTF-16 or UTF-8
    revocation,   // a list's time, and its digest
    policy,       // a policy's version, name and digest
    boot_policy,  // the digest of the policy that Secure Boot's configuration adds
};

struct known_tag {
    std::uint32_t id;
    const char* name;
    value_form form;
};

// What boot stubs measure of the image that they are part of, and of what they load.
constexpr known_tag linux_tags[] = {
    {0x8F3B22EC, "initrd", value_form::any_text},
    {0x8F3B22ED, "LoadOptions", value_form::any_text},
};

constexpr known_tag systemd_tags[] = {
    {0xF5BC582A, "loader.conf", value_form::any_text},
    {0x6C46F751, "devicetree addon", value_form::any_text},
    {0x49DFFE0F, "initrd addon", value_form::any_text},
    {0xDAC08E1A, "microcode addon", value_form::any_text},
    {0x13AED6DB, "unified kernel profile", value_form::any_text},
};

// Of measured boot, by their public names. The upper half is the kind of the value, the lower its number.
constexpr known_tag windows_tags[] = {
    {0x40010001, "TrustBoundary", value_form::container},
    {0x40010002, "ELAMAggregation", value_form::container},
    {0x40010003, "LoadedModuleAggregation", value_form::container},
    {0xC0010004, "TrustPointAggregation", value_form::container},
    {0x40010005, "KSRAggregation", value_form::container},
    {0x40010006, "KSRSignedMeasurementAggregation", value_form::container},

    {0x00020001, "Information", value_form::bytes},
    {0x00020002, "BootCounter", value_form::number},
    {0x00020003, "TransferControl", value_form::number},
    {0x00020004, "ApplicationReturn", value_form::number},
    {0x00020005, "BitLockerUnlock", value_form::number},
    {0x00020006, "EventCounter", value_form::number},
    {0x00020007, "CounterId", value_form::number},
    {0x00020008, "MORBitNotCancelable", value_form::number},
    {0x00020009, "ApplicationSVN", value_form::number},
    {0x0002000A, "SVNChainStatus", value_form::number},
    {0x0002000B, "MORBitAPIStatus", value_form::number},

    {0x00030001, "FirmwareFailure", value_form::bytes},
    {0x00030002, "TPMFailure", value_form::bytes},
    {0x00030003, "InternalFailure", value_form::bytes},

    {0x00040001, "BootDebugging", value_form::flag},
    {0x00040002, "BootRevocationList", value_form::revocation},

    {0x00050001, "OSKernelDebug", value_form::flag},
    {0x00050002, "CodeIntegrity", value_form::flag},
    {0x00050003, "TestSigning", value_form::flag},
    {0x00050004, "DataExecutionPrevention", value_form::number},
    {0x00050005, "SafeMode", value_form::flag},
    {0x00050006, "WinPE", value_form::flag},
    {0x00050007, "PhysicalAddressExtension", value_form::number},
    {0x00050008, "OSDevice", value_form::number},
    {0x00050009, "SystemRoot", value_form::wide_text},
    {0x0005000A, "HypervisorLaunchType", value_form::number},
    {0x0005000B, "HypervisorPath", value_form::wide_text},
    {0x0005000C, "HypervisorIOMMUPolicy", value_form::number},
    {0x0005000D, "HypervisorDebug", value_form::flag},
    {0x0005000E, "DriverLoadPolicy", value_form::number},
    {0x0005000F, "SIPolicy", value_form::policy},
    {0x00050010, "HypervisorMMIONXPolicy", value_form::number},
    {0x00050011, "HypervisorMSRFilterPolicy", value_form::number},
    {0x00050012, "VSMLaunchType", value_form::number},
    {0x00050013, "OSRevocationList", value_form::revocation},
    {0x00050014, "SMTStatus", value_form::number},
    {0x00050020, "VSMIdentityKeyInfo", value_form::bytes},
    {0x00050021, "FlightSigning", value_form::flag},
    {0x00050022, "PagefileEncryptionEnabled", value_form::flag},
    {0x00050023, "VSMIdentityKeySigningInfo", value_form::bytes},
    {0x00050024, "HibernationDisabled", value_form::flag},
    {0x00050025, "DumpsDisabled", value_form::flag},
    {0x00050026, "DumpEncryptionEnabled", value_form::flag},
    {0x00050027, "DumpEncryptionKeyDigest", value_form::bytes},
    {0x00050028, "LSAIsoConfig", value_form::number},
    {0x00050029, "SBCPInfo", value_form::boot_policy},
    {0x00050030, "HypervisorBootDMAProtection", value_form::flag},

    {0x00060001, "NoAuthority", value_form::bytes},
    {0x00060002, "AuthorityPublicKey", value_form::bytes},

    {0x00070001, "FilePath", value_form::wide_text},
    {0x00070002, "ImageSize", value_form::number},
    {0x00070003, "HashAlgorithmID", value_form::number},
    {0x00070004, "AuthenticodeHash", value_form::bytes},
    {0x00070005, "AuthorityIssuer", value_form::wide_text},
    {0x00070006, "AuthoritySerial", value_form::bytes},
    {0x00070007, "ImageBase", value_form::number},
    {0x00070008, "AuthorityPublisher", value_form::wide_text},
    {0x00070009, "AuthoritySHA1Thumbprint", value_form::bytes},
    {0x0007000A, "ImageValidated", value_form::flag},
    {0x0007000B, "ModuleSVN", value_form::number},

    {0x80080001, "Quote", value_form::bytes},
    {0x80080002, "QuoteSignature", value_form::bytes},
    {0x80080003, "AIKId", value_form::wide_text},
    {0x80080004, "AIKPublicDigest", value_form::bytes},

    {0x00090001, "ELAMKeyName", value_form::wide_text},
    {0x00090002, "ELAMConfiguration", value_form::bytes},
    {0x00090003, "ELAMPolicy", value_form::bytes},
    {0x00090004, "ELAMMeasured", value_form::bytes},

    {0x000A0001, "VBSVSMRequired", value_form::flag},
    {0x000A0002, "VBSSecureBootRequired", value_form::flag},
    {0x000A0003, "VBSIOMMURequired", value_form::flag},
    {0x000A0004, "VBSMMIONXRequired", value_form::flag},
    {0x000A0005, "VBSMSRFilteringRequired", value_form::flag},
    {0x000A0006, "VBSMandatoryEnforcement", value_form::flag},
    {0x000A0007, "VBSHVCIPolicy", value_form::bytes},
    {0x000A0008, "VBSMicrosoftBootChainRequired", value_form::flag},
    {0x000A0009, "VBSDumpUsesAMERoot", value_form::flag},
    {0x000A000A, "VBSVSMNoSecretsEnforced", value_form::flag},

    {0x000B0001, "KSRSignature", value_form::bytes},

    {0x000C0001, "DRTMStateAuth", value_form::bytes},
    {0x000C0002, "DRTMSMMLevel", value_form::bytes},
    {0x000C0003, "DRTMAMDSMMHash", value_form::bytes},
    {0x000C0004, "DRTMAMDSMMSignerKey", value_form::bytes},
};

struct tag_writer {
    const char* name;
    std::span<const known_tag> tags;
};

constexpr tag_writer writers[] = {{"Linux", linux_tags}, {"systemd", systemd_tags}, {"Windows", windows_tags}};

// A tag and who writes it; both null for one that is unknown.
struct found_tag {
    const known_tag* tag = nullptr;
    const tag_writer* writer = nullptr;
};

found_tag find_tag(std::uint32_t id) {
    for (const tag_writer& writer : writers) {
        const auto row =
            std::find_if(writer.tags.begin(), writer.tags.end(), [id](const known_tag& tag) { return tag.id == id; });
        if (row != writer.tags.end()) {
            return {&*row, &writer};
        }
    }
    return {};
}

using plain_value = decltype(tagged_value::value);

plain_value flag_of(byte_view data) {
    return data.size() == 1 && data[0] <= 1 ? plain_value(data[0] == 1) : plain_value(data);
}

plain_value number_of(byte_view data) {
    const std::size_t size = data.size();
    if (size != 1 && size != 2 && size != 4 && size != 8) {
        return data;
    }
    return number_le(data);
}

plain_value wide_text_of(byte_view data) {
    return data.size() % 2 == 0 ? plain_value(utf8_of_utf16(data)) : plain_value(data);
}

plain_value any_text_of(byte_view data) {
    if (auto text = text_in(data)) {
        return std::move(*text);
    }
    if (auto text = utf16_text_in(data)) {
        return std::move(*text);
    }
    return data;
}

tagged_value field(const char* name, plain_value value) {
    tagged_value out;
    out.name = name;
    out.value = std::move(value);
    return out;
}

// A count of 100 nanoseconds since 1601. A number when no calendar has its day.
plain_value time_of(std::uint64_t count) {
    constexpr std::uint64_t per_second = 10'000'000;
    constexpr std::uint64_t first_second = 11'644'473'600;  // of 1970
    constexpr std::uint64_t seconds_until_9999 = 253'402'300'799;
    const std::uint64_t seconds = count / per_second;
    if (seconds < first_second || seconds - first_second > seconds_until_9999) {
        return count;
    }
    const auto text = utc_iso_string(static_cast<std::int64_t>(seconds - first_second));
    return text ? plain_value(*text) : plain_value(count);
}

// Each gives the fields of a value of several; none when they do not fit it.
std::vector<tagged_value> revocation_fields(byte_view data) {
    byte_reader reader(data);
    std::uint64_t created = 0;
    std::uint32_t digest_size = 0;
    std::uint16_t algorithm = 0;
    byte_view digest;
    if (!(reader.u64_le(created) && reader.u32_le(digest_size) && reader.u16_le(algorithm) &&
          reader.view(digest_size, digest))) {
        return {};
    }
    return {field("Created", time_of(created)), field("HashAlgorithmID", std::uint64_t{algorithm}),
            field("Digest", digest)};
}

std::vector<tagged_value> policy_fields(byte_view data) {
    byte_reader reader(data);
    std::uint64_t version = 0;
    std::uint16_t name_size = 0;
    std::uint16_t algorithm = 0;
    std::uint32_t digest_size = 0;
    byte_view name;
    byte_view digest;
    if (!(reader.u64_le(version) && reader.u16_le(name_size) && reader.u16_le(algorithm) &&
          reader.u32_le(digest_size) && reader.view(name_size, name) && reader.view(digest_size, digest))) {
        return {};
    }
    return {field("Version", version), field("Name", wide_text_of(name)),
            field("HashAlgorithmID", std::uint64_t{algorithm}), field("Digest", digest)};
}

std::vector<tagged_value> boot_policy_fields(byte_view data) {
    byte_reader reader(data);
    std::uint32_t version = 0;
    std::uint32_t offset = 0;
    std::uint16_t algorithm = 0;
    std::uint16_t digest_size = 0;
    std::uint32_t options = 0;
    std::uint32_t signers = 0;
    byte_reader behind(data);
    byte_view digest;
    if (!(reader.u32_le(version) && reader.u32_le(offset) && reader.u16_le(algorithm) && reader.u16_le(digest_size) &&
          reader.u32_le(options) && reader.u32_le(signers) && behind.skip(offset) &&
          behind.view(digest_size, digest))) {
        return {};
    }
    return {field("Version", std::uint64_t{version}), field("HashAlgorithmID", std::uint64_t{algorithm}),
            field("Options", std::uint64_t{options}), field("SignersCount", std::uint64_t{signers}),
            field("Digest", digest)};
}

// Reads the values of one level; `left` of all levels may still be read. Nothing when they do not fill the data.
std::optional<std::vector<tagged_value>> read_values(byte_view data, std::size_t depth, std::size_t& left);

void read_value(byte_view data, value_form form, std::size_t depth, std::size_t& left, tagged_value& out) {
    out.value = data;
    switch (form) {
        case value_form::bytes: return;
        case value_form::container:
            if (depth < max_depth && !data.empty()) {
                out.parts = read_values(data, depth + 1, left).value_or(std::vector<tagged_value>());
            }
            return;
        case value_form::flag: out.value = flag_of(data); return;
        case value_form::number: out.value = number_of(data); return;
        case value_form::wide_text: out.value = wide_text_of(data); return;
        case value_form::any_text: out.value = any_text_of(data); return;
        case value_form::revocation: out.parts = revocation_fields(data); return;
        case value_form::policy: out.parts = policy_fields(data); return;
        case value_form::boot_policy: out.parts = boot_policy_fields(data); return;
    }
}

std::optional<std::vector<tagged_value>> read_values(byte_view data, std::size_t depth, std::size_t& left) {
    std::vector<tagged_value> values;
    byte_reader reader(data);
    while (!reader.at_end()) {
        tagged_value value;
        std::uint32_t size = 0;
        byte_view bytes;
        if (!(reader.u32_le(value.id) && reader.u32_le(size) && reader.view(size, bytes)) || left == 0) {
            return std::nullopt;
        }
        --left;
        const known_tag* const known = find_tag(value.id).tag;
        const bool is_container = (value.id & windows_container) != 0;
        value.name = known != nullptr ? known->name : "";
        read_value(bytes,
                   known != nullptr ? known->form
                   : is_container   ? value_form::container
                                    : value_form::bytes,
                   depth, left, value);
        values.push_back(std::move(value));
    }
    return values;
}

}  // namespace

event_details decode_tagged_event(byte_view data) {
    std::size_t left = max_values;
    auto values = read_values(data, 1, left);
    if (!values || values->empty()) {
        return not_decoded{left == 0 ? "it holds more tagged values than are followed"
                                     : "its tagged values do not fill it"};
    }
    tagged_details out;
    const found_tag first = find_tag(values->front().id);
    out.writer = first.writer != nullptr ? first.writer->name : "";
    out.values = std::move(*values);
    return out;
}

}  // namespace vellum
