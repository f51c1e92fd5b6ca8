// E. W. Myers, "An O(ND) Difference Algorithm and Its Variations" (1986), with the refinement of linear space: the
// shortest way from one sequence to the other is cut in its middle, where the ways from both ends meet. Where that
// would take too many steps the sequences are cut at the elements that both have once (patience diff), or else where
// the way from the front has come furthest.
#include "tpm/event_details/sequence_alignment.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <optional>
#include <utility>

namespace vellum {
namespace {

using position = std::int64_t;  // also a difference of two
using sequence = std::span<const std::uint32_t>;

// What all cuts of a pair of sequences may cost together, in steps, and what one may cost.
constexpr position steps_in_all = position{1} << 24;
constexpr position steps_in_all_per_element = 512;
constexpr position steps_per_cut = position{1} << 22;
constexpr position steps_per_cut_per_element = 32;

// A part of each sequence.
struct box {
    position before = 0;
    position before_end = 0;
    position after = 0;
    position after_end = 0;

    position height() const { return before_end - before; }
    position width() const { return after_end - after; }
    position size() const { return height() + width(); }
};

// A run of equal elements.
struct common_run {
    position before = 0;
    position after = 0;
    position length = 0;
};

class aligner {
  public:
    aligner(sequence before, sequence after)
        : before_(before),
          after_(after),
          partners_(before.size(), no_partner),
          steps_left_(steps_in_all + steps_in_all_per_element * static_cast<position>(before.size() + after.size())) {
    }

    std::vector<std::uint32_t> run();

  private:
    enum class end { front, back };

    bool equal(position before, position after) const {
        return before_[static_cast<std::size_t>(before)] == after_[static_cast<std::size_t>(after)];
    }
    void pair(const common_run& run);
    void trim(box& part);
    void cut(const box& part);
    std::optional<common_run> middle_of(const box& part);
    template <end From>
    std::optional<common_run> advance(const box& part, position round);
    void cut_at_anchors(const box& part, const std::vector<common_run>& anchors);
    void cut_at_furthest(const box& part);
    std::vector<common_run> unique_in_both(const box& part) const;

