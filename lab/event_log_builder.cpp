#include "lab/event_log_builder.h"

#include <openssl/evp.h>

#include "lab/byte_builder.h"
#include "tpm/event_log.h"

namespace vellum::lab {
namespace {

constexpr std::size_t sha1_size = 20;

const EVP_MD* digest_algorithm(std::uint16_t id) {
    switch (id) {
        case TPM_ALG_SHA1: return EVP_sha1();
        case TPM_ALG_SHA256: return EVP_sha256();
        case TPM_ALG_SHA384: return EVP_sha384();
        case TPM_ALG_SHA512: return EVP_sha512();
        case TPM_ALG_SM3_256: return EVP_get_digestbyname("SM3");  // not in every build of the library
        default: return nullptr;
    }
}

// The digest in the bank's size; zeros for an algorithm without a hash and for what does not extend.
std::vector<std::uint8_t> digest_of(const log_event& event, const log_bank& bank) {
    std::vector<std::uint8_t> digest(EVP_MAX_MD_SIZE);
    const EVP_MD* algorithm = digest_algorithm(bank.algorithm);
    if (algorithm != nullptr && event.type != EV_NO_ACTION) {
        EVP_Digest(event.data.data(), event.data.size(), digest.data(), nullptr, algorithm, nullptr);
    }
    digest.resize(bank.digest_size);
    return digest;
}

void write_data(byte_builder& out, const std::vector<std::uint8_t>& data, std::optional<std::uint32_t> claimed) {
    out.u32_le(claimed.value_or(static_cast<std::uint32_t>(data.size()))).bytes(data);
}

void write_legacy(byte_builder& out, const log_event& event) {
    out.u32_le(event.pcr).u32_le(event.type);
    out.bytes(event.digests ? event.digests->front().value : digest_of(event, {TPM_ALG_SHA1, sha1_size}));
    write_data(out, event.data, event.data_size);
}

void write_spec_id(byte_builder& out, const spec_id_event& spec) {
    byte_builder data;
    data.text(spec.signature).u32_le(spec.platform_class);
    data.u8(spec.version_minor).u8(spec.version_major).u8(spec.errata).u8(spec.uintn_size);
    data.u32_le(spec.bank_count.value_or(static_cast<std::uint32_t>(spec.banks.size())));
    for (const log_bank& bank : spec.banks) {
        data.u16_le(bank.algorithm).u16_le(bank.digest_size);
    }
    data.u8(static_cast<std::uint8_t>(spec.vendor_info.size())).text(spec.vendor_info);
    out.u32_le(spec.pcr).u32_le(spec.type).fill(sha1_size);
    write_data(out, data.take(), spec.data_size);
}

void write_agile(byte_builder& out, const log_event& event, const std::vector<log_bank>& banks) {
    std::vector<log_digest> digests = event.digests.value_or(std::vector<log_digest>());
    if (!event.digests) {
        for (const log_bank& bank : banks) {
            digests.push_back({bank.algorithm, digest_of(event, bank)});
        }
    }
    out.u32_le(event.pcr).u32_le(event.type);
    out.u32_le(event.digest_count.value_or(static_cast<std::uint32_t>(digests.size())));
    for (const log_digest& digest : digests) {
        out.u16_le(digest.algorithm).bytes(digest.value);
    }
    write_data(out, event.data, event.data_size);
}

}  // namespace

std::vector<std::uint8_t> build(const event_log& log) {
    byte_builder out;
    if (log.spec_id) {
        write_spec_id(out, *log.spec_id);
    }
    for (const log_event& event : log.events) {
        if (log.spec_id) {
            write_agile(out, event, log.spec_id->banks);
        } else {
            write_legacy(out, event);
        }
    }
    return out.take();
}

std::vector<std::uint8_t> build(const log_event& event, const std::vector<log_bank>& banks) {
    byte_builder out;
    write_agile(out, event, banks);
    return out.take();
}

bool can_hash(const log_bank& bank) {
    const EVP_MD* algorithm = digest_algorithm(bank.algorithm);
    return algorithm != nullptr && EVP_MD_size(algorithm) == bank.digest_size;
}

log_event text_event(std::uint32_t pcr, std::uint32_t type, std::string_view text) {
    log_event event;
    event.pcr = pcr;
    event.type = type;
    event.data.assign(text.begin(), text.end());
    return event;
}

log_event startup_locality(std::uint8_t locality) {
    log_event event = text_event(0, EV_NO_ACTION, std::string_view("StartupLocality\0", 16));
    event.data.push_back(locality);
    return event;
}

log_event separator(std::uint32_t pcr) {
    log_event event;
    event.pcr = pcr;
    event.type = EV_SEPARATOR;
    event.data.assign(4, 0);
    return event;
}

}  // namespace vellum::lab
