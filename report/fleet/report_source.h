// Where the reports of a feed come from, one after another: files, the "*.json" of directories and of those in
// them, and standard input, with a report in a line or laid out in several. Two threads may ask at once.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vellum::fleet {

inline constexpr const char* standard_input = "-";

// A report as it came, or why it did not.
struct raw_report {
    std::string name;  // its file, or its line
    std::string text;
    std::string problem;  // empty: there is a text
};

// Has the files of reports that have neither text nor problem fetched together, as one after another each would wait
// for the disk.
void announce_texts(std::span<const raw_report> reports);

// Reads the file of such a report; then it has one of them.
void read_text(raw_report& report);

class report_source {
  public:
    // Counts what the directories hold, unless standard input is among the places.
    explicit report_source(std::span<const std::string> places);

    // Appends what is to be read together. False, and nothing is appended, at the end.
    // The text of a file is read by read_text() only, so that few are in memory at once.
    [[nodiscard]] bool next(std::vector<raw_report>& out);

    // Ends the waiting for standard input. Any thread may ask for it.
    void stop() { stopped_ = true; }

    // How many there are; nothing when that shows at their end only.
    std::optional<std::uint64_t> total() const { return total_; }

  private:
    [[nodiscard]] bool open_next(std::vector<raw_report>& out);
    void open_directory(const std::filesystem::path& directory, std::vector<raw_report>& out);
    void list_directory(std::vector<raw_report>& out);
    void take_entry(const std::filesystem::directory_entry& entry, std::vector<raw_report>& out);
    void read_lines(std::vector<raw_report>& out);
    void take_lines(std::vector<raw_report>& out);
    void drop_what_is_too_long(std::vector<raw_report>& out);
    void take_line(std::string_view line, std::vector<raw_report>& out);
    void take_laid_out(std::string_view line, std::vector<raw_report>& out);
    void end_laid_out(std::vector<raw_report>& out);

    std::span<const std::string> places_;
    std::optional<std::uint64_t> total_;
    std::mutex asking_;
    std::atomic<bool> stopped_ = false;
    std::filesystem::path directory_;  // of the listing
    std::optional<std::filesystem::directory_iterator> listing_;
    std::vector<std::filesystem::path> directories_;  // that are to be listed
    bool reads_input_ = false;
    std::string input_;        // what was read
    std::size_t taken_ = 0;    // of it
    bool skips_line_ = false;  // of one that is too long, to its end
    std::uint64_t line_ = 0;
    std::string laid_out_;      // what was read of a report in several lines
    std::uint64_t begins_ = 0;  // the line in which it does; 0: there is none
};

}  // namespace vellum::fleet
