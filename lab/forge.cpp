#include "lab/forge.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <string_view>
#include <vector>

#include "app/stages.h"
#include "base/path.h"
#include "base/suggestions.h"
#include "base/text.h"
#include "lab/device.h"
#include "lab/fault_stages.h"
#include "lab/faults.h"
#include "lab/plan_options.h"
#include "tools/arguments.h"
#include "tools/commands.h"
#include "tools/write_file.h"
#include "tpm/attestation/quote.h"

namespace vellum::lab {
namespace {

constexpr int write_error = 1;
constexpr int nothing_found = 1;

struct request {
    std::string directory;
    device_plan plan;
    std::vector<const fault*> faults;
    std::optional<std::vector<std::uint8_t>> nonce;
};

[[nodiscard]] bool add_fault(std::string_view value, request& out) {
    out.faults.push_back(find_fault(value));
    return out.faults.back() != nullptr;
}

std::vector<std::string_view> fault_names() {
    std::vector<std::string_view> names;
    for (const fault* row : all_faults()) {
        names.emplace_back(row->name);
    }
    return names;
}

[[nodiscard]] bool parse(std::span<char* const> words, request& out) {
    const option options[] = {
        level_option(out.plan),
        device_id_option(out.plan),
        switch_option("--ironwall", out.plan.ironwall),
        switch_option("--seal-signing", out.plan.seal_signing),
        switch_option("--pmf-signing", out.plan.pmf_signing),
        {"--nonce", [&](std::string_view digits) { return (out.nonce = parse_nonce(digits)).has_value(); }, {}},
        {"--fault", [&](std::string_view value) { return add_fault(value, out); }, fault_names()},
        {"--list-faults", [](std::string_view) { return false; }, {}},  // stands alone; known by its name here
    };
    const std::optional<std::string> directory = parse_arguments("vellum-lab", words, options);
    out.directory = directory.value_or("");
    return directory.has_value();
}

result make(request& wanted, device& out) {
    for (const fault* row : wanted.faults) {
        if (row->plan != nullptr) {
            row->plan(wanted.plan);
        }
    }
    const result made = make_device(wanted.plan, out);
    for (const fault* row : wanted.faults) {
        if (ok(made) && row->since != nullptr) {
            row->since(out);
        }
    }
    out.nonce = wanted.nonce;
    return made;
}

// One to a line, with what it is called.
std::string stages_of(stage_set set, const char* title) {
    std::string lines;
    for (const auto& row : stage_rows()) {
        if ((set & slots(row.slot)) != 0) {
            lines += "    " + std::string(title) + row.name + "\n";
        }
    }
    return lines;
}

std::string description_of(const fault& row) {
    const fault_stages* stages = find_fault_stages(row.name);
    std::string name = row.name;
    name.resize(std::max<std::size_t>(name.size(), 24), ' ');
    return name + " " + row.says + "\n" +
           (stages != nullptr ? stages_of(stages->failed, "fails  ") + stages_of(stages->warned, "warns  ") : "");
}

// Those whose name, text or stages have the word in them.
int list_faults(std::string_view word) {
    bool found = false;
    for (const fault* row : all_faults()) {
        const std::string description = description_of(*row);
        if (lower_case(description).find(lower_case(word)) != std::string::npos) {
            std::fputs(description.c_str(), stdout);
            found = true;
        }
    }
    if (!found) {
        std::fprintf(stderr, "vellum-lab: no fault has \"%s\" in its name, its text or its stages%s\n",
                     shown_text(word).c_str(), did_you_mean(word, fault_names()).c_str());
    }
    return found ? 0 : nothing_found;
}

}  // namespace

int forge(std::span<char* const> words) {
    if (!words.empty() && words.size() < 3 && std::string_view(words[0]) == "--list-faults") {
        return list_faults(words.size() == 2 ? words[1] : "");
    }
    request wanted;
    if (!parse(words, wanted)) {
        return usage_error;
    }
    if (const std::string_view contradiction = contradiction_of(wanted.plan); !contradiction.empty()) {
        std::fprintf(stderr, "vellum-lab: %s, or make a device that fails for it with --fault pmf-unsigned.\n",
                     contradiction.data());
        return usage_error;
    }
    const std::string directory = shown_text(wanted.directory);
    std::string reason;
    if (!prepare_directory(path_of(wanted.directory), reason)) {
        std::fprintf(stderr, "vellum-lab: cannot make a device in \"%s\": %s.\n", directory.c_str(), reason.c_str());
        return write_error;
    }
    device made;
    if (!ok(make(wanted, made)) || !ok(write_device(made, wanted.directory))) {
        std::fprintf(stderr, "vellum-lab: cannot make the device in \"%s\".\n", directory.c_str());
        return write_error;
    }
    std::vector<std::string> options;
    if (!made.external_device_id.empty()) {
        options.push_back("--external_device_id=" + made.external_device_id);
    }
    std::printf("%s\n", validation_command(wanted.directory, options).c_str());
    return 0;
}

}  // namespace vellum::lab
