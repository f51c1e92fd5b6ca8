// How the reading of a command's arguments ended.
#pragma once

namespace vellum {

enum class request_reading {
    complete,
    help,     // help was asked for and is printed
    refused,  // what is wrong is printed on standard error
};

}  // namespace vellum
