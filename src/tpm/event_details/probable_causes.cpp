#include "tpm/event_details/probable_causes.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>

#include "tpm/event_details/cause_rules.h"
#include "tpm/event_details/event_changes.h"
#include "tpm/event_details/event_text.h"

namespace vellum {
namespace {

constexpr std::size_t cause_count = static_cast<std::size_t>(cause::count);
constexpr std::size_t firmware_pcr_count = 8;  // those that are the firmware's

struct finding_of_cause {
    bool found = false;
    std::string detail;
    std::vector<event_evidence> evidence;
};

class cause_finder {
  public:
    cause_finder(const event_sequence& reference, const event_sequence& live) : reference_(reference), live_(live) {}

    std::vector<probable_cause> run(std::span<const pcr_alignment> alignment);

  private:
    void judge(std::uint32_t pcr, const alignment_step& step);
    void judge_pair(std::uint32_t pcr, const alignment_step& step);
    void judge_single(std::uint32_t pcr, const alignment_step& step);
    cause cause_of_pair(const alignment_step& step, const event_change& change);
    bool contradicts_itself(const alignment_step& step, const event_change& change);
    bool is_usual_contradiction(std::uint32_t type);
    void note_identity(const logged_event& event, const event_details& details);
    void add(cause id, std::uint32_t pcr, const alignment_step& step, const std::string& detail);
    void judge_machines(std::span<const pcr_alignment> alignment);
    std::size_t judged_steps(const pcr_alignment& pcr) const;
    std::vector<probable_cause> found() const;

    const logged_event& reference_event(const alignment_step& step) const {
        return reference_.events[step.reference];
    }
    const logged_event& live_event(const alignment_step& step) const { return live_.events[step.live]; }

