#include "tpm/event_details/log_alignment.h"

#include <algorithm>
#include <compare>
#include <iterator>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <tuple>
#include <utility>

#include "tpm/event_details/event_subject.h"
#include "tpm/event_log.h"

namespace vellum {
namespace {

using bank_list = std::span<const std::uint16_t>;
using index_list = std::vector<std::uint32_t>;  // into the events of a log

std::strong_ordering compare_bytes(byte_view a, byte_view b) {
    return std::lexicographical_compare_three_way(a.begin(), a.end(), b.begin(), b.end());
}

// The place of the next digest of a bank that counts.
std::size_t next_digest(const logged_event& event, std::size_t place, bank_list banks) {
    while (place < event.digest_count &&
           !std::binary_search(banks.begin(), banks.end(), event.digests[place].algorithm)) {
        ++place;
    }
    return place;
}

// By type and the digests that count. What extends nothing, or has no such digest, is what its data are.
std::strong_ordering compare_events(const logged_event& a, const logged_event& b, bank_list banks) {
    if (a.type != b.type) {
        return a.type <=> b.type;
    }
    std::size_t i = next_digest(a, 0, banks);
    std::size_t k = next_digest(b, 0, banks);
    const bool none = i == a.digest_count && k == b.digest_count;
    while (i < a.digest_count && k < b.digest_count) {
        if (a.digests[i].algorithm != b.digests[k].algorithm) {
            return a.digests[i].algorithm <=> b.digests[k].algorithm;
        }
        if (const auto order = compare_bytes(a.digests[i].value, b.digests[k].value); order != 0) {
            return order;
        }
        i = next_digest(a, i + 1, banks);
        k = next_digest(b, k + 1, banks);
    }
    if (i < a.digest_count || k < b.digest_count) {
        return i < a.digest_count ? std::strong_ordering::greater : std::strong_ordering::less;
    }
    return none || a.type == EV_NO_ACTION ? compare_bytes(a.data, b.data) : std::strong_ordering::equal;
}

// The events of one PCR in both logs. A place among them is an index into these lists.
struct pcr_events {
    const event_sequence& reference;
    const event_sequence& live;
    index_list reference_events;
    index_list live_events;
};

// Numbers in place of events, one for all that are alike. Sorting, unlike hashing, takes as long for any log.
struct event_numbers {
    std::vector<std::uint32_t> reference;
    std::vector<std::uint32_t> live;
};

event_numbers number_events(const pcr_events& pcr, bank_list banks) {
    struct place {
        const logged_event* event;
        std::uint32_t* number;
    };
    event_numbers out{index_list(pcr.reference_events.size()), index_list(pcr.live_events.size())};
    std::vector<place> places;
    for (std::size_t i = 0; i < pcr.reference_events.size(); ++i) {
        places.push_back({&pcr.reference.events[pcr.reference_events[i]], &out.reference[i]});
    }
    for (std::size_t i = 0; i < pcr.live_events.size(); ++i) {
        places.push_back({&pcr.live.events[pcr.live_events[i]], &out.live[i]});
    }
    const auto less = [banks](const place& a, const place& b) {
        return compare_events(*a.event, *b.event, banks) < 0;
    };
    std::sort(places.begin(), places.end(), less);
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < places.size(); ++i) {
        number += i > 0 && less(places[i - 1], places[i]) ? 1 : 0;
        *places[i].number = number;
    }
    return out;
}

// An event without a partner, and where it stands: between which two pairs.
struct loose_event {
    std::uint32_t place = 0;  // among the events of its PCR
    std::uint32_t gap = 0;
    std::uint32_t number = 0;
    std::uint32_t type = 0;
    event_subject subject;
    bool paired = false;
};

// Finds partners for what the alignment left over.
class loose_ends {
  public:
    loose_ends(const pcr_events& pcr, const event_numbers& numbers, std::span<const std::uint32_t> partners);

    // Places, and what makes a pair of them.
    struct pair {
        std::uint32_t reference;
        std::uint32_t live;
        step_kind kind;
    };
    std::vector<pair> run(const pcr_events& pcr);

