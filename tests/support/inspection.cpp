#include "tests/support/inspection.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "base/path.h"
#include "native.h"

namespace vellum::test {

struct description::tree {
    nlohmann::json root;

    nlohmann::json at(const std::string& pointer) const {
        const nlohmann::json::json_pointer place(pointer);
        return root.contains(place) ? root[place] : nlohmann::json();
    }
};

description::description(const std::string& text)
    : tree_(std::make_shared<const tree>(tree{nlohmann::json::parse(text)})) {}

std::string description::at(const std::string& pointer) const {
    const nlohmann::json value = tree_->at(pointer);
    return value.is_string() ? value.get<std::string>() : value.is_null() ? "none" : value.dump();
}

std::size_t description::size(const std::string& pointer) const {
    return tree_->at(pointer).size();
}

codes description::codes_of(const std::string& pointer) const {
    codes out;
    for (const nlohmann::json& remark : tree_->at(pointer)) {
        EXPECT_NE(remark["says"], "");
        out.push_back(remark["code"]);
    }
    return out;
}

inspection inspect(const lab::inspect_request& request) {
    native_platform machine;
    inspection out;
    out.outcome = lab::inspect(request, machine.services(), out.text);
    return out;
}

description describe(lab::inspect_request request, lab::inspect_outcome expected) {
    request.form = lab::inspect_form::json;
    const inspection made = inspect(request);
    EXPECT_EQ(made.outcome, expected) << made.text;
    return description(made.text);
}

void inspect_each_cut(const lab::inspect_request& request,
                      const std::function<void(std::size_t, lab::inspect_outcome)>& check) {
    for (std::size_t size = std::filesystem::file_size(path_of(request.path)); size-- > 0;) {
        std::filesystem::resize_file(path_of(request.path), size);
        check(size, inspect(request).outcome);
    }
}

}  // namespace vellum::test
