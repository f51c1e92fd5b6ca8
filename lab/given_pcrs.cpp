#include "lab/given_pcrs.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>

#include "base/path.h"
#include "base/text.h"
#include "core/file.h"
#include "core/pcr.h"
#include "platform/recorded/recorded.h"
#include "tpm/tbs/tpm_access.h"

namespace vellum::lab {
namespace {

constexpr std::string_view running_tpm = "tpm";
constexpr std::uint64_t max_values_file = std::uint64_t{64} * 1024;
constexpr std::size_t digest_sizes[] = {20, 32, 48, 64};  // bytes

// Nothing for what is no digest.
std::optional<std::vector<std::uint8_t>> digest_in(std::string_view text) {
    text.remove_prefix(text.starts_with("0x") || text.starts_with("0X") ? 2 : 0);
    std::optional<std::vector<std::uint8_t>> bytes = parse_hex(text);
    const bool whole =
        bytes && std::find(std::begin(digest_sizes), std::end(digest_sizes), bytes->size()) != std::end(digest_sizes);
    return whole ? std::move(bytes) : std::nullopt;
}

bool is_repeated(const std::vector<given_pcr>& list, const given_pcr& value) {
    return std::any_of(list.begin(), list.end(), [&](const given_pcr& other) {
        return other.pcr == value.pcr && other.value.size() == value.value.size();
    });
}

// Why the line is no value; empty: it is one, or says nothing.
std::string read_line(std::string_view line, std::vector<given_pcr>& out) {
    line = trim(line);
    const std::size_t number_end = std::min(line.find_first_not_of("0123456789"), line.size());
    if (number_end == 0) {
        return "";
    }
    const auto pcr = parse_decimal<std::uint32_t>(line.substr(0, number_end));
    std::string_view rest = trim(line.substr(number_end));
    rest = trim(rest.starts_with(':') ? rest.substr(1) : rest);
    if (!pcr || *pcr >= pcr_count) {
        return "there is no PCR " + std::string(line.substr(0, number_end));
    }
    auto digest = digest_in(rest);
    if (!digest) {
        return "the value of PCR " + std::to_string(*pcr) + " is no digest in hexadecimal";
    }
    given_pcr value{*pcr, *std::move(digest)};
    if (is_repeated(out, value)) {
        return "PCR " + std::to_string(*pcr) + " is there already";
    }
    out.push_back(std::move(value));
    return "";
}

[[nodiscard]] bool read_values_file(const std::string& path, std::vector<given_pcr>& out, std::string& problem) {
    std::vector<std::uint8_t> bytes;
    if (!ok(read_file(path, max_values_file, bytes))) {
        problem = "The PCR values cannot be read.";
        return false;
    }
    const std::string text(bytes.begin(), bytes.end());
    std::string_view rest = text;
    for (std::size_t number = 1; !rest.empty(); ++number) {
        if (const std::string wrong = read_line(take_until(rest, '\n'), out); !wrong.empty()) {
            problem = "The PCR values in " + shown_text(path) + " cannot be read: line " + std::to_string(number) +
                      ": " + wrong + ".";
            return false;
        }
    }
    problem = out.empty() ? shown_text(path) + " holds no line of the form \"PCR VALUE\"." : "";
    return !out.empty();
}

[[nodiscard]] bool read_tpm(tpm_library& library, std::vector<given_pcr>& out, std::string& problem) {
    pcr_value_list values{};
    if (!ok(read_pcrs_via_tbs(library, values))) {
        problem = "The TPM does not give its PCR values.";
        return false;
    }
    for (std::size_t pcr = 0; pcr < values.size(); ++pcr) {
        out.push_back({static_cast<std::uint32_t>(pcr), {values[pcr].begin(), values[pcr].end()}});
    }
    return true;
}

[[nodiscard]] bool read_recording(const std::string& directory, const platform& machine, std::vector<given_pcr>& out,
                                  std::string& problem) {
    constexpr std::string_view sources[] = {"/tpm/pcrs.bin", "/tpm/tcti"};
    const bool has_values = std::any_of(std::begin(sources), std::end(sources), [&](std::string_view name) {
        std::error_code ignored;
        return std::filesystem::exists(path_of(directory + std::string(name)), ignored);
    });
    if (!has_values) {
        problem = shown_text(directory) + " holds no PCR values: there is no tpm/pcrs.bin in it.";
        return false;
    }
    recorded_platform device(machine);
    if (!ok(device.load(directory))) {
        problem = shown_text(directory) + " is not a recorded device: " + device.problem() + ".";
        return false;
    }
    return read_tpm(device.services().tpm, out, problem);
}

}  // namespace

bool read_given_pcrs(const std::string& from, const platform& machine, std::vector<given_pcr>& out,
                     std::string& problem) {
    if (from == running_tpm) {
        return read_tpm(machine.tpm, out, problem);
    }
    std::error_code ignored;
    return std::filesystem::is_directory(path_of(from), ignored) ? read_recording(from, machine, out, problem)
                                                                 : read_values_file(from, out, problem);
}

}  // namespace vellum::lab
