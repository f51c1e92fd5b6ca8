// vellum-lab: makes the inputs of vellum and runs vellum on a recorded device.
#include <cstdio>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "app/run.h"
#include "base/path.h"
#include "base/text.h"
#include "lab/diff.h"
#include "lab/forge.h"
#include "lab/inspect.h"
#include "lab/sample_boot.h"
#include "lab/seal_command.h"
#include "lab/terminal.h"
#include "native.h"  // of the system that the build is for
#include "platform/recorded/recorded.h"
#include "tools/commands.h"
#include "tools/write_file.h"

namespace vellum::lab {
namespace {

int usage();

int replay(std::span<char* const> words) {
    if (words.empty()) {
        return usage();
    }
    std::vector<char*> arguments(words.begin(), words.end());
    native_platform native;
    recorded_platform device(native.services());
    if (!ok(device.load(words.front()))) {
        std::fprintf(stderr, "vellum-lab: \"%s\" is not a recorded device: %s.\n", shown_text(words.front()).c_str(),
                     device.problem().c_str());
        return usage_error;
    }
    // The program's name takes the place of "--", or else of the directory.
    const std::size_t first = words.size() > 1 && std::string_view(words[1]) == "--" ? 1 : 0;
    std::string name = "vellum";
    arguments[first] = name.data();
    return run(static_cast<int>(arguments.size() - first), arguments.data() + first, device.services());
}

int inspect_file(std::span<char* const> words) {
    inspect_request request;
    const request_reading reading = read_inspect_request(words, request);
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

int diff_logs(std::span<char* const> words) {
    diff_request request;
    const request_reading reading = read_diff_request(words, request);
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

int sample_logs(std::span<char* const> words) {
    if (words.size() != 1) {
        return usage();
    }
    const std::string directory = words.front();
    std::error_code ignored;  // what cannot be made cannot be written to, which is said
    std::filesystem::create_directories(path_of(directory), ignored);
    const bool written =
        write_log(directory + "/clean.bin", clean_boot()) && write_log(directory + "/changed.bin", changed_boot());
    return written ? 0 : 1;
}

constexpr command commands[] = {
    {"replay",
     "DIR [--] VELLUM_OPTIONS...\n"
     "        run vellum on the recorded device in DIR\n",
     replay, help_answer::table_first, ": directory\n:: vellum\n"},
    {"forge",
     "DIR [--level TL1|TL3] [--device-id SOURCE]\n"
     "          [--ironwall on|off] [--seal-signing on|off] [--pmf-signing on|off]\n"
     "          [--nonce HEX] [--fault NAME]...\n"
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
     seal_command},
    {"inspect",
     "pmf [--json] [--all] [-c FILE] [--at DATE]\n"
     "          [--trusted DIR] [--intermediate DIR] FILE\n"
     "        say whether a PMF is fit for validation, why it is not, and what it holds\n"
     "    vellum-lab inspect eventlog [--json] [--full] [--pcr LIST] [--type NAME]\n"
     "          [--pcrs FILE|RECORDING|tpm] FILE\n"
     "        say what each event of a TPM event log means and what its digest proves,\n"
     "        which PCR values it adds up to, whether those are the TPM's, and what is\n"
     "        odd about it\n",
     inspect_file, help_answer::table_first, "+ pmf\n+ eventlog\n"},
    {"diff",
     "[--pcr LIST] [--json] REFERENCE LIVE\n"
     "        say which events of a boot's TPM event log are other than in the log of\n"
     "        another boot, what probably happened and who should act: exit code 0\n"
     "        nothing differs, 5 something does, 3 a log cannot be read\n",
     diff_logs, help_answer::table_first},
    {"sample-logs",
     "DIR\n"
     "        write the event logs of two boots of one machine: clean.bin and\n"
     "        changed.bin\n",
     sample_logs, help_answer::table, ": directory\n"},
};

constexpr tool lab_tool = {"vellum-lab", VELLUM_VERSION, commands, "capture", "it is vellum-report's now"};

int usage() {
    return refuse_usage(lab_tool);
}

}  // namespace
}  // namespace vellum::lab

int main(int argc, char** argv) {
    return vellum::run_tool(vellum::lab::lab_tool, {argv + 1, static_cast<std::size_t>(argc > 0 ? argc - 1 : 0)});
}