  private:
    enum class counts { any, equal, one };

    void add_subjects(const pcr_events& pcr);

    // `needed`: where the events of a key have to be as many, it cannot be told otherwise which belong together.
    template <typename KeyOf>
    void pair_by(KeyOf key_of, counts needed, step_kind kind);

    std::vector<loose_event> removed_;
    std::vector<loose_event> added_;
    std::vector<pair> pairs_;
};

loose_ends::loose_ends(const pcr_events& pcr, const event_numbers& numbers, std::span<const std::uint32_t> partners) {
    std::uint32_t gap = 0;
    std::uint32_t next_live = 0;
    const auto add_until = [&](std::uint32_t end) {
        for (; next_live < end; ++next_live) {
            added_.push_back({next_live, gap, numbers.live[next_live], 0, {}, false});
        }
    };
    for (std::uint32_t i = 0; i < partners.size(); ++i) {
        if (partners[i] == no_partner) {
            removed_.push_back({i, gap, numbers.reference[i], 0, {}, false});
        } else {
            add_until(partners[i]);
            ++next_live;
            ++gap;
        }
    }
    add_until(static_cast<std::uint32_t>(pcr.live_events.size()));
}

void loose_ends::add_subjects(const pcr_events& pcr) {
    const auto add = [](loose_event& loose, const logged_event& event) {
        if (!loose.paired) {
            loose.type = event.type;
            loose.subject = subject_of(decode_event(event));
        }
    };
    for (loose_event& loose : removed_) {
        add(loose, pcr.reference.events[pcr.reference_events[loose.place]]);
    }
    for (loose_event& loose : added_) {
        add(loose, pcr.live.events[pcr.live_events[loose.place]]);
    }
}

// Pairs those of one key in their order; those without a key are passed over.
template <typename KeyOf>
void loose_ends::pair_by(KeyOf key_of, counts needed, step_kind kind) {
    struct group {
        std::vector<loose_event*> removed;
        std::vector<loose_event*> added;
    };
    std::map<typename decltype(key_of(loose_event()))::value_type, group> groups;
    const auto gather = [&](std::vector<loose_event>& from, std::vector<loose_event*> group::*list) {
        for (loose_event& loose : from) {
            if (const auto key = loose.paired ? std::nullopt : key_of(loose)) {
                (groups[*key].*list).push_back(&loose);
            }
        }
    };
    gather(removed_, &group::removed);
    gather(added_, &group::added);
    for (const auto& [key, found] : groups) {
        const std::size_t count = std::min(found.removed.size(), found.added.size());
        const bool equal = found.removed.size() == found.added.size();
        const bool fits = needed == counts::any || (equal && (needed == counts::equal || count == 1));
        for (std::size_t i = 0; fits && i < count; ++i) {
            found.removed[i]->paired = found.added[i]->paired = true;
            pairs_.push_back({found.removed[i]->place, found.added[i]->place, kind});
        }
    }
}

// First what is the same, then what is about the same at its place, then anywhere, then what replaced another.
std::vector<loose_ends::pair> loose_ends::run(const pcr_events& pcr) {
    pair_by([](const loose_event& loose) { return std::optional(loose.number); }, counts::any, step_kind::moved);
    add_subjects(pcr);
    pair_by(
        [](const loose_event& loose) { return std::optional(std::tuple(loose.gap, loose.type, loose.subject.name)); },
        counts::equal, step_kind::changed);
    pair_by([](const loose_event& loose) { return std::optional(std::pair(loose.type, loose.subject.name)); },
            counts::one, step_kind::changed);
    pair_by(
        [](const loose_event& loose) {
            return loose.subject.replaceable ? std::optional(std::pair(loose.gap, loose.type)) : std::nullopt;
        },
        counts::equal, step_kind::changed);
    return std::move(pairs_);
}

// The partner of each reference event, and what kind of step that makes.
struct partner {
    std::uint32_t live = no_partner;
    step_kind kind = step_kind::removed;
};

std::vector<partner> find_partners(const pcr_events& pcr, bank_list banks) {
    const event_numbers numbers = number_events(pcr, banks);
    const std::vector<std::uint32_t> aligned = align_sequences(numbers.reference, numbers.live);
    std::vector<partner> partners(aligned.size());
    for (std::size_t i = 0; i < aligned.size(); ++i) {
        if (aligned[i] != no_partner) {
            const bool same = equal_bytes(pcr.reference.events[pcr.reference_events[i]].data,
                                          pcr.live.events[pcr.live_events[aligned[i]]].data);
            partners[i] = {aligned[i], same ? step_kind::alike : step_kind::restated};
        }
    }
    for (const loose_ends::pair& found : loose_ends(pcr, numbers, aligned).run(pcr)) {
        partners[found.reference] = {found.live, found.kind};
    }
    return partners;
}

bool keeps_order(step_kind kind) {
    return kind == step_kind::alike || kind == step_kind::restated;
}

// In the order of the live log; what was removed stands where it was.
std::vector<alignment_step> steps_of(const pcr_events& pcr, std::span<const partner> partners) {
    std::vector<alignment_step> steps;
    std::vector<alignment_step> of_live(pcr.live_events.size());
    for (std::size_t i = 0; i < of_live.size(); ++i) {
        of_live[i] = {step_kind::added, no_event, pcr.live_events[i]};
    }
    for (std::size_t i = 0; i < partners.size(); ++i) {
        if (partners[i].live != no_partner) {
            alignment_step& step = of_live[partners[i].live];
            step = {partners[i].kind, pcr.reference_events[i], step.live};
        }
    }
    std::size_t next = 0;
    const auto take_live_until = [&](std::size_t end) {
        steps.insert(steps.end(), of_live.begin() + static_cast<std::ptrdiff_t>(next),
                     of_live.begin() + static_cast<std::ptrdiff_t>(end));
        next = end;
    };
    for (std::size_t i = 0; i < partners.size(); ++i) {
        if (partners[i].live == no_partner) {
            steps.push_back({step_kind::removed, pcr.reference_events[i], no_event});
        } else if (keeps_order(partners[i].kind)) {
            take_live_until(partners[i].live + 1);
        }
    }
    take_live_until(of_live.size());
    return steps;
}

struct pcr_lists {
    index_list reference;
    index_list live;
};

std::map<std::uint32_t, pcr_lists> group_by_pcr(const event_sequence& reference, const event_sequence& live) {
    std::map<std::uint32_t, pcr_lists> groups;
    for (std::size_t i = 0; i < reference.events.size(); ++i) {
        groups[reference.events[i].pcr].reference.push_back(static_cast<std::uint32_t>(i));
    }
    for (std::size_t i = 0; i < live.events.size(); ++i) {
        groups[live.events[i].pcr].live.push_back(static_cast<std::uint32_t>(i));
    }
    return groups;
}

}  // namespace

std::vector<std::uint16_t> common_banks(const event_sequence& reference, const event_sequence& live) {
    std::vector<std::uint16_t> banks;
    std::set_intersection(reference.banks.begin(), reference.banks.end(), live.banks.begin(), live.banks.end(),
                          std::back_inserter(banks));
    return banks;
}

std::vector<pcr_alignment> align_logs(const event_sequence& reference, const event_sequence& live) {
    const std::vector<std::uint16_t> banks = common_banks(reference, live);
    std::vector<pcr_alignment> out;
    for (auto& [pcr, lists] : group_by_pcr(reference, live)) {
        const pcr_events events = {reference, live, std::move(lists.reference), std::move(lists.live)};
        out.push_back({pcr, steps_of(events, find_partners(events, banks))});
    }
    return out;
}

const char* step_name(step_kind kind) {
    switch (kind) {
        case step_kind::alike: return "alike";
        case step_kind::restated: return "restated";
        case step_kind::moved: return "moved";
        case step_kind::changed: return "changed";
        case step_kind::removed: return "removed";
        case step_kind::added: return "added";
    }
    return "";
}

}  // namespace vellum
