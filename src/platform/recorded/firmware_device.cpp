#include "platform/recorded/firmware_device.h"

#include <algorithm>
#include <filesystem>

#include "base/path.h"
#include "base/text.h"
#include "platform/shared/interface_search.h"

namespace vellum {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t request_command_offset = 4;  // 4 bytes, little-endian
constexpr std::uint32_t empty_list = 1;
constexpr std::uint8_t protocol_version = 1;
constexpr std::string_view sent_extension = ".bin";
constexpr std::size_t sent_digits = 4;
constexpr int max_taken_names = 65536;

io_result completed_with(std::size_t bytes) {
    return {io_status::completed, static_cast<std::uint32_t>(bytes), os_status::success, false};
}

// The answer as far as the buffer reaches; zeros behind it.
io_result complete_control(byte_view answer, std::span<std::uint8_t> output) {
    const std::size_t length = std::min(answer.size(), output.size());
    std::fill(std::copy_n(answer.begin(), length, output.begin()), output.end(), std::uint8_t{0});
    return completed_with(length);
}

// Plays the steps that a transfer of this outcome takes.
io_result after_steps(const io_result& outcome, const transfer_steps& steps) {
    if (outcome.status != io_status::no_event) {
        steps.starting();
    }
    if (outcome.pending) {
        steps.waiting();
    }
    return outcome;
}

constexpr io_result refused = {io_status::not_started, 0, recorded_io_error, false};

template <typename Number>
[[nodiscard]] bool take_number(std::string_view& text, Number& out) {
    const std::optional<Number> value = parse_decimal<Number>(take_until(text, '.'));
    out = value.value_or(0);
    return value.has_value();
}

}  // namespace

result recorded_firmware_device::load(record_directory& record) {
    path_ = record.path("firmware");
    std::error_code error;
    present_ = fs::is_directory(path_of(path_), error);
    if (!present_) {
        return result::success;
    }
    client_absent_ = fs::exists(path_of(record.path("firmware/client_absent")), error);
    std::optional<std::uint32_t> length;
    result loaded = record.read_number("firmware/max_message_length", length);
    max_message_length_ = length.value_or(max_message_length_);
    for (std::size_t i = 0; i < recorded_responses.size() && ok(loaded); ++i) {
        loaded = record.read(recorded_responses[i].file, responses_[i]);
    }
    if (ok(loaded)) {
        loaded = load_version(record);
    }
    if (ok(loaded)) {
        loaded = faults_.load(record);
    }
    return ok(loaded) ? load_sent(record) : loaded;
}

result recorded_firmware_device::load_version(record_directory& record) {
    constexpr const char* name = "firmware/driver_version";
    std::optional<std::string> text;
    const result read = record.read(name, text);
    if (!ok(read) || !text) {
        return read;
    }
    std::string_view rest = trim(*text);
    const bool well_formed = std::count(rest.begin(), rest.end(), '.') == 3 &&
                             take_number(rest, version_.major_number) && take_number(rest, version_.minor_number) &&
                             take_number(rest, version_.hotfix) && take_number(rest, version_.build);
    return well_formed ? result::success : record.malformed(name, "does not hold major.minor.hotfix.build in range");
}

// Numbering goes on after the highest number that is there.
result recorded_firmware_device::load_sent(record_directory& record) {
    constexpr const char* name = "firmware/sent";
    switch (open_request_folder(path_, "sent", sent_)) {
        case folder_opening::done: break;
        case folder_opening::missing: return result::success;
        case folder_opening::linked: return record.malformed(name, "is reached through a link");
        case folder_opening::closed: return record.malformed(name, "cannot be read and written to");
    }
    const bool listed = each_name(*sent_, [this](std::string_view file) {
        if (file.ends_with(sent_extension)) {
            file.remove_suffix(sent_extension.size());
            last_sent_ = std::max(last_sent_, parse_decimal(file).value_or(0));
        }
    });
    return listed ? result::success : record.malformed(name, "cannot be listed");
}

std::uint32_t recorded_firmware_device::list_characters() const {
    const std::size_t one = path_.size() + 1;
    return static_cast<std::uint32_t>((list_has_grown_ ? 2 * one : one) + 1);
}

std::uint32_t recorded_firmware_device::list_size(const class_guid& interface_class, std::uint32_t& characters) {
    const auto failure = faults_.failure(firmware_operation::list_size);
    if (failure) {
        return *failure;
    }
    characters = present_ && interface_class == peli::interface_class ? list_characters() : empty_list;
    list_has_grown_ = faults_.list_grows();
    return 0;
}

std::uint32_t recorded_firmware_device::list(std::uint32_t characters, std::vector<std::string>& paths) const {
    const auto failure = faults_.failure(firmware_operation::list);
    if (failure) {
        return *failure;
    }
    if (characters < list_characters()) {
        return interface_list_grown;
    }
    paths.assign(list_has_grown_ ? 2 : 1, path_);
    return 0;
}

