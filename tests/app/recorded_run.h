// Runs on a recorded device in this process, without a log file where nothing else is said.
#pragma once

#include <string>
#include <vector>

#include "app/run.h"
#include "native.h"
#include "platform/recorded/recorded.h"
#include "tests/support/log_session.h"

namespace vellum::test {

struct outcome {
    int code = 0;
    std::string text;
    bool passed() const { return text.find("Validation PASSED") != std::string::npos; }
};

// `words` are the program's name and all its options. A recording that cannot be loaded ends as the program that
// replays it does. `changed` may replace its services; the observer may be null.
template <typename Change>
outcome run_words(const std::string& directory, std::vector<std::string> words, Change changed,
                  run_observer* observer = nullptr) {
    native_platform native;
    fake_console console;
    const platform real = native.services();
    recorded_platform device({console, real.time, real.errors, real.firmware, real.tpm, real.tables, real.os,
                              real.directories, real.boot_disk});
    if (!ok(device.load(directory))) {
        return {exit_code(result::invalid), "ERROR: " + device.problem()};
    }
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    const int code = run(static_cast<int>(argv.size()), argv.data(), changed(device.services()), observer);
    return {code, std::move(console.text)};
}

inline outcome run_words(const std::string& directory, std::vector<std::string> words) {
    return run_words(directory, std::move(words), [](const platform& recorded) { return recorded; });
}

template <typename Change>
outcome run_recorded(const std::string& directory, std::vector<std::string> options, Change changed,
                     run_observer* observer = nullptr) {
    options.insert(options.begin(), "vellum");
    options.insert(options.end(), {"-l", "0"});
    return run_words(directory, std::move(options), changed, observer);
}

inline outcome run_recorded(const std::string& directory, std::vector<std::string> options) {
    return run_recorded(directory, std::move(options), [](const platform& recorded) { return recorded; });
}

inline outcome validate(const std::string& directory, const std::string& ini_file, const char* console_level) {
    return run_recorded(directory, {"--validate", "-c", ini_file, "-v", console_level});
}

}  // namespace vellum::test
