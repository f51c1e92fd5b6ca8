#include "platform/recorded/firmware_faults.h"

#include <algorithm>

#include "base/text.h"
#include "platform/recorded/system_errors.h"

namespace vellum {
namespace {

constexpr const char* file_name = "firmware/faults";

struct operation_name {
    std::string_view name;
    firmware_operation operation;
};

constexpr operation_name operation_names[] = {
    {"list_size", firmware_operation::list_size}, {"list", firmware_operation::list},
    {"open", firmware_operation::open},           {"version", firmware_operation::version},
    {"connect", firmware_operation::connect},     {"write", firmware_operation::write},
    {"read", firmware_operation::read},           {"close", firmware_operation::close},
};

constexpr bool is_transfer(firmware_operation operation) {
    return operation == firmware_operation::version || operation == firmware_operation::connect ||
           operation == firmware_operation::write || operation == firmware_operation::read;
}

constexpr bool is_call(firmware_operation operation) {
    return !is_transfer(operation);
}

constexpr bool is_list(firmware_operation operation) {
    return operation == firmware_operation::list;
}

}  // namespace

struct firmware_faults::fault_name {
    std::string_view name;
    fault_kind kind;
    io_status status;
    bool (*applies)(firmware_operation operation);
};

const firmware_faults::fault_name firmware_faults::fault_names[] = {
    {"fail", fault_kind::fail, io_status::completed, is_call},
    {"grow", fault_kind::grow, io_status::completed, is_list},
    {"short", fault_kind::short_transfer, io_status::completed, is_transfer},
    {"pending", fault_kind::pending, io_status::completed, is_transfer},
    {"no_event", fault_kind::status, io_status::no_event, is_transfer},
    {"not_started", fault_kind::status, io_status::not_started, is_transfer},
    {"timed_out", fault_kind::status, io_status::timed_out, is_transfer},
    {"wait_abandoned", fault_kind::status, io_status::wait_abandoned, is_transfer},
    {"wait_failed", fault_kind::status, io_status::wait_failed, is_transfer},
    {"not_collected", fault_kind::status, io_status::not_collected, is_transfer},
};

std::optional<firmware_faults::fault> firmware_faults::parse(std::string_view line) {
    const std::string_view operation_text = take_word(line);
    const std::string_view fault_text = take_word(line);
    const auto operation = std::find_if(std::begin(operation_names), std::end(operation_names),
                                        [&](const auto& row) { return row.name == operation_text; });
    const auto kind = std::find_if(std::begin(fault_names), std::end(fault_names),
                                   [&](const auto& row) { return row.name == fault_text; });
    if (operation == std::end(operation_names) || kind == std::end(fault_names) ||
        !kind->applies(operation->operation)) {
        return std::nullopt;
    }
    const std::optional<std::uint32_t> number = parse_decimal<std::uint32_t>(line);
    const bool number_is_right = line.empty() ? kind->kind != fault_kind::short_transfer : number.has_value();
    return number_is_right ? std::optional(fault{operation->operation, kind->kind, kind->status, number})
                           : std::nullopt;
}

result firmware_faults::load(record_directory& record) {
    std::optional<std::string> text;
    const result read = record.read(file_name, text);
    if (!ok(read) || !text) {
        return read;
    }
    std::string_view rest = *text;
    for (std::size_t number = 1; !rest.empty(); ++number) {
        const std::string_view line = trim(take_until(rest, '\n'));
        const std::optional<fault> parsed = parse(line);
        if (parsed) {
            faults_.push_back(*parsed);
        } else if (!line.empty()) {
            return record.malformed(file_name, "holds no fault in line " + std::to_string(number));
        }
    }
    return result::success;
}

const firmware_faults::fault* firmware_faults::find(firmware_operation operation, fault_kind kind) const {
    const auto found = std::find_if(faults_.begin(), faults_.end(), [&](const fault& candidate) {
        return candidate.operation == operation && candidate.kind == kind;
    });
    return found == faults_.end() ? nullptr : &*found;
}

std::optional<std::uint32_t> firmware_faults::failure(firmware_operation operation) const {
    const fault* found = find(operation, fault_kind::fail);
    return found == nullptr ? std::nullopt : std::optional(found->number.value_or(code_of(recorded_io_error)));
}

std::optional<io_result> firmware_faults::io_failure(firmware_operation operation) const {
    const fault* found = find(operation, fault_kind::status);
    if (found == nullptr) {
        return std::nullopt;
    }
    const bool pending = found->status != io_status::no_event && found->status != io_status::not_started;
    return io_result{found->status, 0, os_status(found->number.value_or(code_of(recorded_io_error))), pending};
}

io_result firmware_faults::completed(firmware_operation operation, io_result outcome) const {
    if (const fault* found = find(operation, fault_kind::short_transfer)) {
        outcome.transferred = std::min(outcome.transferred, found->number.value_or(0));
    }
    outcome.pending = find(operation, fault_kind::pending) != nullptr;
    return outcome;
}

bool firmware_faults::list_grows() const {
    return find(firmware_operation::list, fault_kind::grow) != nullptr;
}

}  // namespace vellum
