// What vellum-lab says of a file, on the machine's own clock and certificates.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "base/path.h"
#include "lab/inspect.h"
#include "native.h"

namespace vellum::test {

struct inspection {
    lab::inspect_outcome outcome = lab::inspect_outcome::unreadable;
    std::string text;
};

inline inspection inspect(const lab::inspect_request& request) {
    native_platform machine;
    inspection out;
    out.outcome = lab::inspect(request, machine.services(), out.text);
    return out;
}

inline nlohmann::json as_json(lab::inspect_request request, lab::inspect_outcome expected) {
    request.form = lab::inspect_form::json;
    const inspection made = inspect(request);
    EXPECT_EQ(made.outcome, expected) << made.text;
    return nlohmann::json::parse(made.text);
}

using codes = std::vector<std::string>;

// Of reasons or cautions, each of which says something.
inline codes codes_of(const nlohmann::json& remarks) {
    codes out;
    for (const nlohmann::json& remark : remarks) {
        EXPECT_NE(remark["says"], "");
        out.push_back(remark["code"]);
    }
    return out;
}

// The outcome for the file as it is cut shorter and shorter, byte by byte. A file that is written anew each time
// would wait for the disk.
inline void inspect_each_cut(const lab::inspect_request& request,
                             const std::function<void(std::size_t, lab::inspect_outcome)>& check) {
    for (std::size_t size = std::filesystem::file_size(path_of(request.path)); size-- > 0;) {
        std::filesystem::resize_file(path_of(request.path), size);
        check(size, inspect(request).outcome);
    }
}

}  // namespace vellum::test