    sequence before_;
    sequence after_;
    std::vector<std::uint32_t> partners_;
    position steps_left_;
    position cut_steps_left_ = 0;
    std::vector<box> open_;
    // How far along `before` a way has come on each diagonal, from the front and from the back.
    std::vector<position> forward_;
    std::vector<position> backward_;
    position origin_ = 0;  // of the diagonals in them
    position rounds_ = 0;  // that they have made
};

void aligner::pair(const common_run& run) {
    for (position i = 0; i < run.length; ++i) {
        partners_[static_cast<std::size_t>(run.before + i)] = static_cast<std::uint32_t>(run.after + i);
    }
}

// Pairs what is equal at both ends and takes it off.
void aligner::trim(box& part) {
    while (part.height() > 0 && part.width() > 0 && equal(part.before, part.after)) {
        pair({part.before++, part.after++, 1});
    }
    while (part.height() > 0 && part.width() > 0 && equal(part.before_end - 1, part.after_end - 1)) {
        pair({--part.before_end, --part.after_end, 1});
    }
}

// Takes the ways from one end a difference further. The run on which they meet those from the other end, if they do.
// Lengths along a way, `x` in `before` and `y` in `after`, count from the end where it begins.
template <aligner::end From>
std::optional<common_run> aligner::advance(const box& part, position round) {
    constexpr bool front = From == end::front;
    std::vector<position>& own = front ? forward_ : backward_;
    const std::vector<position>& other = front ? backward_ : forward_;
    const position excess = part.height() - part.width();
    // From the front they meet while those from the back are a round behind.
    const position other_round = front ? round - 1 : round;
    const auto at = [this](position diagonal) { return static_cast<std::size_t>(origin_ + diagonal); };
    const position lowest = -(round - 2 * std::max<position>(0, round - part.width()));
    const position highest = round - 2 * std::max<position>(0, round - part.height());
    for (position k = lowest; k <= highest; k += 2) {
        const bool down = k == -round || (k != round && own[at(k - 1)] < own[at(k + 1)]);
        const position start = round == 0 ? 0 : down ? own[at(k + 1)] : own[at(k - 1)] + 1;
        position x = start;
        position y = x - k;
        while (x < part.height() && y < part.width() &&
               (front ? equal(part.before + x, part.after + y)
                      : equal(part.before_end - 1 - x, part.after_end - 1 - y))) {
            ++x;
            ++y;
        }
        own[at(k)] = x;
        cut_steps_left_ -= x - start + 1;
        const position opposite = excess - k;
        const bool reached = (excess + round + other_round) % 2 == 0 && std::abs(opposite) <= other_round;
        if (reached && x + other[at(opposite)] >= part.height()) {
            return front ? common_run{part.before + start, part.after + start - k, x - start}
                         : common_run{part.before_end - x, part.after_end - y, x - start};
        }
    }
    return std::nullopt;
}

// The run in the middle of a shortest way through the box, which may be empty. Nothing when that takes too long.
std::optional<common_run> aligner::middle_of(const box& part) {
    const position allowed = std::min(steps_left_, steps_per_cut + steps_per_cut_per_element * part.size());
    cut_steps_left_ = allowed;
    origin_ = part.size() / 2 + 2;
    const auto diagonals = static_cast<std::size_t>(2 * origin_ + 1);
    forward_.resize(std::max(forward_.size(), diagonals));
    backward_.resize(forward_.size());
    std::optional<common_run> middle;
    for (rounds_ = 0; !middle && cut_steps_left_ > 0; ++rounds_) {
        middle = advance<end::front>(part, rounds_);
        if (!middle) {
            middle = advance<end::back>(part, rounds_);
        }
    }
    steps_left_ -= allowed - cut_steps_left_;
    return middle;
}

// Elements that each part of the box has once, in the order of `before`.
std::vector<common_run> aligner::unique_in_both(const box& part) const {
    struct place {
        std::uint32_t element;
        bool in_after;
        position at;
    };
    std::vector<place> places;
    for (position i = part.before; i < part.before_end; ++i) {
        places.push_back({before_[static_cast<std::size_t>(i)], false, i});
    }
    for (position i = part.after; i < part.after_end; ++i) {
        places.push_back({after_[static_cast<std::size_t>(i)], true, i});
    }
    std::stable_sort(places.begin(), places.end(),
                     [](const place& a, const place& b) { return a.element < b.element; });
    std::vector<common_run> anchors;
    for (std::size_t i = 0; i < places.size();) {
        const std::size_t first = i;
        while (i < places.size() && places[i].element == places[first].element) {
            ++i;
        }
        if (i - first == 2 && !places[first].in_after && places[first + 1].in_after) {
            anchors.push_back({places[first].at, places[first + 1].at, 1});
        }
    }
    std::sort(anchors.begin(), anchors.end(),
              [](const common_run& a, const common_run& b) { return a.before < b.before; });
    return anchors;
}

// As many anchors as stand in one order in both: a longest increasing subsequence of their places in `after`.
std::vector<common_run> increasing(const std::vector<common_run>& anchors) {
    constexpr std::size_t none = std::numeric_limits<std::size_t>::max();
    std::vector<std::size_t> ends;  // of the best subsequence of each length
    std::vector<std::size_t> previous(anchors.size(), none);
    for (std::size_t i = 0; i < anchors.size(); ++i) {
        const auto longer = std::lower_bound(ends.begin(), ends.end(), i, [&](std::size_t a, std::size_t b) {
            return anchors[a].after < anchors[b].after;
        });
        previous[i] = longer == ends.begin() ? none : *(longer - 1);
        if (longer == ends.end()) {
            ends.push_back(i);
        } else {
            *longer = i;
        }
    }
    std::vector<common_run> chosen;
    for (std::size_t i = ends.empty() ? none : ends.back(); i != none; i = previous[i]) {
        chosen.push_back(anchors[i]);
    }
    std::reverse(chosen.begin(), chosen.end());
    return chosen;
}

void aligner::cut_at_anchors(const box& part, const std::vector<common_run>& anchors) {
    box rest = part;
    for (const common_run& anchor : anchors) {
        pair(anchor);
        open_.push_back({rest.before, anchor.before, rest.after, anchor.after});
        rest.before = anchor.before + 1;
        rest.after = anchor.after + 1;
    }
    open_.push_back(rest);
}

// Right after the way through the box was given up.
void aligner::cut_at_furthest(const box& part) {
    box done = part;
    done.before_end = part.before;
    done.after_end = part.after;
    for (position k = 1 - rounds_; k < rounds_; ++k) {
        const position x = forward_[static_cast<std::size_t>(origin_ + k)];
        const bool inside = x >= 0 && x <= part.height() && x >= k && x - k <= part.width();
        if (inside && 2 * x - k > done.size()) {
            done.before_end = part.before + x;
            done.after_end = part.after + x - k;
        }
    }
    if (done.size() > 0 && done.size() < part.size()) {
        open_.push_back({done.before_end, part.before_end, done.after_end, part.after_end});
        open_.push_back(done);
    }
}

void aligner::cut(const box& part) {
    constexpr position steps_per_sorted = 32;
    if (const auto middle = middle_of(part)) {
        pair(*middle);
        open_.push_back({part.before, middle->before, part.after, middle->after});
        open_.push_back(
            {middle->before + middle->length, part.before_end, middle->after + middle->length, part.after_end});
        return;
    }
    steps_left_ -= steps_per_sorted * part.size();
    const std::vector<common_run> anchors = increasing(unique_in_both(part));
    if (anchors.empty()) {
        cut_at_furthest(part);
    } else {
        cut_at_anchors(part, anchors);
    }
}

std::vector<std::uint32_t> aligner::run() {
    open_.push_back({0, static_cast<position>(before_.size()), 0, static_cast<position>(after_.size())});
    while (!open_.empty()) {
        box part = open_.back();
        open_.pop_back();
        trim(part);
        if (part.height() > 0 && part.width() > 0 && steps_left_ > 0) {
            cut(part);
        }
    }
    return std::move(partners_);
}

// The elements that the other sequence has too, and where they stand.
struct shared_part {
    std::vector<std::uint32_t> elements;
    std::vector<std::uint32_t> places;
};

shared_part shared_with(sequence own, std::vector<std::uint32_t> other) {
    std::sort(other.begin(), other.end());
    shared_part out;
    for (std::size_t i = 0; i < own.size(); ++i) {
        if (std::binary_search(other.begin(), other.end(), own[i])) {
            out.elements.push_back(own[i]);
            out.places.push_back(static_cast<std::uint32_t>(i));
        }
    }
    return out;
}

}  // namespace

// What only one of them has would lengthen every way and cannot be paired.
std::vector<std::uint32_t> align_sequences(sequence before, sequence after) {
    const shared_part left = shared_with(before, {after.begin(), after.end()});
    const shared_part right = shared_with(after, {before.begin(), before.end()});
    const std::vector<std::uint32_t> found = aligner(left.elements, right.elements).run();
    std::vector<std::uint32_t> partners(before.size(), no_partner);
    for (std::size_t i = 0; i < found.size(); ++i) {
        if (found[i] != no_partner) {
            partners[left.places[i]] = right.places[found[i]];
        }
    }
    return partners;
}

}  // namespace vellum
