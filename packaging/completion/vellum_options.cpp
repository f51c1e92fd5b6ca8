// Prints what a shell can complete of vellum, which has no word for that itself: without arguments the modes and the
// options of all of them, with "--MODE" those of one.
#include <cstdio>
#include <string>
#include <string_view>

#include "app/command_line.h"
#include "tools/completion.h"

int main(int argc, char** argv) {
    const std::string_view asked = argc > 2 ? argv[1] : "";
    vellum::show_option_tables([asked](const char* mode, void* const* table) {
        const std::string name = std::string("--") + mode;
        if (asked.empty()) {
            std::printf("+ %s\n", name.c_str());
        }
        if (asked.empty() || asked == name) {
            vellum::print_library_options(table);
        }
    });
}
