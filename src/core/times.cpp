#include "core/times.h"

#include <array>
#include <cerrno>
#include <ctime>
#include <mutex>

#include "core/log.h"

namespace vellum {

std::optional<std::tm> utc_calendar(std::int64_t epoch_seconds) {
    static std::mutex guard;  // the library has one place for all threads
    const std::lock_guard<std::mutex> lock(guard);
    const auto time = static_cast<std::time_t>(epoch_seconds);
    errno = 0;
    const std::tm* const parts = std::gmtime(&time);
    return parts != nullptr ? std::optional<std::tm>(*parts) : std::nullopt;
}

namespace {

constexpr const char* date_and_time = "%Y-%m-%d %H:%M:%S UTC";

std::optional<std::string> format_time(const std::tm& time, const char* pattern) {
    std::array<char, 64> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), pattern, &time);
    return length == 0 ? std::nullopt : std::optional(std::string(text.data(), length));
}

std::optional<std::string> format_utc(std::int64_t epoch_seconds, const char* pattern) {
    const auto shown = static_cast<unsigned long long>(epoch_seconds);
    const std::optional<std::tm> time = utc_calendar(epoch_seconds);
    if (!time) {
        log_at(log_level::error, "Could not convert UTC Epoch Time: %llu to UTC time, errno: %d.", shown, errno);
        return std::nullopt;
    }
    auto text = format_time(*time, pattern);
    if (!text) {
        log_at(log_level::error, "Could not generate gmtime string representation of UTC Epoch Tile %llu.", shown);
    }
    return text;
}

}  // namespace

std::optional<std::string> local_time_string(std::int64_t epoch_seconds, std::int32_t utc_offset) {
    const auto shown = static_cast<unsigned long long>(epoch_seconds);
    std::int64_t local = 0;
    const bool fits = !__builtin_add_overflow(epoch_seconds, std::int64_t{utc_offset}, &local);
    const std::optional<std::tm> time = fits ? utc_calendar(local) : std::nullopt;
    if (!time) {
        log_at(log_level::error, "Could not convert UTC Epoch Time: %llu to localtime, errno: %d.", shown, errno);
        return std::nullopt;
    }
    auto text = format_time(*time, date_and_time);
    if (!text) {
        log_at(log_level::error, "Could not generate localtime string representation of UTC Epoch Tile %llu.", shown);
    }
    return text;
}

std::optional<std::string> utc_time_string(std::int64_t epoch_seconds) {
    return format_utc(epoch_seconds, date_and_time);
}

std::optional<std::string> utc_iso_string(std::int64_t epoch_seconds) {
    return format_utc(epoch_seconds, "%Y-%m-%dT%H:%M:%SZ");
}

}  // namespace vellum
