// Which events of two logs belong together.
#include "tpm/event_details/log_alignment.h"

#include <gtest/gtest.h>

#include <numeric>
#include <random>

#include "base/text.h"
#include "tests/event_details/boot_events.h"
#include "tests/support/alignment_check.h"
#include "tests/support/log_session.h"
#include "tests/support/real_logs.h"

namespace vellum {
namespace {

using test::read_log_of;
using number_list = std::vector<std::uint32_t>;

// Sequences --------------------------------------------------------------------------------------------------------

// The length of the longest common subsequence, by the table of all prefixes.
std::size_t longest(const number_list& a, const number_list& b) {
    number_list row(b.size() + 1);
    for (const std::uint32_t element : a) {
        std::uint32_t diagonal = 0;
        for (std::size_t k = 0; k < b.size(); ++k) {
            const std::uint32_t above = row[k + 1];
            row[k + 1] = element == b[k] ? diagonal + 1 : std::max(above, row[k]);
            diagonal = above;
        }
    }
    return row.back();
}

// How many elements are paired; the pairs are equal and in order.
std::size_t paired(const number_list& a, const number_list& b) {
    const number_list partners = align_sequences(a, b);
    EXPECT_EQ(partners.size(), a.size());
    std::size_t count = 0;
    std::size_t next = 0;
    for (std::size_t i = 0; i < partners.size(); ++i) {
        if (partners[i] != no_partner) {
            EXPECT_GE(partners[i], next);
            EXPECT_EQ(a[i], b.at(partners[i]));
            next = partners[i] + 1;
            ++count;
        }
    }
    return count;
}

number_list random_list(std::mt19937& random, std::size_t size, std::uint32_t letters) {
    number_list out(size);
    std::generate(out.begin(), out.end(), [&] { return static_cast<std::uint32_t>(random() % letters); });
    return out;
}

TEST(SequenceAlignment, FindsALongestCommonSubsequence) {
    std::mt19937 random(1);
    for (int round = 0; round < 3000; ++round) {
        const auto letters = static_cast<std::uint32_t>(1 + random() % 8);
        const number_list a = random_list(random, random() % 24, letters);
        const number_list b = random_list(random, random() % 24, letters);
        ASSERT_EQ(paired(a, b), longest(a, b)) << "round " << round;
    }
}

// Each would take a square of that many steps without a bound; what is found then is a common subsequence still.
TEST(SequenceAlignment, EndsForLongSequencesThatDifferInEveryWay) {
    constexpr std::size_t size = 8'000;
    std::mt19937 random(2);
    number_list ascending(size);
    std::iota(ascending.begin(), ascending.end(), 0U);
    number_list others(size);
    std::iota(others.begin(), others.end(), static_cast<std::uint32_t>(size));
    EXPECT_EQ(paired(ascending, others), 0U);
    EXPECT_EQ(paired(ascending, number_list(ascending.rbegin(), ascending.rend())), 1U);
    number_list shuffled = ascending;
    std::shuffle(shuffled.begin(), shuffled.end(), random);
    EXPECT_GT(paired(ascending, shuffled), 100U);
    EXPECT_GT(paired(random_list(random, size, 2), random_list(random, size, 2)), size / 2);
}

TEST(SequenceAlignment, FindsFewChangesInLongSequences) {
    constexpr std::size_t size = 100'000;
    constexpr std::size_t changes = 1'000;
    number_list before(size);
    std::iota(before.begin(), before.end(), 0U);
    number_list after = before;
    for (std::size_t i = 0; i < changes; ++i) {
        after[i * (size / changes)] += static_cast<std::uint32_t>(size);
    }
    EXPECT_EQ(paired(before, after), size - changes);
}

// Events -----------------------------------------------------------------------------------------------------------

// "a1": the variable a of the first value, "A1" the image A of the first content; "!" behind it: with other data
// under the same digest.
lab::log_event event_named(std::string_view word) {
    const auto seed = static_cast<std::uint8_t>(word[0] * 10 + word[1]);
    const std::string_view name = word.substr(0, 1);
    if (name[0] <= 'Z') {
        return test::loaded_image(4, name, seed);
    }
    const std::string_view value = word.substr(1);
    return test::measured(test::boot_variable(4, name, {value.begin(), value.end()}), seed);
}

std::vector<std::string> words_of(std::string_view text) {
    std::vector<std::string> words;
    while (!text.empty()) {
        words.emplace_back(take_until(text, ' '));
    }
    return words;
}

lab::event_log log_of(std::string_view text) {
    lab::event_log log;
    for (const std::string& word : words_of(text)) {
        log.events.push_back(event_named(word));
    }
    return log;
}

// The steps of PCR 4: "a1" alike, "b1~b2" changed, "b1=b1!" restated, "-b1", "+c1", ">d1" moved.
std::string steps_between(std::string_view before, std::string_view after) {
    const read_log_of reference(log_of(before));
    const read_log_of live(log_of(after));
    const std::vector<pcr_alignment> pcrs = align_logs(reference.events, live.events);
    EXPECT_EQ(test::flaw_of(reference.events, live.events, pcrs), nullptr);
    std::string out;
    for (const alignment_step& step : pcrs.back().steps) {
        const std::string old = step.reference == no_event ? "" : words_of(before)[step.reference - 1];
        const std::string now = step.live == no_event ? "" : words_of(after)[step.live - 1];
        out += out.empty() ? "" : " ";
        switch (step.kind) {
            case step_kind::alike: out += now; break;
            case step_kind::restated: out += old + "=" + now; break;
            case step_kind::moved: out += ">" + now; break;
            case step_kind::changed: out += old + "~" + now; break;
            case step_kind::removed: out += "-" + old; break;
            case step_kind::added: out += "+" + now; break;
        }
    }
    return out;
}

TEST(LogAlignment, SaysWhatBecameOfEachEvent) {
    constexpr struct {
        const char* name;
        const char* reference;
        const char* live;
        const char* steps;
    } rows[] = {
        {"Equal", "a1 b1 A1", "a1 b1 A1", "a1 b1 A1"},
        {"Changed", "a1 b1 c1", "a1 b2 c1", "a1 b1~b2 c1"},
        {"RemovedAtBothEnds", "a1 b1 c1", "b1", "-a1 b1 -c1"},
        {"AddedAtBothEnds", "b1", "a1 b1 c1", "+a1 b1 +c1"},
        {"Moved", "a1 b1 c1 d1", "b1 c1 d1 a1", "b1 c1 d1 >a1"},
        {"MovedAndChanged", "a1 b1 c1", "b1 c1 a2", "b1 c1 a1~a2"},
        {"ManyOfOneName", "a1 a2 b1", "a3 a4 b1", "a1~a3 a2~a4 b1"},
        {"ManyOfOneNameThatCannotBeToldApart", "a1 a2 b1", "a3 b1", "-a1 -a2 +a3 b1"},
        {"OneOfSeveralAlike", "a1 a1 a1", "a1 a1", "a1 a1 -a1"},
        {"AnotherVariable", "a1 b1", "a1 c1", "a1 -b1 +c1"},
        {"ReplacedImage", "a1 A1 b1", "a1 B2 b1", "a1 A1~B2 b1"},
        {"ImageOfTheSamePathBeforeAnother", "A1 b1", "B2 A3 b1", "+B2 A1~A3 b1"},
        {"OtherDataUnderOneDigest", "a1 b1", "a1 b1!", "a1 b1=b1!"},
        {"NothingInCommon", "a1 b1", "c1 d1", "-a1 -b1 +c1 +d1"},
        {"ChangesBetweenChanges", "a1 b1 c1 d1 e1", "a2 c1 b2 f1 e1", "a1~a2 c1 -d1 b1~b2 +f1 e1"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(steps_between(row.reference, row.live), row.steps) << row.name;
    }
}

TEST(LogAlignment, KeepsPcrsApart) {
    const auto event = [](std::uint32_t pcr, std::string_view text) {
        return lab::text_event(pcr, test::EV_ACTION, text);
    };
    const read_log_of reference(test::log_of({event(1, "x"), event(2, "y"), event(30, "z")}));
    const read_log_of live(test::log_of({event(2, "y"), event(2, "x"), event(1, "x"), event(5, "z")}));
    const std::vector<pcr_alignment> pcrs = align_logs(reference.events, live.events);
    EXPECT_EQ(test::flaw_of(reference.events, live.events, pcrs), nullptr);
    std::string kinds;
    for (const pcr_alignment& pcr : pcrs) {
        kinds += std::to_string(pcr.pcr) + ":";
        for (const alignment_step& step : pcr.steps) {
            kinds += std::to_string(static_cast<int>(step.kind));
        }
        kinds += ' ';
    }
    EXPECT_EQ(kinds, "0:0 1:0 2:05 5:5 30:4 ");
}

// Logs are compared by the banks that both have; by the data when there is none.
TEST(LogAlignment, ComparesTheBanksThatBothHave) {
    const lab::log_bank sha1 = {lab::TPM_ALG_SHA1, 20};
    const lab::log_bank sha256 = {lab::TPM_ALG_SHA256, 32};
    const lab::log_bank sha384 = {lab::TPM_ALG_SHA384, 48};
    const auto log = [](std::vector<lab::log_bank> banks, std::string_view text) {
        lab::event_log out = test::log_of({lab::text_event(4, test::EV_ACTION, text)});
        if (banks.empty()) {
            out.spec_id.reset();
        } else {
            out.spec_id->banks = std::move(banks);
        }
        return out;
    };
    const struct {
        std::vector<lab::log_bank> reference;
        std::vector<lab::log_bank> live;
    } rows[] = {
        {{sha1, sha256}, {sha256, sha1}}, {{sha256}, {sha384, sha256}}, {{}, {sha1, sha384}}, {{sha256}, {sha384}}};
    for (const auto& row : rows) {
        const read_log_of reference(log(row.reference, "x"));
        const read_log_of same(log(row.live, "x"));
        const read_log_of other(log(row.live, "y"));
        ASSERT_TRUE(reference.opened && same.opened && other.opened);
        EXPECT_EQ(align_logs(reference.events, same.events).back().steps[0].kind, step_kind::alike);
        EXPECT_EQ(align_logs(reference.events, other.events).back().steps[0].kind, step_kind::removed);
    }
}

TEST(LogAlignment, LeadsFromAnyRealLogToAnyOther) {
    const auto paths = test::real_logs();
    if (paths.empty()) {
        GTEST_SKIP() << "no event logs in \"" << test::real_logs_folder() << "\"";
    }
    test::log_session session(log_level::off);
    std::vector<std::vector<std::uint8_t>> bytes;
    std::vector<event_sequence> logs;
    for (const auto& path : paths) {
        event_sequence log;
        bytes.push_back(test::read_log(path));
        if (ok(read_events(bytes.back(), log))) {
            logs.push_back(log);
        }
    }
    EXPECT_GT(logs.size(), paths.size() / 2);
    for (const event_sequence& reference : logs) {
        for (const event_sequence& live : logs) {
            EXPECT_EQ(test::flaw_of(reference, live, align_logs(reference, live)), nullptr);
        }
    }
}

}  // namespace
}  // namespace vellum