    const event_sequence& reference_;
    const event_sequence& live_;
    claim_checker claims_;
    std::array<finding_of_cause, cause_count> findings_;
    bool identity_differs_ = false;
    std::optional<std::set<std::uint32_t>> contradicting_types_;  // in the reference; absent: not looked for yet
};

void cause_finder::add(cause id, std::uint32_t pcr, const alignment_step& step, const std::string& detail) {
    finding_of_cause& finding = findings_[static_cast<std::size_t>(id)];
    if (!finding.found) {
        finding.detail = detail;
    }
    finding.found = true;
    event_evidence evidence{pcr, std::nullopt, std::nullopt};
    if (step.reference != no_event) {
        evidence.reference = reference_.position_of(step.reference);
    }
    if (step.live != no_event) {
        evidence.live = live_.position_of(step.live);
    }
    finding.evidence.push_back(evidence);
}

// A firmware whose events of a type have always contradicted themselves has its own idea of their digests.
bool cause_finder::is_usual_contradiction(std::uint32_t type) {
    if (!contradicting_types_) {
        contradicting_types_.emplace();
        for (const logged_event& event : reference_.events) {
            if (!contradicting_types_->contains(event.type) &&
                claims_.check(event, decode_event(event)).proof == digest_proof::contradicted) {
                contradicting_types_->insert(event.type);
            }
        }
    }
    return contradicting_types_->contains(type);
}

// The data of the live event are not what its digest proves, though those of the reference are, or were changed
// under a digest that proves neither.
bool cause_finder::contradicts_itself(const alignment_step& step, const event_change& change) {
    const bool was_proved = change.reference_claim.proof == digest_proof::proved;
    if (step.kind == step_kind::restated) {
        return was_proved != (change.live_claim.proof == digest_proof::proved);
    }
    return change.live_claim.proof == digest_proof::contradicted &&
           (was_proved || !is_usual_contradiction(live_event(step).type));
}

cause cause_finder::cause_of_pair(const alignment_step& step, const event_change& change) {
    if (contradicts_itself(step, change)) {
        return cause::forged_log;
    }
    if (step.kind == step_kind::changed) {
        return cause_of(live_event(step), change.live);
    }
    return change.only_places || std::holds_alternative<image_load_details>(change.live) ? cause::description
                                                                                         : cause::other_words;
}

void cause_finder::judge_pair(std::uint32_t pcr, const alignment_step& step) {
    const event_change change = compare_event(reference_event(step), live_event(step), claims_);
    const cause id = cause_of_pair(step, change);
    add(id, pcr, step, change.fields.empty() ? "" : change.fields.front().says);
    if (step.kind == step_kind::changed) {
        note_identity(live_event(step), change.live);
        // A failure is one whichever of the boots it was.
        if (id != cause::forged_log && cause_of(reference_event(step), change.reference) == cause::firmware_failure) {
            add(cause::firmware_failure, pcr, step, "");
        }
    }
}

void cause_finder::judge_single(std::uint32_t pcr, const alignment_step& step) {
    const bool added = step.reference == no_event;
    const logged_event& event = added ? live_event(step) : reference_event(step);
    const event_details details = decode_event(event);
    note_identity(event, details);
    const bool contradicted = added && claims_.check(event, details).proof == digest_proof::contradicted;
    const bool forged = contradicted && !is_usual_contradiction(event.type);
    const char* const word = step.kind == step_kind::moved ? "moved: " : added ? "added: " : "removed: ";
    add(forged ? cause::forged_log : cause_of(event, details), pcr, step, word + summary_of(event, details));
}

// What a machine keeps unless its firmware is updated or its disk replaced.
void cause_finder::note_identity(const logged_event& event, const event_details& details) {
    const auto* const text = std::get_if<text_details>(&details);
    const bool version = text != nullptr && text->meaning == text_meaning::firmware_version;
    identity_differs_ = identity_differs_ || version ||
                        std::holds_alternative<platform_identification_details>(details) ||
                        (event.pcr == 0 && std::holds_alternative<bytes_details>(details));
}

void cause_finder::judge(std::uint32_t pcr, const alignment_step& step) {
    switch (step.kind) {
        case step_kind::alike: break;
        case step_kind::restated:
        case step_kind::changed: judge_pair(pcr, step); break;
        case step_kind::moved:
        case step_kind::removed:
        case step_kind::added: judge_single(pcr, step); break;
    }
}

// Every PCR of the firmware differs, but for those into which nothing but separators was measured; and so does what
// the firmware says that it is.
void cause_finder::judge_machines(std::span<const pcr_alignment> alignment) {
    constexpr std::size_t enough = 5;
    std::size_t differing = 0;
    for (const pcr_alignment& pcr : alignment) {
        if (pcr.pcr >= firmware_pcr_count) {
            continue;
        }
        const bool differs = std::any_of(pcr.steps.begin(), pcr.steps.end(), [&](const alignment_step& step) {
            return changes_pcr(reference_, live_, step);
        });
        const bool measured = std::any_of(pcr.steps.begin(), pcr.steps.end(), [&](const alignment_step& step) {
            const std::uint32_t type = (step.live != no_event ? live_event(step) : reference_event(step)).type;
            return type != EV_SEPARATOR && type != EV_NO_ACTION;
        });
        if (measured && !differs) {
            return;
        }
        differing += differs ? 1 : 0;
    }
    finding_of_cause& other = findings_[static_cast<std::size_t>(cause::other_machine)];
    other.found = identity_differs_ && differing >= enough;
    other.detail = "every PCR into which a firmware measures differs, and so does what it says that it is";
}

// On another machine everything else is other too.
std::vector<probable_cause> cause_finder::found() const {
    const bool other_machine = findings_[static_cast<std::size_t>(cause::other_machine)].found;
    std::vector<probable_cause> causes;
    for (std::size_t i = 0; i < cause_count; ++i) {
        const finding_of_cause& finding = findings_[i];
        if (finding.found && (!other_machine || static_cast<cause>(i) <= cause::other_machine)) {
            const cause_text& text = text_of(static_cast<cause>(i));
            causes.push_back({text.code, text.happened, text.act, finding.detail, finding.evidence});
        }
    }
    return causes;
}

// What a cut log lacks at its end says nothing about the boot.
std::size_t cause_finder::judged_steps(const pcr_alignment& pcr) const {
    std::size_t count = pcr.steps.size();
    const auto last_is = [&](step_kind kind) { return count > 0 && pcr.steps[count - 1].kind == kind; };
    while ((live_.left_over > 0 && last_is(step_kind::removed)) ||
           (reference_.left_over > 0 && last_is(step_kind::added))) {
        --count;
    }
    return count;
}

std::string flaw_detail(const event_sequence& sequence, const char* log) {
    return sequence.left_over == 0 ? ""
                                   : "the " + std::string(log) + " log, " + std::to_string(sequence.left_over) +
                                         " bytes at " + std::to_string(sequence.end) + ", " + sequence.why_cut;
}

std::vector<probable_cause> cause_finder::run(std::span<const pcr_alignment> alignment) {
    for (const pcr_alignment& pcr : alignment) {
        for (const alignment_step& step : std::span(pcr.steps).first(judged_steps(pcr))) {
            judge(pcr.pcr, step);
        }
    }
    judge_machines(alignment);
    const std::string in_live = flaw_detail(live_, "live");
    const std::string in_reference = flaw_detail(reference_, "reference");
    finding_of_cause& damage = findings_[static_cast<std::size_t>(cause::damaged_log)];
    damage.found = !in_live.empty() || !in_reference.empty();
    damage.detail = in_live + (in_live.empty() || in_reference.empty() ? "" : "; ") + in_reference;
    return found();
}

// "event 6", "events 3, 4, 5 and 12 more".
std::string positions_text(const std::vector<std::size_t>& positions) {
    constexpr std::size_t shown = 3;
    std::string out = positions.size() == 1 ? "event " : "events ";
    const std::size_t named = positions.size() <= shown + 1 ? positions.size() : shown;
    for (std::size_t i = 0; i < named; ++i) {
        const bool last = i + 1 == positions.size();
        out += (i == 0 ? "" : last ? " and " : ", ") + std::to_string(positions[i]);
    }
    return named == positions.size() ? out : out + " and " + std::to_string(positions.size() - named) + " more";
}

}  // namespace

bool changes_pcr(const event_sequence& reference, const event_sequence& live, const alignment_step& step) {
    if (step.kind == step_kind::alike || step.kind == step_kind::restated) {
        return false;
    }
    const auto counts = [](const logged_event& event) {
        return event.type != EV_NO_ACTION ||
               (event.pcr == 0 && std::holds_alternative<startup_locality_details>(decode_event(event)));
    };
    return (step.reference != no_event && counts(reference.events[step.reference])) ||
           (step.live != no_event && counts(live.events[step.live]));
}

std::vector<probable_cause> probable_causes(const event_sequence& reference, const event_sequence& live,
                                            std::span<const pcr_alignment> alignment) {
    return cause_finder(reference, live).run(alignment);
}

std::string evidence_text(std::span<const event_evidence> evidence) {
    constexpr std::size_t shown_pcrs = 8;
    std::string out;
    std::size_t pcrs = 0;
    for (std::size_t i = 0; i < evidence.size(); ++pcrs) {
        const std::uint32_t pcr = evidence[i].pcr;
        std::vector<std::size_t> live;
        std::vector<std::size_t> reference;
        for (; i < evidence.size() && evidence[i].pcr == pcr; ++i) {
            if (evidence[i].live) {
                live.push_back(*evidence[i].live);
            } else {
                reference.push_back(evidence[i].reference.value_or(0));
            }
        }
        if (pcrs < shown_pcrs) {
            out += out.empty() ? "" : "; ";
            out += live.empty() ? "" : positions_text(live);
            out += live.empty() || reference.empty() ? "" : ", ";
            out += reference.empty() ? "" : positions_text(reference) + " of the reference";
            out += " in PCR " + std::to_string(pcr);
        }
    }
    return pcrs <= shown_pcrs ? out : out + "; and " + std::to_string(pcrs - shown_pcrs) + " PCRs more";
}

}  // namespace vellum
