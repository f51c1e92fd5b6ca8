#include "lab/forge.h"

#include <cstdio>
#include <optional>
#include <string_view>
#include <vector>

#include "config/device_id.h"
#include "core/path.h"
#include "core/text.h"
#include "lab/device.h"
#include "lab/faults.h"
#include "lab/write_file.h"

namespace vellum::lab {
namespace {

constexpr int usage_error = 3;
constexpr int write_error = 1;

struct request {
    std::string directory;
    device_plan plan;
    std::vector<const fault*> faults;
};

bool set_level(std::string_view value, request& out) {
    out.plan.level = value == "TL3" ? trusted_level::tl3 : trusted_level::tl1;
    return value == "TL1" || value == "TL3";
}

bool set_device_id(std::string_view value, request& out) {
    out.plan.id_source = device_id_source_of(value);
    return out.plan.id_source != DeviceIdSource::unknown;
}

template <bool device_plan::*Switch>
bool set_switch(std::string_view value, request& out) {
    out.plan.*Switch = value == "on";
    return value == "on" || value == "off";
}

bool add_fault(std::string_view value, request& out) {
    out.faults.push_back(find_fault(value));
    return out.faults.back() != nullptr;
}

struct option {
    std::string_view name;
    bool (*set)(std::string_view value, request& out);
};

constexpr option options[] = {
    {"--level", set_level},
    {"--device-id", set_device_id},
    {"--ironwall", set_switch<&device_plan::ironwall>},
    {"--seal-signing", set_switch<&device_plan::seal_signing>},
    {"--pmf-signing", set_switch<&device_plan::pmf_signing>},
    {"--fault", add_fault},
};

bool set_option(std::string_view name, std::string_view value, request& out) {
    for (const option& row : options) {
        if (row.name == name) {
            return row.set(value, out);
        }
    }
    return false;
}

bool parse(int argc, char** argv, request& out) {
    if (argc < 1 || argc % 2 == 0) {
        return false;
    }
    out.directory = argv[0];
    for (int i = 1; i < argc; i += 2) {
        if (!set_option(argv[i], argv[i + 1], out)) {
            std::fprintf(stderr, "vellum-lab: %s %s is not understood.\n", shown_text(argv[i]).c_str(),
                         shown_text(argv[i + 1]).c_str());
            return false;
        }
    }
    return true;
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
    return made;
}

void list_faults() {
    for (const fault* row : all_faults()) {
        std::printf("%-24s %s\n", row->name, row->says);
    }
}

}  // namespace

int forge(int argc, char** argv) {
    if (argc == 1 && std::string_view(argv[0]) == "--list-faults") {
        list_faults();
        return 0;
    }
    request wanted;
    if (!parse(argc, argv, wanted)) {
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
    std::printf("vellum-lab replay %s --validate -c %s/kxl.ini", directory.c_str(), directory.c_str());
    if (!made.external_device_id.empty()) {
        std::printf(" --external_device_id=%s", made.external_device_id.c_str());
    }
    std::printf("\n");
    return 0;
}

}  // namespace vellum::lab
