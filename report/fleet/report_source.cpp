#include "report/fleet/report_source.h"

#include <algorithm>
#include <chrono>
#include <string_view>
#include <system_error>
#include <utility>

#include "base/path.h"
#include "base/text.h"
#include "platform/bounded_file.h"
#include "platform/regular_file.h"
#include "platform/standard_input.h"
#include "report/fleet/report_reading.h"

namespace vellum::fleet {
namespace {

// So many go together to a thread.
constexpr std::size_t most_together = 32;
constexpr std::size_t input_block = std::size_t{256} * 1024;

// Character by character, as a name may be no text.
bool is_report_name(const std::filesystem::path& path) {
    constexpr std::string_view wanted = ".json";
    const std::filesystem::path extension = path.extension();
    const auto& given = extension.native();
    const auto fits = [](auto c, char w) { return c == w || (c >= 'A' && c <= 'Z' && c - 'A' + 'a' == w); };
    return given.size() == wanted.size() && std::equal(given.begin(), given.end(), wanted.begin(), fits);
}

// Nothing of a name that is no text, as a system whose names are units of 16 bits may have one.
std::optional<std::string> name_of(const std::filesystem::path& path) {
    try {
        return text_of(path);
    } catch (const std::system_error&) {
        return std::nullopt;
    }
}

// A link that leads to a directory could lead back.
bool is_directory_itself(const std::filesystem::directory_entry& entry) {
    std::error_code error;
    return !entry.is_symlink(error) && entry.is_directory(error);
}

std::uint64_t count_in(const std::string& place) {
    std::error_code error;
    const std::filesystem::path path = path_of(place);
    if (!std::filesystem::is_directory(path, error)) {
        return 1;
    }
    std::uint64_t count = 0;
    for (std::filesystem::recursive_directory_iterator at(path, error);
         at != std::filesystem::recursive_directory_iterator(); at.increment(error)) {
        count += is_report_name(at->path()) && !is_directory_itself(*at) ? 1U : 0U;
    }
    return count;
}

bool lies_in_file(const raw_report& report) {
    return report.text.empty() && report.problem.empty();
}

const char* problem_of(const file_read& read) {
    switch (read.how) {
        case file_read::done: return "";
        case file_read::missing: return "there is no such file";
        case file_read::not_regular: return "it is no regular file";
        case file_read::too_large: return "it is too large";
        case file_read::no_memory: return "there is not enough memory for it";
        default: break;
    }
    return "it cannot be read";
}

void add_report(std::string_view text, std::uint64_t line, std::vector<raw_report>& out) {
    if (trim(text).empty()) {
        return;
    }
    raw_report& added = out.emplace_back();
    added.name = "standard input, line " + std::to_string(line);
    if (text.size() > largest_report) {
        added.problem = "it is too large";
    } else {
        added.text = text;
    }
}

}  // namespace

void announce_texts(std::span<const raw_report> reports) {
    for (const raw_report& report : reports) {
        if (lies_in_file(report)) {
            announce_reading(report.name);
        }
    }
}

void read_text(raw_report& report) {
    if (lies_in_file(report)) {
        report.problem = problem_of(read_bounded(report.name, largest_report, report.text));
    }
}

report_source::report_source(std::span<const std::string> places) : places_(places) {
    if (std::find(places.begin(), places.end(), standard_input) != places.end()) {
        return;
    }
    total_ = 0;
    for (const std::string& place : places) {
        *total_ += count_in(place);
    }
}

bool report_source::next(std::vector<raw_report>& out) {
    const std::lock_guard<std::mutex> lock(asking_);
    while (out.empty()) {
        if (stopped_) {
            return false;
        }
        if (listing_) {
            list_directory(out);
        } else if (!directories_.empty()) {
            const std::filesystem::path directory = std::move(directories_.back());
            directories_.pop_back();
            open_directory(directory, out);
        } else if (reads_input_) {
            read_lines(out);
        } else if (!open_next(out)) {
            return false;
        }
    }
    return true;
}

bool report_source::open_next(std::vector<raw_report>& out) {
    if (places_.empty()) {
        return false;
    }
    const std::string& place = places_.front();
    places_ = places_.subspan(1);
    std::error_code error;
    if (place == standard_input) {
        reads_input_ = true;
    } else if (!std::filesystem::is_directory(path_of(place), error)) {
        out.push_back({place, "", ""});
    } else {
        open_directory(path_of(place), out);
    }
    return true;
}

void report_source::open_directory(const std::filesystem::path& directory, std::vector<raw_report>& out) {
    std::error_code error;
    directory_ = directory;
    listing_.emplace(directory, error);
    if (error) {
        listing_.reset();
        out.push_back({name_of(directory).value_or(""), "", "the directory cannot be listed"});
    }
}

void report_source::take_entry(const std::filesystem::directory_entry& entry, std::vector<raw_report>& out) {
    if (is_directory_itself(entry)) {
        directories_.push_back(entry.path());
    } else if (is_report_name(entry.path())) {
        const auto name = name_of(entry.path());
        out.push_back(
            {name.value_or(name_of(directory_).value_or("")), "", name ? "" : "the name of a file in it is no text"});
    }
}

void report_source::list_directory(std::vector<raw_report>& out) {
    std::error_code error;
    while (out.size() < most_together && *listing_ != std::filesystem::directory_iterator()) {
        take_entry(**listing_, out);
        listing_->increment(error);
    }
    if (error) {
        out.push_back({name_of(directory_).value_or(""), "", "the directory cannot be listed to its end"});
    }
    if (error || *listing_ == std::filesystem::directory_iterator()) {
        listing_.reset();
    }
}

// Takes lines that are whole; where there are none, waits for more.
void report_source::read_lines(std::vector<raw_report>& out) {
    take_lines(out);
    if (!out.empty()) {
        return;
    }
    input_.erase(0, std::exchange(taken_, 0));
    drop_what_is_too_long(out);
    constexpr auto patience = std::chrono::milliseconds(100);
    if (!standard_input_waits(patience)) {
        return;
    }
    const std::size_t before = input_.size();
    input_.resize(before + input_block);
    const std::size_t got =
        read_standard_input({reinterpret_cast<std::uint8_t*>(input_.data()) + before, input_block});
    input_.resize(before + got);
    if (got > 0) {
        return;
    }
    reads_input_ = false;
    if (!input_.empty()) {
        take_line(input_, out);
        input_.clear();
    }
    end_laid_out(out);
}

void report_source::take_lines(std::vector<raw_report>& out) {
    while (out.size() < most_together) {
        const std::size_t end = input_.find('\n', taken_);
        if (end == std::string::npos) {
            break;
        }
        take_line(std::string_view(input_).substr(taken_, end - taken_), out);
        taken_ = end + 1;
    }
}

void report_source::drop_what_is_too_long(std::vector<raw_report>& out) {
    if (input_.size() > largest_report) {
        if (!skips_line_) {
            take_line(input_, out);
            --line_;
        }
        skips_line_ = true;
        input_.clear();
    }
}

// A report is laid out from a line that is "{" to one that is "}". No other line of it begins with a brace, so that
// one which was cut takes nothing with it.
void report_source::take_line(std::string_view line, std::vector<raw_report>& out) {
    ++line_;
    if (std::exchange(skips_line_, false)) {
        return;
    }
    if (line.starts_with('{')) {
        end_laid_out(out);
        begins_ = trim(line) == "{" ? line_ : 0;
    }
    if (begins_ != 0) {
        take_laid_out(line, out);
    } else {
        add_report(line, line_, out);
    }
}

// What is too large is kept so far only that it shows.
void report_source::take_laid_out(std::string_view line, std::vector<raw_report>& out) {
    if (laid_out_.size() <= largest_report) {
        laid_out_.append(line).push_back('\n');
    }
    if (line.starts_with('}')) {
        end_laid_out(out);
    }
}

void report_source::end_laid_out(std::vector<raw_report>& out) {
    if (begins_ != 0) {
        add_report(laid_out_, begins_, out);
        laid_out_.clear();
        begins_ = 0;
    }
}

}  // namespace vellum::fleet
