// "vellum-report fleet": takes reports into a database, and says what it holds.
#pragma once

#include <span>

namespace vellum::fleet {

int fleet_command(std::span<char* const> words);

}  // namespace vellum::fleet
