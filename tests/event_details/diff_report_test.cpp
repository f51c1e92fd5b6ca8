// How a comparison looks on a terminal and off it.
#include <gtest/gtest.h>

#include "lab/diff_report.h"
#include "lab/sample_boot.h"
#include "tests/event_details/boot_events.h"

namespace vellum {
namespace {

lab::log_diff diff_of(const lab::event_log& reference, const lab::event_log& live) {
    lab::log_diff out;
    out.reference.bytes = lab::build(reference);
    out.live.bytes = lab::build(live);
    EXPECT_TRUE(ok(read_events(out.reference.bytes, out.reference.sequence)));
    EXPECT_TRUE(ok(read_events(out.live.bytes, out.live.sequence)));
    out.pcrs = align_logs(out.reference.sequence, out.live.sequence);
    out.causes = probable_causes(out.reference.sequence, out.live.sequence, out.pcrs);
    return out;
}

std::vector<std::string> page_of(const lab::log_diff& diff, const lab::page_style& style) {
    std::string text;
    {
        lab::page_writer page([&](std::string_view piece) { return !text.append(piece).empty(); }, style);
        lab::write_text(diff, page);
    }
    std::vector<std::string> lines;
    for (std::string_view rest = text; !rest.empty();) {
        lines.emplace_back(take_until(rest, '\n'));
    }
    return lines;
}

lab::log_diff with_long_line() {
    const std::string line = "kernel_cmdline: /vmlinuz" + std::string(60, ' ') + "ro";
    std::string longer = line;
    for (int i = 0; i < 200; ++i) {
        longer += " option=" + std::to_string(i);
    }
    return diff_of(test::log_of({lab::text_event(8, test::EV_IPL, line)}),
                   test::log_of({lab::text_event(8, test::EV_IPL, longer)}));
}

std::size_t longest_of(const std::vector<std::string>& lines) {
    std::size_t columns = 0;
    for (const std::string& line : lines) {
        columns = std::max(columns, lab::columns_of(line));
    }
    return columns;
}

TEST(DiffReport, FitsTheTerminalAndIsWholeElsewhere) {
    const lab::log_diff diff = with_long_line();
    const std::vector<std::string> narrow = page_of(diff, {60, false});
    const std::vector<std::string> wide = page_of(diff, {140, true});
    const std::vector<std::string> piped = page_of(diff, {});
    EXPECT_LE(longest_of(narrow), 63U);  // with the mark that more follows
    EXPECT_GT(longest_of(wide), 100U);
    EXPECT_LE(longest_of(piped), 80U);
    EXPECT_GT(piped.size(), narrow.size());
    const auto says = [](const std::vector<std::string>& lines, std::string_view word) {
        return std::any_of(lines.begin(), lines.end(),
                           [=](const std::string& line) { return line.find(word) != std::string::npos; });
    };
    EXPECT_TRUE(says(piped, "option=199"));
    EXPECT_TRUE(says(wide, "\x1b["));
    EXPECT_FALSE(says(narrow, "\x1b[") || says(piped, "\x1b["));
}

// Whatever happened, ten lines say it.
TEST(DiffReport, HasAHeadOfTenLines) {
    lab::event_log other = lab::clean_boot();
    std::uint8_t seed = 0;
    for (lab::log_event& event : other.events) {
        if (event.pcr > 0) {
            event = test::measured(event, ++seed);
        }
    }
    other.events.push_back(lab::text_event(9, test::EV_IPL, "/vmlinuz"));
    other.events.push_back(lab::text_event(14, test::EV_IPL, "MokList"));
    const std::pair<lab::event_log, lab::event_log> pairs[] = {
        {lab::clean_boot(), other},
        {lab::clean_boot(), lab::changed_boot()},
        {lab::changed_boot(), other},
        {lab::clean_boot(), test::log_of({})},
    };
    for (const auto& [reference, live] : pairs) {
        for (const std::size_t columns : {0U, 40U, 80U, 200U}) {
            const std::vector<std::string> lines = page_of(diff_of(reference, live), {columns, false});
            const auto end = std::find(lines.begin(), lines.end(), "");
            EXPECT_NE(end, lines.end());
            EXPECT_LE(end - lines.begin(), columns == 40 ? 14 : 10) << columns;
        }
    }
}

}  // namespace
}  // namespace vellum
