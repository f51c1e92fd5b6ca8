// The folder in which a recorded device keeps the requests that it was sent. A record can come from anyone and be
// replayed by many at once: a request goes into a file that was not there before, and nothing is reached through a
// link. The folder is held from its opening on, so that another one put in its place is never written to.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "base/bytes.h"

namespace vellum {

struct request_folder;

enum class folder_opening {
    done,
    missing,  // or no folder
    linked,   // it, or the folder that holds it, is a link
    closed,   // it may not be read or written to
};

// Opens the folder `name` of the folder `parent`; `out` is null unless done.
folder_opening open_request_folder(const std::string& parent, const char* name, std::shared_ptr<request_folder>& out);

// Hands over the name of each entry; false when the folder cannot be listed to its end.
[[nodiscard]] bool each_name(const request_folder& folder, const std::function<void(std::string_view)>& take);

enum class request_keeping {
    done,
    name_taken,
    failed,  // a file that could not be filled stays as far as it came
};

request_keeping keep_request(const request_folder& folder, const std::string& name, byte_view content);

}  // namespace vellum
