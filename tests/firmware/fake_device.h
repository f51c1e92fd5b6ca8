// An interface device that answers as it was told and keeps what it was asked.
#pragma once

#include <algorithm>
#include <functional>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/result.h"
#include "base/text.h"
#include "firmware/firmware_link.h"
#include "firmware/status.h"
#include "platform/firmware_device.h"
#include "platform/shared/interface_search.h"

namespace vellum::test {

class fake_device final : public firmware_device {
  public:
    std::uint32_t characters = 20;
    int small_lists = 0;  // how many fetches find the list grown
    bool list_exhausts_memory = false;
    std::vector<std::string> paths = {"first", "second"};

    io_result connect_result, write_result, read_result;
    std::vector<std::uint8_t> version = {1, 2, 3, 0x04, 0x01};
    std::vector<std::uint8_t> properties = {0x00, 0x40, 0x00, 0x00, 1};
    std::vector<std::uint8_t> answer;              // the next message
    std::optional<std::uint32_t> answered_length;  // the length that is claimed
    std::function<void()> during_call;

    int list_fetches = 0;
    int open_handles = 0;
    std::string asked;  // each call with its subject
    std::vector<std::vector<std::uint8_t>> sent;
    std::vector<std::uint32_t> timeouts;

    found_interfaces interfaces(const class_guid& interface_class, const interface_steps& steps) override {
        return search_interfaces(
            steps,
            [&](std::uint32_t& out) {
                asked += "list " + guid_text(interface_class) + "\n";
                out = characters;
                return 0U;
            },
            [this](std::uint32_t, std::vector<std::string>& out) { return list(out); });
    }
    os_status open(const std::string& path) override {
        asked += "open " + path + "\n";
        ++open_handles;
        return os_status::success;
    }
    io_result control(std::uint32_t code, byte_view input, std::span<std::uint8_t> output, std::uint32_t timeout_ms,
                      const transfer_steps& steps) override {
        asked += "control " + std::to_string(code & 0xFU) + " " + upper_hex(input) + "\n";
        timeouts.push_back(timeout_ms);
        return code == 0x8000E000U ? call({}, version, output, steps)
                                   : call(connect_result, properties, output, steps);
    }
    io_result write(byte_view message, std::uint32_t timeout_ms, const transfer_steps& steps) override {
        sent.emplace_back(message.begin(), message.end());
        timeouts.push_back(timeout_ms);
        io_result written = call(write_result, {}, {}, steps);
        written.transferred = static_cast<std::uint32_t>(message.size());
        return written;
    }
    io_result read(std::span<std::uint8_t> buffer, std::uint32_t timeout_ms, const transfer_steps& steps) override {
        timeouts.push_back(timeout_ms);
        io_result received = call(read_result, answer, buffer, steps);
        received.transferred = answered_length.value_or(received.transferred);
        return received;
    }
    os_status close() override {
        --open_handles;
        return os_status::success;
    }

  private:
    std::uint32_t list(std::vector<std::string>& out) {
        if (list_exhausts_memory) {
            throw std::bad_alloc();
        }
        if (++list_fetches <= small_lists) {
            return interface_list_grown;
        }
        out = paths;
        return 0;
    }
    io_result call(io_result outcome, const std::vector<std::uint8_t>& content, std::span<std::uint8_t> out,
                   const transfer_steps& steps) {
        if (outcome.status != io_status::no_event) {
            steps.starting();
        }
        if (outcome.pending) {
            steps.waiting();
        }
        if (during_call) {
            during_call();
        }
        const std::size_t size = std::min(content.size(), out.size());
        std::copy_n(content.begin(), size, out.begin());
        outcome.transferred = static_cast<std::uint32_t>(size);
        return outcome;
    }
};

// A connection to a fake device, closed at the end.
struct connection {
    fake_device device;
    firmware_link link;
    result connected;

    connection() {
        connected = link.open(device);
        device.timeouts.clear();
    }

    FirmwareCommandContext context_named(const char* operation) {
        FirmwareCommandContext context;
        context.link = &link;
        context.operation = operation;
        return context;
    }
};

}  // namespace vellum::test
