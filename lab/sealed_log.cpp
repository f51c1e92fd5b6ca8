#include "lab/sealed_log.h"

#include "lab/byte_builder.h"
#include "tpm/event_log.h"
#include "tpm/event_log_reader.h"

namespace vellum::lab {
namespace {

struct byte_range {
    std::size_t begin = 0;
    std::size_t end = 0;
};

struct log_places {
    std::vector<byte_range> seals;  // of earlier seals, before the separator
    std::size_t separator = 0;      // 0: there is none
    std::size_t end = 0;            // of the last event
};

std::string find_places(event_log_reader& reader, log_places& out) {
    tpm_event event;
    while (reader.at_event()) {
        if (reader.oversized() || !reader.read(event)) {
            return "has an event that is too large or has no SHA-256 digest";
        }
        const std::size_t begin = reader.position();
        reader.advance();
        if (is_seal_event(event) && out.separator != 0) {
            return "has a seal that was measured behind the separator of PCR 5";
        }
        if (is_seal_event(event)) {
            out.seals.push_back({begin, reader.position()});
        } else if (is_separator_event(event) && out.separator == 0) {
            out.separator = begin;
        }
    }
    out.end = reader.position();
    return out.separator == 0 ? "has no separator of PCR 5 (EV_SEPARATOR), before which the seal is measured" : "";
}

std::string check_banks(const std::vector<log_bank>& banks) {
    for (const log_bank& bank : banks) {
        if (!can_hash(bank)) {
            return "has a bank of digests that cannot be computed (algorithm " + std::to_string(bank.algorithm) + ")";
        }
    }
    return "";
}

}  // namespace

std::string measure_before_separator(byte_view log, const log_event& event, std::vector<std::uint8_t>& out) {
    event_log_reader reader;
    if (!ok(reader.open(log))) {
        return "is no TPM 2.0 event log with SHA-256 digests";
    }
    if (reader.format() != log_format::crypto_agile) {
        return "is in the SHA-1 layout, without SHA-256 digests";
    }
    std::vector<log_bank> banks;
    for (const auto& [algorithm, digest_size] : reader.algorithms()) {
        banks.push_back({algorithm, digest_size});
    }
    log_places places;
    if (std::string lacks = find_places(reader, places); !lacks.empty()) {
        return lacks;
    }
    if (!is_unused_area(log.subspan(places.end))) {
        return "is damaged behind its last event";
    }
    if (std::string lacks = check_banks(banks); !lacks.empty()) {
        return lacks;
    }
    byte_builder sealed;
    std::size_t at = 0;
    for (const byte_range& seal : places.seals) {
        sealed.bytes(log.subspan(at, seal.begin - at));
        at = seal.end;
    }
    sealed.bytes(log.subspan(at, places.separator - at)).bytes(build(event, banks));
    out = sealed.bytes(log.subspan(places.separator)).take();
    return "";
}

}  // namespace vellum::lab
