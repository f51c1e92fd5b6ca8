#include "tpm/event_log_reader.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "core/findings.h"
#include "core/log.h"

namespace vellum {
namespace {

// Both layouts begin with the PCR index and the event type.
constexpr std::size_t header_size = 8;
// TCG_PCR_EVENT: header, SHA-1 digest, data size; 32 bytes without data.
constexpr std::size_t legacy_record_size = 32;
constexpr std::size_t sha1_size = 20;
// TCG_PCR_EVENT2 with one SHA-256 digest and no data.
constexpr std::size_t agile_min_size = 32 + 18;
// The same with one digest of no known bank and size.
constexpr std::size_t any_bank_min_size = 18;
constexpr std::uint32_t max_digests = max_event_digests;

// TCG_EfiSpecIDEventStruct up to the algorithm list.
constexpr std::size_t spec_id_fixed_size = 28;
constexpr std::size_t spec_id_algorithm_size = 4;
constexpr std::string_view spec_id_signature("Spec ID Event03\0", 16);

struct algorithm_bit {
    std::uint16_t id;
    unsigned bit;
    const char* label;
};

constexpr algorithm_bit algorithm_bits[] = {
    {tpm_alg_sha1, 1, "[SHA-1] "},
    {tpm_alg_sha256, 2, "[SHA-256] "},
    {0x000C, 4, "[SHA-384] "},
    {0x000D, 8, "[SHA-512] "},
};
constexpr unsigned sha256_bit = 2;

unsigned bit_of(std::uint16_t id) {
    for (const auto& row : algorithm_bits) {
        if (row.id == id) {
            return row.bit;
        }
    }
    return 0;
}

std::string algorithm_names(unsigned mask) {
    std::string names;
    for (const auto& row : algorithm_bits) {
        if ((mask & row.bit) != 0) {
            names += row.label;
        }
    }
    return names;
}

}  // namespace

result invalid_log_structure() {
    report("log-malformed"_id, "Error occurred while trying to parse TPM Event Log file. Invalid file structure.");
    return result::invalid;
}

result event_log_reader::open(byte_view log, log_banks banks) {
    *this = event_log_reader();
    banks_ = banks;
    if (log.size() < legacy_record_size || log.size() > UINT32_MAX) {
        report("log-without-header"_id,
               "Error occurred while trying to create TPM Event Log file iterator. Invalid file structure.")
            .field("size", log.size())
            .field("expected", legacy_record_size)
            .field("limit", UINT32_MAX);
        return result::invalid;
    }
    log_ = log;
    take(0);
    tpm_event first;
    if (!at_event() || oversized() || !read(first)) {
        note("log-first-event-malformed"_id).field("size", log.size());
        return result::invalid;
    }
    const bool right_register = first.pcr == 0 || banks == log_banks::any;
    if (!right_register || first.type != EV_NO_ACTION) {
        return result::success;
    }
    const result spec_id = open_spec_id(first.data);
    if (ok(spec_id)) {
        format_ = log_format::crypto_agile;
        advance();
    }
    return spec_id;
}

result event_log_reader::open_spec_id(byte_view data) {
    if (!starts_with(data, as_bytes(spec_id_signature))) {
        report("log-not-tpm20"_id,
               "Invalid TPM Event Log structure. Ensure that the provided TPM Event Log contains a TPM 2.0 format.");
        return result::invalid;
    }
    byte_reader reader(data);
    std::uint8_t minor = 0;
    std::uint8_t major = 0;
    std::uint32_t count = 0;
    const bool fixed_part = data.size() >= spec_id_fixed_size && reader.skip(20) && reader.u8(minor) &&
                            reader.u8(major) && reader.skip(2) && reader.u32_le(count);
    if (!fixed_part) {
        return refuse_cut(data);
    }
    if (major == 0 || (major == 1 && minor < 2)) {
        note("log-spec-id-version"_id).field("expected", "1.2").field("actual", formatted("%d.%d", major, minor));
        return refuse(log_flaw::spec_id_version);
    }
    if (count > max_algorithms) {
        note("log-spec-id-algorithms"_id).field("size", count).field("limit", max_algorithms);
        return refuse(log_flaw::spec_id_algorithms);
    }
    if (reader.remaining() < count * spec_id_algorithm_size || !read_algorithms(reader, count)) {
        return refuse_cut(data);
    }
    return banks_ == log_banks::any ? result::success : check_algorithms();
}

result event_log_reader::check_algorithms() const {
    unsigned mask = 0;
    for (std::size_t i = 0; i < algorithm_count_; ++i) {
        mask |= bit_of(algorithms_[i].id);
    }
    const std::string names = algorithm_names(mask);
    log_at(log_level::info, "TPM Algorithms found: %s", names.c_str());
    if ((mask & sha256_bit) == 0) {
        report(
            "log-bank-missing"_id,
            "The TPM Event Log file does not contain any of the required PCR bank hash algorithms: [SHA-256]. Algorithms found: %s",
            names.c_str())
            .field("expected", "SHA-256")
            .field("actual", names)
            .line(
                "Please ensure at least one of the required PCR banks is supported by the TPM module and enabled in the BIOS.");
        return result::invalid;
    }
    return check_sha256_size();
}

// Behind a shorter digest the value would be filled up with bytes of what follows it.
result event_log_reader::check_sha256_size() const {
    const auto too_short = [](const algorithm& entry) {
        return entry.id == tpm_alg_sha256 && entry.digest_size < sizeof(sha256_value);
    };
    if (std::any_of(algorithms_.begin(), algorithms_.end(), too_short)) {
        return invalid_log_structure();
    }
    return result::success;
}

result event_log_reader::refuse_cut(byte_view spec_id) {
    note("log-spec-id-cut"_id).field("size", spec_id.size());
    return refuse(log_flaw::spec_id_cut);
}

result event_log_reader::refuse(log_flaw flaw) {
    opening_flaw_ = flaw;
    return result::invalid;
}

bool event_log_reader::read_algorithms(byte_reader& reader, std::uint32_t count) {
    for (algorithm_count_ = 0; algorithm_count_ < count; ++algorithm_count_) {
        algorithm& entry = algorithms_[algorithm_count_];
        if (!(reader.u16_le(entry.id) && reader.u16_le(entry.digest_size))) {
            return false;
        }
    }
    return true;
}

// An algorithm that the Spec ID event does not list is taken to have SHA-1's size.
std::uint16_t event_log_reader::digest_size(std::uint16_t algorithm_id) const {
    for (std::size_t i = 0; i < algorithm_count_; ++i) {
        if (algorithms_[i].id == algorithm_id) {
            return algorithms_[i].digest_size;
        }
    }
    return sha1_size;
}

// Walks the digests; the first SHA-256 one counts. False when they cannot be measured.
bool event_log_reader::measure_digests(byte_reader& reader, record& out) const {
    std::uint32_t digests = 0;
    if (!reader.u32_le(digests) || digests > max_digests || (digests == 0 && banks_ == log_banks::any)) {
        return false;
    }
    for (std::uint32_t i = 0; i < digests; ++i) {
        std::uint16_t id = 0;
        if (!reader.u16_le(id)) {
            return false;
        }
        const std::uint16_t size = digest_size(id);
        if (id == tpm_alg_sha256 && out.digest == 0) {
            out.digest = reader.position();
        }
        if (!reader.skip(size)) {
            return false;
        }
    }
    return true;
}

// Measures the record that begins the view; its size stays 0 when it does not fit or cannot be measured.
void event_log_reader::measure(byte_view rest, record& out) const {
    byte_reader reader(rest);
    std::uint32_t data_size = 0;
    const bool digests_fit =
        reader.skip(header_size) &&
        (format_ == log_format::legacy_sha1 ? reader.skip(sha1_size) : measure_digests(reader, out));
    if (digests_fit && reader.u32_le(data_size)) {
        out.data = reader.position();
        out.oversized = data_size > UINT32_MAX - std::uint64_t{out.data};
        const bool fits = out.oversized || reader.skip(data_size);
        out.size = fits ? reader.position() : 0;
    }
}

std::size_t event_log_reader::smallest_event() const {
    if (format_ == log_format::legacy_sha1) {
        return legacy_record_size;
    }
    return banks_ == log_banks::any ? any_bank_min_size : agile_min_size;
}

void event_log_reader::take(std::size_t offset) {
    current_ = offset;
    record_ = record();
    if (log_.size() - offset >= smallest_event()) {
        measure(log_.subspan(offset), record_);
    }
}

void event_log_reader::advance() {
    take(current_ + record_.size);
}

log_flaw event_log_reader::flaw() const {
    const byte_view rest = log_.subspan(current_);
    if (opening_flaw_ != log_flaw::none || at_event() || rest.empty()) {
        return opening_flaw_;
    }
    if (rest.size() < smallest_event()) {
        return log_flaw::event_cut;
    }
    if (record_.data != 0) {
        return log_flaw::data_cut;
    }
    byte_reader reader(rest);
    std::uint32_t digests = 0;
    const bool counted = reader.skip(header_size) && reader.u32_le(digests);
    if (counted && digests == 0) {
        return log_flaw::no_digests;
    }
    return counted && digests > max_digests ? log_flaw::digest_count : log_flaw::digests_cut;
}

std::uint32_t event_log_reader::pcr() const {
    std::uint32_t index = UINT32_MAX;
    return byte_reader(log_.subspan(current_)).u32_le(index) ? index : UINT32_MAX;
}

bool event_log_reader::read(tpm_event& out) const {
    const byte_view rest = log_.subspan(current_);
    byte_reader reader(rest);
    if (!(reader.u32_le(out.pcr) && reader.u32_le(out.type))) {
        return false;
    }
    const bool has_digest = record_.digest != 0 && digest_size(tpm_alg_sha256) >= out.digest.size();
    if (format_ == log_format::crypto_agile && !has_digest) {
        return false;
    }
    if (format_ == log_format::crypto_agile) {
        std::copy_n(rest.begin() + static_cast<std::ptrdiff_t>(record_.digest), out.digest.size(),
                    out.digest.begin());
    } else {
        // The kept digest is the SHA-1 digest and the 12 bytes behind it, zeros where the log ends before them.
        const byte_view digest = rest.subspan(header_size);
        out.digest = {};
        std::copy_n(digest.begin(), std::min(digest.size(), out.digest.size()), out.digest.begin());
    }
    out.data = rest.subspan(record_.data, record_.size - record_.data);
    return true;
}

bool event_log_reader::read_digests(byte_reader& reader, logged_event& out) const {
    if (format_ == log_format::legacy_sha1) {
        out.digest_count = 1;
        out.digests[0].algorithm = tpm_alg_sha1;
        return reader.view(sha1_size, out.digests[0].value);
    }
    std::uint32_t count = 0;
    if (!reader.u32_le(count) || count > max_digests) {
        return false;
    }
    for (out.digest_count = 0; out.digest_count < count; ++out.digest_count) {
        event_digest& digest = out.digests[out.digest_count];
        if (!(reader.u16_le(digest.algorithm) && reader.view(digest_size(digest.algorithm), digest.value))) {
            return false;
        }
    }
    return true;
}

bool event_log_reader::read(logged_event& out) const {
    if (!at_event() || oversized()) {
        return false;
    }
    byte_reader reader(log_.subspan(current_, record_.size));
    out.data = log_.subspan(current_ + record_.data, record_.size - record_.data);
    return reader.u32_le(out.pcr) && reader.u32_le(out.type) && read_digests(reader, out);
}

bool event_log_reader::read_spec_id(logged_event& out) const {
    if (format_ != log_format::crypto_agile) {
        return false;
    }
    event_log_reader legacy;
    legacy.log_ = log_;
    legacy.take(0);
    return legacy.read(out);
}

}  // namespace vellum
