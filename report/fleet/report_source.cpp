#include "report/fleet/report_source.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "base/path.h"
#include "base/text.h"
#include "platform/bounded_file.h"
#include "platform/standard_input.h"
#include "report/fleet/report_reading.h"

namespace vellum::fleet {
namespace {

// So many go together to a thread.
constexpr std::size_t most_together = 32;
constexpr std::size_t input_block = std::size_t{256} * 1024;

bool is_report_name(const std::filesystem::path& path) {
    return path.extension() == ".json";
}

std::uint64_t count_in(const std::string& place) {
    std::error_code error;
    const std::filesystem::path path = path_of(place);
    if (!std::filesystem::is_directory(path, error)) {
        return 1;
    }
    std::uint64_t count = 0;
    for (std::filesystem::directory_iterator at(path, error); at != std::filesystem::directory_iterator();
         at.increment(error)) {
        count += is_report_name(at->path()) ? 1U : 0U;
    }
    return count;
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

}  // namespace

void read_text(raw_report& report) {
    if (report.text.empty() && report.problem.empty()) {
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
        if (listing_) {
            list_directory(out);
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
        directory_ = place;
        listing_.emplace(path_of(place), error);
        if (error) {
            listing_.reset();
            out.push_back({place, "", "the directory cannot be listed"});
        }
    }
    return true;
}

void report_source::list_directory(std::vector<raw_report>& out) {
    std::error_code error;
    while (out.size() < most_together && *listing_ != std::filesystem::directory_iterator()) {
        const std::filesystem::path path = (*listing_)->path();
        if (is_report_name(path)) {
            out.push_back({text_of(path), "", ""});
        }
        listing_->increment(error);
    }
    if (error) {
        out.push_back({directory_, "", "the directory cannot be listed to its end"});
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

void report_source::take_line(std::string_view line, std::vector<raw_report>& out) {
    ++line_;
    const std::string name = "standard input, line " + std::to_string(line_);
    if (std::exchange(skips_line_, false) || trim(line).empty()) {
        return;
    }
    if (line.size() > largest_report) {
        out.push_back({name, "", "it is too large"});
    } else {
        out.push_back({name, std::string(line), ""});
    }
}

}  // namespace vellum::fleet
