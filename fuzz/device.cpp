// A whole recorded device, in any mode of the program.
#include "app/run.h"
#include "fuzz/device_files.h"
#include "fuzz/device_run.h"
#include "fuzz/fuzz_session.h"

namespace vellum::fuzz {
namespace {

class keeping_console final : public console {
  public:
    std::string text;

    void start() override {}
    void write(console_stream, std::string_view written) override {
        demand(!written.starts_with("Unexpected error occurred: "), "no exception reaches the roof");
        text += written;
    }
    void set_colour(console_stream, colour) override {}
    void reset_colour(console_stream) override {}
};

struct outcome {
    int code = 0;
    std::string text;

    bool operator==(const outcome&) const = default;
};

outcome run_device(byte_view files, std::vector<std::string> arguments) {
    keeping_console console;
    outcome out{-1, ""};
    arguments.insert(arguments.begin(), "vellum");
    std::vector<char*> argv = argv_of(arguments);
    const auto run_it = [&](const platform& machine) {
        out.code = run(static_cast<int>(argv.size()), argv.data(), machine);
        out.text = console.text;
    };
    visit_device(files, console, run_it, out.text);
    return out;
}

}  // namespace

void check(byte_view input) {
    byte_reader reader(input);
    std::uint8_t command_line = 0;
    if (!reader.u8(command_line)) {
        return;
    }
    const auto& arguments = command_line_of(command_line % run_twice);
    const outcome first = run_device(reader.rest(), arguments);
    demand(first.code >= -1 && first.code <= 8, "a run ends with one of the known codes");
    if (command_line >= run_twice) {
        demand(run_device(reader.rest(), arguments) == first, "a second run on the same device says the same");
    }
}

}  // namespace vellum::fuzz
