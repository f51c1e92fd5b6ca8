// The options of one command, read by argtable: help, errors and usage look the same wherever there are some.
#pragma once

#if VELLUM_ARGTABLE == 3
#include <argtable3.h>
#else
#include <argtable2.h>
#endif

#include <span>
#include <string>
#include <vector>

#include "tools/request_reading.h"

namespace vellum {

class option_table {
  public:
    // The name as it is typed, "vellum-lab diff", and what the usage has behind the options.
    explicit option_table(std::string name, const char* behind = "") : name_(std::move(name)), behind_(behind) {}
    ~option_table() { arg_freetable(all_.data(), all_.size()); }
    option_table(const option_table&) = delete;
    option_table& operator=(const option_table&) = delete;

    // Takes over an object of the library, which may be null for want of memory.
    template <typename Object>
    Object* own(Object* object) {
        all_.push_back(object);
        return object;
    }

    // The objects in the order of the usage, from what `own` returned; help stands behind the options.
    void arrange(std::vector<void*> options, const std::vector<void*>& arguments = {});

    // When it is complete the objects hold the values. Help wins over everything; a shell that asks for
    // the options is given them, as if it had asked for help.
    request_reading read(std::span<char* const> arguments);

    // For values that the library takes and the command does not.
    request_reading refuse(const std::string& why);

  private:
    int parse(std::span<const std::string> arguments);
    void print_syntax(std::FILE* stream);
    request_reading refuse_arguments(std::span<char* const> arguments);

    static constexpr int max_reported_errors = 20;

    std::string name_;
    const char* behind_;
    std::vector<std::string> parsed_;  // the library points into it
    std::vector<void*> all_;
    arg_lit* help_ = own(arg_lit0("h", "help", "show this help"));
    struct arg_end* end_ = own(arg_end(max_reported_errors));
    std::vector<void*> table_;
};

}  // namespace vellum
