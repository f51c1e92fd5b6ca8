// The console of a run that is reported: passes everything on, and remembers the last of it.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "base/text.h"
#include "platform/console.h"

namespace vellum::reporting {

class listening_console final : public console {
  public:
    // `output_is_taken`: standard output belongs to a report, so that what the run writes there is only remembered.
    listening_console(console& real, bool output_is_taken) : real_(real), output_is_taken_(output_is_taken) {
        said_.reserve(3 * kept);
    }

    void start() override { real_.start(); }
    void write(console_stream stream, std::string_view text) override {
        // Fits what is reserved: a run does not fail for want of memory to remember it.
        said_.append(text.substr(text.size() - std::min(text.size(), kept)));
        if (said_.size() > 2 * kept) {
            said_.erase(0, said_.size() - kept);
        }
        if (passes(stream)) {
            real_.write(stream, text);
        }
    }
    void set_colour(console_stream stream, colour value) override {
        if (passes(stream)) {
            real_.set_colour(stream, value);
        }
    }
    void reset_colour(console_stream stream) override {
        if (passes(stream)) {
            real_.reset_colour(stream);
        }
    }

    // Without empty ones.
    std::vector<std::string> last_lines() const {
        std::vector<std::string> lines;
        std::string_view rest = said_;
        while (!rest.empty()) {
            const std::string_view line = take_until(rest, '\n');
            if (!trim(line).empty()) {
                lines.emplace_back(line);
            }
        }
        return lines;
    }

  private:
    static constexpr std::size_t kept = std::size_t{4} * 1024;  // bytes

    bool passes(console_stream stream) const { return stream == console_stream::error || !output_is_taken_; }

    console& real_;
    bool output_is_taken_;
    std::string said_;
};

}  // namespace vellum::reporting