found_interfaces recorded_firmware_device::interfaces(const class_guid& interface_class,
                                                      const interface_steps& steps) {
    return search_interfaces(
        steps, [&](std::uint32_t& characters) { return list_size(interface_class, characters); },
        [this](std::uint32_t characters, std::vector<std::string>& paths) { return list(characters, paths); });
}

os_status recorded_firmware_device::open(const std::string& path) {
    const auto failure = faults_.failure(firmware_operation::open);
    open_ = !failure && present_ && path == path_;
    return open_ ? os_status::success : os_status(failure.value_or(code_of(recorded_not_found)));
}

io_result recorded_firmware_device::control(std::uint32_t code, byte_view input, std::span<std::uint8_t> output,
                                            std::uint32_t, const transfer_steps& steps) {
    return after_steps(answer_control(code, input, output), steps);
}

io_result recorded_firmware_device::answer_control(std::uint32_t code, byte_view input,
                                                   std::span<std::uint8_t> output) {
    if (!open_ || (code != peli::get_version_code && code != peli::connect_client_code)) {
        return refused;
    }
    const bool connects = code == peli::connect_client_code;
    const firmware_operation operation = connects ? firmware_operation::connect : firmware_operation::version;
    if (const std::optional<io_result> failed = faults_.io_failure(operation)) {
        return *failed;
    }
    return faults_.completed(operation, connects ? answer_connect(input, output) : answer_version(output));
}

io_result recorded_firmware_device::answer_version(std::span<std::uint8_t> output) const {
    std::array<std::uint8_t, peli::version_size> answer{};
    answer[peli::version_major_offset] = version_.major_number;
    answer[peli::version_minor_offset] = version_.minor_number;
    answer[peli::version_hotfix_offset] = version_.hotfix;
    put_le(std::span(answer).subspan(peli::version_build_offset), version_.build);
    return complete_control(answer, output);
}

io_result recorded_firmware_device::answer_connect(byte_view input, std::span<std::uint8_t> output) {
    connected_ = !client_absent_ && equal_bytes(input, peli::client_identifier);
    if (!connected_) {
        return {io_status::no_such_client, 0, recorded_not_found, false};
    }
    std::array<std::uint8_t, peli::client_properties_size> answer{};
    put_le(std::span(answer).subspan(peli::max_message_length_offset), max_message_length_);
    answer[peli::protocol_version_offset] = protocol_version;
    return complete_control(answer, output);
}

// False when the request cannot be kept. A name that another replay of the record has taken meanwhile is passed over.
bool recorded_firmware_device::keep(byte_view message) {
    request_keeping outcome = sent_ ? request_keeping::name_taken : request_keeping::done;
    for (int tries = 0; outcome == request_keeping::name_taken && tries < max_taken_names; ++tries) {
        if (last_sent_ == UINT64_MAX) {
            return false;
        }
        std::string number = std::to_string(++last_sent_);
        number.insert(0, number.size() < sent_digits ? sent_digits - number.size() : 0, '0');
        outcome = keep_request(*sent_, number.append(sent_extension), message);
    }
    return outcome == request_keeping::done;
}

io_result recorded_firmware_device::write(byte_view message, std::uint32_t, const transfer_steps& steps) {
    return after_steps(take_request(message), steps);
}

io_result recorded_firmware_device::take_request(byte_view message) {
    if (!open_ || !connected_) {
        return refused;
    }
    if (const std::optional<io_result> failed = faults_.io_failure(firmware_operation::write)) {
        return *failed;
    }
    if (!keep(message)) {
        return refused;
    }
    waiting_ = nullptr;
    byte_reader request(message);
    std::uint32_t command = 0;
    const bool has_command = request.skip(request_command_offset) && request.u32_le(command);
    for (std::size_t i = 0; i < recorded_responses.size() && has_command; ++i) {
        if (static_cast<std::uint32_t>(recorded_responses[i].command) == command && responses_[i]) {
            waiting_ = &*responses_[i];
        }
    }
    return faults_.completed(firmware_operation::write, completed_with(message.size()));
}

io_result recorded_firmware_device::read(std::span<std::uint8_t> buffer, std::uint32_t, const transfer_steps& steps) {
    return after_steps(give_response(buffer), steps);
}

io_result recorded_firmware_device::give_response(std::span<std::uint8_t> buffer) {
    if (!open_ || !connected_) {
        return refused;
    }
    if (const std::optional<io_result> failed = faults_.io_failure(firmware_operation::read)) {
        return *failed;
    }
    if (waiting_ == nullptr) {
        return {io_status::timed_out, 0, recorded_io_error, true};
    }
    const std::size_t length = std::min({waiting_->size(), buffer.size(), std::size_t{max_message_length_}});
    std::copy_n(waiting_->begin(), length, buffer.begin());
    waiting_ = nullptr;
    return faults_.completed(firmware_operation::read, completed_with(length));
}

os_status recorded_firmware_device::close() {
    open_ = false;
    connected_ = false;
    waiting_ = nullptr;
    return os_status(faults_.failure(firmware_operation::close).value_or(0));
}

}  // namespace vellum
