// The report of a run on a whole recorded device: whatever the device holds, each form is well-formed.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <vector>

#include "app/run.h"
#include "base/text.h"
#include "fuzz/device_run.h"
#include "fuzz/fuzz_session.h"
#include "report/forms.h"
#include "report/recorder.h"

namespace vellum::fuzz {
namespace {

using namespace reporting;

// UTF-8 without control characters.
bool is_clean(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        const auto first = static_cast<unsigned char>(text[at]);
        const std::size_t more = first < 0x80 ? 0 : first < 0xC2 ? 4 : first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
        std::uint32_t value = more == 0 ? first : first & (0x3FU >> more);
        if (more == 4 || first > 0xF4 || text.size() - at <= more) {
            return false;
        }
        for (std::size_t i = 1; i <= more; ++i) {
            const auto next = static_cast<unsigned char>(text[at + i]);
            if ((next & 0xC0U) != 0x80) {
                return false;
            }
            value = value << 6 | (next & 0x3FU);
        }
        const bool control = value < 0x20 && value != '\n' && value != '\t';
        const bool overlong = (more == 2 && value < 0x800) || (more == 3 && value < 0x10000);
        if (control || overlong || (value >= 0xD800 && value < 0xE000) || value > 0x10FFFF) {
            return false;
        }
        at += more + 1;
    }
    return true;
}

// Elements that are closed in the order in which they were opened, attributes in quotes, known entities.
class markup {
  public:
    explicit markup(std::string_view text) : rest_(text) {}

    bool is_well_formed() {
        while (!rest_.empty() && !wrong_) {
            rest_.front() == '<' ? take_tag() : take_text();
        }
        return !wrong_ && open_.empty();
    }

  private:
    static constexpr std::string_view empty_elements[] = {"br", "col", "hr", "meta"};

    static bool entities_are_known(std::string_view text) {
        constexpr std::string_view known[] = {"&amp;", "&lt;", "&gt;", "&quot;", "&#39;", "&middot;", "&ndash;"};
        for (std::size_t at = text.find('&'); at != std::string_view::npos; at = text.find('&', at + 1)) {
            const std::string_view here = text.substr(at);
            if (std::none_of(std::begin(known), std::end(known),
                             [here](std::string_view name) { return here.starts_with(name); })) {
                return false;
            }
        }
        return true;
    }

    std::string_view take(std::size_t size) {
        const std::string_view taken = rest_.substr(0, size);
        rest_.remove_prefix(taken.size());
        return taken;
    }

    void take_text() {
        // A sheet of styles is no text.
        const bool raw = !open_.empty() && open_.back() == "style";
        const std::string_view text = take(std::min(rest_.find(raw ? "</style" : "<"), rest_.size()));
        wrong_ = wrong_ || (!raw && (!entities_are_known(text) || text.find('>') != std::string_view::npos));
    }

    // The end of a tag; a quoted value may hold anything but what begins a tag.
    std::size_t end_of_tag() const {
        char quote = 0;
        for (std::size_t at = 1; at < rest_.size() && rest_[at] != '<'; ++at) {
            const char here = rest_[at];
            if (here == '>' && quote == 0) {
                return at + 1;
            }
            if (here == quote) {
                quote = 0;
            } else if (quote == 0 && (here == '"' || here == '\'')) {
                quote = here;
            }
        }
        return 0;
    }

    void take_tag() {
        const std::size_t end = end_of_tag();
        std::string_view tag = take(end);
        wrong_ = wrong_ || end < 3 || !entities_are_known(tag);
        if (wrong_ || tag[1] == '!' || tag[1] == '?') {
            return;
        }
        const bool closed = tag.ends_with("/>");
        const std::string_view name = tag.substr(1, tag.find_first_of(" />\n", 2) - 1);
        if (tag[1] == '/') {
            wrong_ = open_.empty() || open_.back() != tag.substr(2, tag.size() - 3);
            open_.resize(open_.size() - (wrong_ ? 0 : 1));
        } else if (!closed && std::find(std::begin(empty_elements), std::end(empty_elements), name) ==
                                  std::end(empty_elements)) {
            open_.push_back(name);
        }
    }

    std::string_view rest_;
    std::vector<std::string_view> open_;
    bool wrong_ = false;
};

bool is_metric_name(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
    });
}

// name="value", and the same behind commas.
bool are_labels(std::string_view text) {
    while (!text.empty()) {
        const std::string_view name = take_until(text, '=');
        if (!is_metric_name(name) || !text.starts_with('"')) {
            return false;
        }
        std::size_t end = 1;
        while (end < text.size() && text[end] != '"') {
            end += text[end] == '\\' ? 2 : 1;
        }
        if (end >= text.size()) {
            return false;
        }
        text.remove_prefix(end + 1);
        if (text.starts_with(',') && text.size() > 1) {
            text.remove_prefix(1);
        } else if (!text.empty()) {
            return false;
        }
    }
    return true;
}

bool is_sample(std::string_view line) {
    const std::size_t brace = line.find('{');
    std::string_view value = line;
    std::string_view name = take_until(value, ' ');
    if (brace != std::string_view::npos) {
        const std::size_t end = line.rfind("} ");
        if (end == std::string_view::npos || end < brace || !are_labels(line.substr(brace + 1, end - brace - 1))) {
            return false;
        }
        name = line.substr(0, brace);
        value = line.substr(end + 2);
    }
    value.remove_prefix(value.starts_with('-') ? 1 : 0);
    return is_metric_name(name) && !value.empty() &&
           std::all_of(value.begin(), value.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool are_metrics(std::string_view text) {
    bool good = text.ends_with('\n');
    while (!text.empty()) {
        const std::string_view line = take_until(text, '\n');
        good = good && (line.starts_with("# HELP vellum_") || line.starts_with("# TYPE vellum_") || is_sample(line));
    }
    return good;
}

void check_forms(const run_record& record) {
    const std::string json = json_form(record);
    const std::string junit = junit_form(record);
    const std::string html = html_form(record);
    const std::string metrics = metrics_form(record);
    const std::string summary = summary_form(record);
    for (const std::string& form : {json, junit, html, metrics, summary}) {
        demand(is_clean(form), "a report is in UTF-8, without control characters");
    }
    demand(nlohmann::json::parse(json, nullptr, false).is_object(), "the report in JSON is an object");
    demand(markup(junit).is_well_formed(), "the report for build servers is well-formed");
    demand(junit.find("\xEF\xBF\xBE") == std::string::npos && junit.find("\xEF\xBF\xBF") == std::string::npos,
           "the report for build servers has the characters of XML only");
    demand(markup(html).is_well_formed(), "the page is well-formed");
    demand(are_metrics(metrics), "the metrics obey their grammar");
    demand(summary.size() <= summary_limit && summary.find('\n') == summary.size() - 1, "the summary is one line");
}

}  // namespace

void check(byte_view input) {
    byte_reader reader(input);
    std::uint8_t choice = 0;
    if (!reader.u8(choice)) {
        return;
    }
    std::vector<std::string> words = command_line_of(choice);
    words.insert(words.begin(), "vellum");
    std::vector<char*> argv = argv_of(words);
    mute_console console;
    std::string problem;
    const auto report = [&argv](const platform& machine) {
        run_record record = begin_record(argv, machine);
        recorder watcher(machine, record);
        const int code = run(static_cast<int>(argv.size()), argv.data(), machine, &watcher);
        demand(code == record.exit_code && !watcher.lost(), "the record has the exit code of the run");
        check_forms(record);
    };
    visit_device(reader.rest(), console, report, problem);
}

}  // namespace vellum::fuzz
