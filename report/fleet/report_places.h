// Where in a report the values stand that are kept: tables that the events of its reader are looked up in. For
// report_events.cpp alone.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

#include "report/fleet/report_events.h"

namespace vellum::fleet {

// Where in a report the reader is.
enum class place : std::uint8_t {
    ignored,
    outside,
    report,
    run,
    cause,
    device,
    stages,
    stage,
    findings,
    finding,
    fields,
    cautions,
    pcrs,
    pcr,
    inputs,
    input,
    pmf,
    signers,
    signer,
    evidence,
};

enum class shape : std::uint8_t { object, list };

struct door {
    place from;
    std::string_view key;  // empty: of the items of a list
    place to;
    shape how;
};

inline constexpr door doors[] = {
    {place::outside, "", place::report, shape::object},
    {place::report, "run", place::run, shape::object},
    {place::report, "cause", place::cause, shape::object},
    {place::report, "device", place::device, shape::object},
    {place::report, "stages", place::stages, shape::list},
    {place::report, "other_findings", place::findings, shape::list},
    {place::report, "cautions", place::cautions, shape::list},
    {place::report, "pcrs", place::pcrs, shape::list},
    {place::report, "inputs", place::inputs, shape::list},
    {place::report, "pmf", place::pmf, shape::object},
    {place::report, "evidence", place::evidence, shape::object},
    {place::stages, "", place::stage, shape::object},
    {place::stage, "findings", place::findings, shape::list},
    {place::evidence, "findings", place::findings, shape::list},
    {place::findings, "", place::finding, shape::object},
    {place::cautions, "", place::finding, shape::object},
    {place::finding, "fields", place::fields, shape::object},
    {place::pcrs, "", place::pcr, shape::object},
    {place::inputs, "", place::input, shape::object},
    {place::pmf, "signers", place::signers, shape::list},
    {place::signers, "", place::signer, shape::object},
};

// Of the items of a list that is looked into, and of the report itself.
constexpr const door* item_door(place list) {
    for (const door& row : doors) {
        if (row.from == list && row.key.empty()) {
            return &row;
        }
    }
    return nullptr;
}

// An item of a list while it is read.
struct item {
    std::string id;
    std::string state;
    std::string value;
    std::int64_t number = -1;
};

// Everything that is read to.
struct reading {
    read_values values;
    item stage;
    item current;  // of any other list
};

using text_getter = std::string& (*)(reading&);
using number_getter = std::int64_t& (*)(reading&);
using flag_getter = std::optional<bool>& (*)(reading&);

// What is kept, with one of the three.
struct kept {
    place in;
    std::string_view key;
    text_getter text = nullptr;
    number_getter number = nullptr;
    flag_getter flag = nullptr;
};

template <std::string read_values::*Member>
std::string& value_text(reading& to) {
    return to.values.*Member;
}
template <std::string platform_facts::*Member>
std::string& fact_text(reading& to) {
    return to.values.facts.*Member;
}
template <std::int64_t read_values::*Member>
std::int64_t& value_number(reading& to) {
    return to.values.*Member;
}
template <std::string item::*Member>
std::string& stage_text(reading& to) {
    return to.stage.*Member;
}
template <std::string item::*Member>
std::string& item_text(reading& to) {
    return to.current.*Member;
}
inline std::int64_t& item_number(reading& to) {
    return to.current.number;
}
inline std::optional<bool>& accepted_flag(reading& to) {
    return to.values.accepted;
}

inline constexpr kept kept_values[] = {
    {place::report, "schema", value_text<&read_values::schema>},
    {place::report, "schema_version", nullptr, value_number<&read_values::schema_version>},
    {place::report, "tool_version", fact_text<&platform_facts::tool_version>},
    {place::report, "verdict", value_text<&read_values::verdict>},
    {place::report, "exit_code", nullptr, value_number<&read_values::exit_code>},
    {place::run, "mode", fact_text<&platform_facts::mode>},
    {place::run, "host", value_text<&read_values::host>},
    {place::run, "recorded_device", value_text<&read_values::recorded_device>},
    {place::run, "started", value_text<&read_values::started>},
    {place::run, "microseconds", nullptr, value_number<&read_values::microseconds>},
    {place::cause, "id", value_text<&read_values::cause>},
    {place::device, "id", value_text<&read_values::device_id>},
    {place::device, "id_source", value_text<&read_values::id_source>},
    {place::device, "serial", value_text<&read_values::serial>},
    {place::device, "product", fact_text<&platform_facts::product>},
    {place::device, "sku", fact_text<&platform_facts::sku>},
    {place::device, "bios_version", fact_text<&platform_facts::bios_version>},
    {place::device, "os_version", fact_text<&platform_facts::os_version>},
    {place::device, "orbis_version", fact_text<&platform_facts::orbis_version>},
    {place::device, "firmware_version", fact_text<&platform_facts::firmware_version>},
    {place::device, "driver_version", fact_text<&platform_facts::driver_version>},
    {place::device, "feature_state", fact_text<&platform_facts::feature_state>},
    {place::device, "seal_state", fact_text<&platform_facts::seal_state>},
    {place::stage, "id", stage_text<&item::id>},
    {place::stage, "state", stage_text<&item::state>},
    {place::finding, "id", item_text<&item::id>},
    {place::fields, "pcr", item_text<&item::value>},
    {place::pcr, "pcr", nullptr, item_number},
    {place::pcr, "tpm", item_text<&item::value>},
    {place::input, "what", item_text<&item::id>},
    {place::input, "sha256", item_text<&item::value>},
    {place::pmf, "expires", value_text<&read_values::pmf_expires>},
    {place::signer, "not_after", item_text<&item::value>},
    {place::evidence, "accepted", nullptr, nullptr, accepted_flag},
    {place::evidence, "key_name", value_text<&read_values::key_name>},
    {place::evidence, "device_id", value_text<&read_values::expected_id>},
    {place::evidence, "device_id_source", value_text<&read_values::expected_source>},
};

// Where the schema lets null stand for a value that is kept, or for what leads to some.
struct nullable {
    place in;
    std::string_view key;  // empty: all
};
inline constexpr nullable nullables[] = {
    {place::device, ""},         {place::run, "host"},          {place::run, "recorded_device"},
    {place::run, "started"},     {place::finding, "id"},        {place::pcr, "tpm"},
    {place::pmf, "expires"},     {place::evidence, "key_name"}, {place::report, "cause"},
    {place::report, "evidence"}, {place::signer, "not_after"},
};

inline bool may_be_null(place in, std::string_view key) {
    return std::any_of(std::begin(nullables), std::end(nullables),
                       [&](const nullable& row) { return row.in == in && (row.key.empty() || row.key == key); });
}

inline constexpr std::string_view stage_states[] = {"not_started", "not_applicable", "hidden", "passed",
                                                    "warned",      "skipped",        "failed"};

}  // namespace vellum::fleet
