// A console for runs whose texts nobody reads: everything goes nowhere.
#pragma once

#include "platform/console.h"

namespace vellum {

class mute_console final : public console {
  public:
    void start() override {}
    void write(console_stream, std::string_view) override {}
    void set_colour(console_stream, colour) override {}
    void reset_colour(console_stream) override {}
};

}  // namespace vellum
