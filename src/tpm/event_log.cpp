#include "tpm/event_log.h"

#include <algorithm>
#include <new>

#include "core/dump.h"
#include "core/findings.h"
#include "core/log.h"
#include "tpm/event_log_reader.h"

namespace vellum {
namespace {

void initialise(std::array<tpm_event_chain, pcr_count>& chains) {
    for (std::size_t pcr = 0; pcr < chains.size(); ++pcr) {
        chains[pcr].head.pcr = static_cast<std::uint32_t>(pcr);
        chains[pcr].head.value.fill(pcr >= first_launch_pcr && pcr <= last_launch_pcr ? 0xFF : 0x00);
    }
}

result data_beyond_log(const tpm_event& event) {
    const result invalid = invalid_log_structure();
    log_at(log_level::error,
           "Found TPM Log Event for PCR[%02d] which has set the data size that overflows TPM Log data boundaries.",
           static_cast<int>(event.pcr));
    note("log-event-oversized"_id).field("pcr", event.pcr).field("position", event.log_position);
    return invalid;
}

// Reads the reader's event, whichever PCR it is for; its position is known.
result read_event(const event_log_reader& reader, tpm_event& out) {
    if (!reader.read(out)) {
        note("log-event-unreadable"_id).field("position", out.log_position);
        return invalid_log_structure();
    }
    return reader.oversized() ? data_beyond_log(out) : result::success;
}

// Builds the chains event by event.
class chain_builder {
  public:
    explicit chain_builder(std::array<tpm_event_chain, pcr_count>& chains) : chains_(chains) {}

    // Reads the reader's event to the end of its chain and gives it its PCR value.
    result append(const event_log_reader& reader, std::uint32_t log_position);

    // A Startup Locality event changes the value of every event before it. They are set once, when the log has said
    // its last word on the locality, so that a log full of such events stays linear.
    void settle_leading_events();

  private:
    result extend(const pcr_value& before, tpm_event& event);
    result apply_startup_locality(tpm_event_chain& chain, std::uint8_t locality);

    std::array<tpm_event_chain, pcr_count>& chains_;
    hasher sha256_ = hasher::sha256();
    bool unsettled_ = false;
};

result chain_builder::append(const event_log_reader& reader, std::uint32_t log_position) {
    tpm_event_chain& chain = chains_[reader.pcr()];
    const tpm_event& previous = chain.last();
    // Leading events that are not settled yet all have the head's value.
    const pcr_value& before = unsettled_ && &chain == chains_.data() ? chain.head.value : previous.value;
    tpm_event& event = chain.events.append();
    event.log_position = log_position;
    event.chain_position = previous.chain_position + 1;
    RETURN_IF_FAILED(read_event(reader, event));
    if (event.type != EV_NO_ACTION) {
        if (event.pcr == 0) {
            settle_leading_events();
        }
        return extend(before, event);
    }
    event.value = before;
    if (const auto locality = startup_locality_of(event)) {
        const result applied = apply_startup_locality(chain, *locality);
        event.value = chain.head.value;
        return applied;
    }
    return result::success;
}

// One message of 64 bytes costs less than two updates.
result chain_builder::extend(const pcr_value& before, tpm_event& event) {
    std::array<std::uint8_t, 2 * sizeof(pcr_value)> message;
    std::copy(before.begin(), before.end(), message.begin());
    std::copy(event.digest.begin(), event.digest.end(), message.begin() + sizeof(pcr_value));
    return sha256_.hash({message}, event.value);
}

result chain_builder::apply_startup_locality(tpm_event_chain& chain, std::uint8_t locality) {
    if (locality != 0 && locality != 3) {
        report("log-locality-invalid"_id,
               "TPM Event Log has invalid PCR[0] Startup Locality value (%d). Allowed (0) or (3).", locality)
            .field("value", locality)
            .field("pcr", 0)
            .field("position", chain.events.back().log_position);
        return result::invalid;
    }
    if (chain.events.back().value != chain.head.value) {
        report("log-locality-late"_id,
               "PCR[0] Startup Locality Event in TPM Event Log is not the first event that extends PCR[0].")
            .field("pcr", 0)
            .field("position", chain.events.back().log_position);
        return result::invalid;
    }
    chain.startup_locality = chain.events.size() - 1;
    chain.head.value.back() = locality;
    unsettled_ = true;
    return result::success;
}

void chain_builder::settle_leading_events() {
    if (!unsettled_) {
        return;
    }
    unsettled_ = false;
    tpm_event_chain& chain = chains_[0];
    for (std::size_t i = 0; i < chain.events.size() && chain.events[i].type == EV_NO_ACTION; ++i) {
        chain.events[i].value = chain.head.value;
    }
}

void print_event(const tpm_event& event) {
    print_tpm_log_event(event);
    if (log_enabled(log_level::trace)) {
        log_at(log_level::trace, "Event Data(Size=%d):", static_cast<int>(event.data.size()));
        dump_at_level(log_level::trace, event.data);
    }
}

result build_chains(event_log_reader& reader, tpm_events_chains& chains) {
    chain_builder builder(chains.chains);
    const bool printing = log_enabled(log_level::debug);
    for (std::uint32_t position = 1; reader.at_event(); ++position, reader.advance()) {
        const std::uint32_t pcr = reader.pcr();
        if (pcr >= pcr_count) {
            tpm_event ignored;
            ignored.log_position = position;
            RETURN_IF_FAILED(read_event(reader, ignored));
            log_at(log_level::debug,
                   "Found TPM Log Event for PCR[%02d] which is out of supported PCR range, event will be ignored.",
                   static_cast<int>(pcr));
            continue;
        }
        RETURN_IF_FAILED(builder.append(reader, position));
        if (printing) {
            print_event(chains.chains[pcr].events.back());
        }
    }
    builder.settle_leading_events();
    return result::success;
}

result parse_into(tpm_events_chains& chains) {
    initialise(chains.chains);
    event_log_reader reader;
    RETURN_IF_FAILED(reader.open(chains.log));
    if (!reader.at_event()) {
        log_at(log_level::debug, "Given TPM Log does not contain any events except of Spec ID Event.");
    }
    return build_chains(reader, chains);
}

}  // namespace

const tpm_event* tpm_event_chain::at(std::size_t position) const {
    if (position == 0) {
        return &head;
    }
    return position <= events.size() ? &events[position - 1] : nullptr;
}

result parse_tpm_log(std::vector<std::uint8_t> log, std::optional<tpm_events_chains>& out) {
    out.reset();
    if (log.empty()) {
        log_at(log_level::error, "Internal parameter tpm_log_sz is 0.");
        note("log-empty"_id);
        return result::internal_failure;
    }
    try {
        out.emplace();
        out->log = std::move(log);
        const result parsed = parse_into(*out);
        if (!ok(parsed)) {
            out.reset();
        }
        return parsed;
    } catch (const std::bad_alloc&) {
        out.reset();
        note("log-no-memory"_id);
        return result::internal_failure;
    }
}

const tpm_event* find_tpm_log_event(const tpm_events_chains& chains, bool (*predicate)(const tpm_event&)) {
    for (const tpm_event_chain& chain : chains.chains) {
        for (const tpm_event& event : chain.events) {
            if (predicate(event)) {
                log_at(log_level::debug, "Found PCR[%d] TPM Log Event %s that matches given predicate.",
                       static_cast<int>(event.pcr), tpm_event_type_name(event.type));
                return &event;
            }
        }
    }
    return nullptr;
}

}  // namespace vellum
