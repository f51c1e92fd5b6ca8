// vellum-lab: makes the inputs of vellum and runs vellum on a recorded device.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "app/run.h"
#include "base/path.h"
#include "base/suggestions.h"
#include "base/text.h"
#include "lab/diff.h"
#include "lab/forge.h"
#include "lab/inspect.h"
#include "lab/sample_boot.h"
#include "lab/seal_command.h"
#include "lab/terminal.h"
#include "native.h"  // of the system that the build is for
#include "platform/recorded/recorded.h"
#include "tools/write_file.h"

namespace vellum::lab {
namespace {

constexpr int usage_error = 3;

int usage();

int replay(int argc, char** argv) {
    if (argc < 1) {
        return usage();
    }
    native_platform native;
    recorded_platform device(native.services());
    if (!ok(device.load(argv[0]))) {
        std::fprintf(stderr, "vellum-lab: \"%s\" is not a recorded device: %s.\n", shown_text(argv[0]).c_str(),
                     device.problem().c_str());
        return usage_error;
    }
    // The program's name takes the place of "--", or else of the directory.
    const int first = argc > 1 && std::string_view(argv[1]) == "--" ? 1 : 0;
    std::string name = "vellum";
    argv[first] = name.data();
    return run(argc - first, argv + first, device.services());
}

int seal_machine_of(int argc, char** argv) {
    return seal_command({argv, static_cast<std::size_t>(argc)});
}

int inspect_file(int argc, char** argv) {
    inspect_request request;
    const request_reading reading = read_inspect_request({argv, static_cast<std::size_t>(argc)}, request);
    if (reading != request_reading::complete) {
        return reading == request_reading::help ? 0 : usage_error;
    }
    native_platform native;
    // Of a file that cannot be read a person is told nothing but that; a machine reads one stream.
    const auto refusal = [](std::string_view text) {
        return std::fwrite(text.data(), 1, text.size(), stderr) == text.size();
    };
    const platform services = native.services();
    return static_cast<int>(inspect(request, services, {output_sink(services.output), refusal, style_of_output()}));
}

int diff_logs(int argc, char** argv) {
    diff_request request;
    const request_reading reading = read_diff_request({argv, static_cast<std::size_t>(argc)}, request);
    if (reading != request_reading::complete) {
        return reading == request_reading::help ? 0 : usage_error;
    }
    native_platform native;
    const platform machine = native.services();
    page_writer page(output_sink(machine.output), style_of_output());
    std::string problem;
    const diff_outcome outcome = diff(request, machine, page, problem);
    if (!problem.empty() && request.form == diff_form::text) {
        std::fprintf(stderr, "vellum-lab diff: %s.\n", problem.c_str());
    }
    return static_cast<int>(outcome);
}

bool write_log(const std::string& path, const event_log& log) {
    const bool written = write_bytes(path_of(path), build(log));
    if (!written) {
        std::fprintf(stderr, "vellum-lab: cannot write \"%s\".\n", shown_text(path).c_str());
    }
    return written;
}

int sample_logs(int argc, char** argv) {
    if (argc != 1) {
        return usage();
    }
    const std::string directory = argv[0];
    std::error_code ignored;  // what cannot be made cannot be written to, which is said
    std::filesystem::create_directories(path_of(directory), ignored);
    const bool written =
        write_log(directory + "/clean.bin", clean_boot()) && write_log(directory + "/changed.bin", changed_boot());
    return written ? 0 : 1;
}

struct command {
    std::string_view name;
    const char* usage;                  // the arguments, and what the command does with them
    int (*run)(int argc, char** argv);  // of the arguments behind the name
};

constexpr command commands[] = {
    {"replay",
     "DIR [--] VELLUM_OPTIONS...\n"
     "        run vellum on the recorded device in DIR\n",
     replay},
    {"forge",
     "DIR [--level TL1|TL3] [--device-id SOURCE]\n"
     "          [--ironwall on|off] [--seal-signing on|off] [--pmf-signing on|off]\n"
     "          [--fault NAME]...\n"
     "        make a sealed device, whole or with faults, and print the command that\n"
     "        validates it\n"
     "    vellum-lab forge --list-faults [WORD]\n"
     "        list the faults, and at which stages a validation notices each; with a\n"
     "        WORD those that have it in name, text or stages\n",
     forge},
    {"seal",
     "RECORDING DIR [--level TL1|TL3] [--device-id SOURCE\n"
     "          [--external-device-id ID]] [--bom LETTER:PATH]... [--pcrs LIST]\n"
     "          [--day DATE] [--expire DATE] [--ironwall on|off]\n"
     "          [--seal-signing on|off] [--pmf-signing on|off]\n"
     "          [--key FILE --certificate FILE] [--seal-key FILE]\n"
     "        make a sealed device of the machine that was captured into RECORDING\n"
     "        in its good state, with what its firmware has to measure, and print\n"
     "        the command that validates it\n",
     seal_machine_of},
    {"inspect",
     "pmf [--json] [--all] [-c FILE] [--at DATE]\n"
     "          [--trusted DIR] [--intermediate DIR] FILE\n"
     "        say whether a PMF is fit for validation, why it is not, and what it holds\n"
     "    vellum-lab inspect eventlog [--json] [--full] [--pcr LIST] [--type NAME]\n"
     "          [--pcrs FILE|RECORDING|tpm] FILE\n"
     "        say what each event of a TPM event log means and what its digest proves,\n"
     "        which PCR values it adds up to, whether those are the TPM's, and what is\n"
     "        odd about it\n",
     inspect_file},
    {"diff",
     "[--pcr LIST] [--json] REFERENCE LIVE\n"
     "        say which events of a boot's TPM event log are other than in the log of\n"
     "        another boot, what probably happened and who should act: exit code 0\n"
     "        nothing differs, 5 something does, 3 a log cannot be read\n",
     diff_logs},
    {"sample-logs",
     "DIR\n"
     "        write the event logs of two boots of one machine: clean.bin and\n"
     "        changed.bin\n",
     sample_logs},
};

void print_usage(std::FILE* stream, std::span<const command> rows) {
    std::fputs("usage:\n", stream);
    for (const command& row : rows) {
        std::fprintf(stream, "    vellum-lab %s %s", row.name.data(), row.usage);
    }
}

void print_whole_usage(std::FILE* stream) {
    print_usage(stream, commands);
    std::fputs("    vellum-lab [COMMAND] --help\n    vellum-lab --version\n", stream);
}

int usage() {
    print_whole_usage(stderr);
    return usage_error;
}

int unknown_command(std::string_view word) {
    if (word == "capture") {
        std::fputs("vellum-lab: there is no command capture; it is vellum-report's now\n", stderr);
        return usage_error;
    }
    std::vector<std::string_view> names;
    for (const command& row : commands) {
        names.push_back(row.name);
    }
    std::fprintf(stderr, "vellum-lab: there is no command %s%s\n", shown_text(word).c_str(),
                 did_you_mean(word, names).c_str());
    return usage_error;
}

bool asks_for_help(std::string_view word) {
    return word == "--help" || word == "-h" || word == "help";
}

// The first argument may be a name, even "help", when others follow; from the second on only an option asks.
bool asks_for_help(std::span<char*> words) {
    return (words.size() == 1 && asks_for_help(words.front())) ||
           std::any_of(words.begin(), words.end(), [](std::string_view word) { return word == "--help"; });
}

int run_command(const command& row, std::span<char*> words) {
    // What stands behind the directory of a replay is for vellum, and some commands tell their options themselves.
    const bool only_first = row.run == replay || row.run == inspect_file || row.run == diff_logs;
    const std::span<char*> own = only_first ? words.first(std::min<std::size_t>(words.size(), 1)) : words;
    if (asks_for_help(own)) {
        print_usage(stdout, {&row, 1});
        return 0;
    }
    return row.run(static_cast<int>(words.size()), words.data());
}

int run_lab(std::span<char*> words) {
    const std::string_view first = words.empty() ? "" : words.front();
    if (asks_for_help(first)) {
        print_whole_usage(stdout);
        return 0;
    }
    if (first == "--version") {
        std::puts("vellum-lab " VELLUM_VERSION);
        return 0;
    }
    const auto row = std::find_if(std::begin(commands), std::end(commands),
                                  [first](const command& candidate) { return candidate.name == first; });
    if (row == std::end(commands)) {
        return words.empty() ? usage() : unknown_command(first);
    }
    return run_command(*row, words.subspan(1));
}

}  // namespace
}  // namespace vellum::lab

int main(int argc, char** argv) {
    return vellum::lab::run_lab({argv + 1, static_cast<std::size_t>(argc > 0 ? argc - 1 : 0)});
}
