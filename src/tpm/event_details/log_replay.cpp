#include "tpm/event_details/log_replay.h"

#include <algorithm>
#include <utility>

namespace vellum {
namespace {

constexpr std::size_t sha1_size = 20;

std::optional<std::uint8_t> locality_in(const logged_event& event) {
    tpm_event asked;
    asked.pcr = event.pcr;
    asked.type = event.type;
    asked.data = event.data;
    return startup_locality_of(asked);
}

}  // namespace

log_replay::log_replay(event_log_reader log) {
    if (log.format() == log_format::legacy_sha1) {
        add_bank(tpm_alg_sha1, sha1_size);
    }
    for (const event_log_reader::algorithm& listed : log.algorithms()) {
        add_bank(listed.id, listed.digest_size);
    }
    for (logged_event event; log.read(event); log.advance()) {
        const auto locality = locality_in(event);
        locality_ = locality ? locality : locality_;
    }
    for (bank& each : banks_) {
        each.values[0][each.hash.size() - 1] = locality_.value_or(0);
    }
}

void log_replay::add_bank(std::uint16_t algorithm, std::size_t digest_size) {
    std::optional<hasher> hash = hasher::of_bank(algorithm);
    const bool usable = hash && hash->size() == digest_size && digest_size <= max_register_size;
    if (!usable || bank_of(algorithm)) {
        return;
    }
    bank& added = banks_.emplace_back(bank{algorithm, *std::move(hash)});
    for (std::size_t pcr = first_launch_pcr; pcr <= last_launch_pcr; ++pcr) {
        added.values[pcr].fill(0xFF);
    }
}

bool log_replay::extend(const logged_event& event) {
    if (event.type == EV_NO_ACTION || event.pcr >= pcr_count) {
        return false;
    }
    for (bank& each : banks_) {
        const auto digests = event.banks();
        const auto digest = std::find_if(digests.begin(), digests.end(), [&](const event_digest& candidate) {
            return candidate.algorithm == each.algorithm;
        });
        const std::span value = std::span(each.values[event.pcr]).first(each.hash.size());
        // A log can list an algorithm twice, with two sizes.
        if (digest == digests.end() || digest->value.size() != value.size()) {
            continue;
        }
        std::array<std::uint8_t, 2 * max_register_size> message;
        std::copy(digest->value.begin(), digest->value.end(), std::copy(value.begin(), value.end(), message.begin()));
        const bool hashed = ok(each.hash.hash({byte_view(message).first(2 * value.size())}, value));
        each.failed = each.failed || !hashed;
    }
    return true;
}

byte_view log_replay::value(std::size_t index, std::size_t pcr) const {
    const bank& from = banks_[index];
    return from.failed ? byte_view() : byte_view(from.values[pcr]).first(from.hash.size());
}

std::optional<std::size_t> log_replay::bank_of(std::uint16_t algorithm) const {
    const auto found = std::find_if(banks_.begin(), banks_.end(),
                                    [=](const bank& candidate) { return candidate.algorithm == algorithm; });
    return found == banks_.end() ? std::nullopt : std::optional(static_cast<std::size_t>(found - banks_.begin()));
}

std::optional<std::size_t> log_replay::bank_of_size(std::size_t size) const {
    const auto found = std::find_if(banks_.begin(), banks_.end(),
                                    [=](const bank& candidate) { return candidate.hash.size() == size; });
    return found == banks_.end() ? std::nullopt : std::optional(static_cast<std::size_t>(found - banks_.begin()));
}

}  // namespace vellum
