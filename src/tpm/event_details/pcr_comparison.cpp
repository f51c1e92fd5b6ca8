#include "tpm/event_details/pcr_comparison.h"

#include <algorithm>
#include <utility>

#include "tpm/event_details/profile_rules.h"

namespace vellum {
namespace {

constexpr std::uint32_t os_log_pcr = 10;

constexpr std::uint32_t mask_of(std::uint32_t pcr) {
    return 1U << pcr;
}

// What is known of a PCR that the firmware's log need not tell all about.
struct owner_rule {
    std::uint32_t first;
    std::uint32_t last;
    remark_severity severity;
    const char* id;
    const char* says;
};
constexpr owner_rule owners[] = {
    {os_log_pcr, os_log_pcr, remark_severity::note, "operating-system-pcr",
     "it belongs to the operating system, which keeps a log of its own of the files that it measures."},
    {first_launch_pcr, last_launch_pcr, remark_severity::note, "dynamic-launch-pcr",
     "it belongs to a dynamic launch, whose events stand in no log of the firmware."},
    {16, 16, remark_severity::note, "free-pcr", "it is for tests, and anybody may extend or reset it."},
    {23, 23, remark_severity::note, "free-pcr", "it is for applications, and anybody may extend or reset it."},
    {8, 15, remark_severity::caution, "pcr-differs",
     "it is extended by boot loader and operating system, also when the firmware's log is already closed."},
};

const owner_rule* owner_of(std::uint32_t pcr) {
    const auto* const found = std::find_if(std::begin(owners), std::end(owners), [=](const owner_rule& rule) {
        return pcr >= rule.first && pcr <= rule.last;
    });
    return found == std::end(owners) ? nullptr : found;
}

std::string how_it_differs(const pcr_comparison::row& row) {
    if (row.events == 0) {
        return "the log has no event for it, but it was extended";
    }
    if (!row.last_match) {
        return "it has the given value after none of its events";
    }
    return *row.last_match == 0 ? "the given value is the one before its first event"
                                : "after event " + std::to_string(*row.last_match) + " it still has the given value";
}

// Of a PCR that the log gives the value at some point, or that is not the firmware's alone.
remark remark_on(const pcr_comparison::row& row) {
    const std::uint32_t pcr = row.given.pcr;
    const owner_rule* const owner = owner_of(pcr);
    const bool is_owned = owner != nullptr;
    const std::string says = pcrs_text(mask_of(pcr)) + " differs: " + how_it_differs(row) + ". " +
                             (is_owned ? std::string("But ") + owner->says
                                       : "So what the log lists behind that was never extended, or not yet when the "
                                         "value was read.");
    return {is_owned ? owner->id : "pcr-differs", is_owned ? owner->severity : remark_severity::damage, mask_of(pcr),
            row.last_match.value_or(0), says};
}

}  // namespace

pcr_comparison::pcr_comparison(std::vector<given_pcr> given, const log_replay& registers) {
    for (given_pcr& each : given) {
        row& added = rows_.emplace_back();
        added.bank = registers.bank_of_size(each.value.size());
        added.given = std::move(each);
        compare(added, 0, registers);
    }
}

void pcr_comparison::compare(row& of, std::uint32_t position, const log_replay& registers) const {
    of.matches = of.bank && equal_bytes(registers.value(*of.bank, of.given.pcr), of.given.value);
    of.last_match = of.matches ? std::optional(position) : of.last_match;
}

void pcr_comparison::take(std::uint32_t pcr, std::uint32_t position, const log_replay& registers) {
    for (row& each : rows_) {
        if (each.given.pcr == pcr) {
            ++each.events;
            compare(each, position, registers);
        }
    }
}

// No PCR of the boot ever has its value. One alone is no sign of that, and a PCR that holds a separator and nothing
// else has the same value on every machine.
bool pcr_comparison::is_of_another_boot() const {
    std::size_t strange = 0;
    for (const row& each : rows_) {
        const bool counts = each.bank && each.events > 1 && (mask_of(each.given.pcr) & firmware_pcrs) != 0;
        if (counts && each.last_match) {
            return false;
        }
        strange += counts ? 1 : 0;
    }
    return strange > 1;
}

// Those that never have their value are one remark, however many they are.
void pcr_comparison::add_remarks(std::vector<remark>& out) const {
    std::uint32_t incomparable = 0;
    std::uint32_t never = 0;
    for (const row& each : rows_) {
        const std::uint32_t pcr = mask_of(each.given.pcr);
        if (each.state() == outcome::incomparable) {
            incomparable |= pcr;
        } else if (each.state() == outcome::differs && !each.last_match && owner_of(each.given.pcr) == nullptr) {
            never |= pcr;
        } else if (each.state() == outcome::differs) {
            out.push_back(remark_on(each));
        }
    }
    if (is_of_another_boot()) {
        add_remark(out, "other-boot", remark_severity::damage, never, 0,
                   "No PCR ever has the value given for it, but those that are the same on every machine: the log is "
                   "of another boot or of another machine.");
    } else if (never != 0) {
        add_remark(out, "pcr-differs", remark_severity::damage, never, 0,
                   pcrs_text(never) +
                       (is_one_pcr(never) ? " never has the given value" : " never have the given values") +
                       ": events are missing from the log, were added to it or were changed.");
    }
    if (incomparable != 0) {
        add_remark(out, "pcr-without-bank", remark_severity::caution, incomparable, 0,
                   "The log has no bank that what is given for " + pcrs_text(incomparable) + " could be of.");
    }
}

}  // namespace vellum
