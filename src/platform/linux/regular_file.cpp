#include "platform/regular_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <climits>

#include "platform/last_status.h"
#include "platform/linux/descriptor.h"

namespace vellum {
namespace {

// The kernel follows the links when it opens, and knows from then on what they led to.
std::string path_of_descriptor(int number) {
    std::array<char, PATH_MAX> path{};
    const std::string link = "/proc/self/fd/" + std::to_string(number);
    const ssize_t size = ::readlink(link.c_str(), path.data(), path.size());
    const bool whole = size > 0 && static_cast<std::size_t>(size) < path.size();
    return whole ? std::string(path.data(), static_cast<std::size_t>(size)) : std::string();
}

// Older kernels leave the answer out.
std::uint64_t mount_of_descriptor(int number) {
    struct statx facts {};
    const bool told = ::statx(number, "", AT_EMPTY_PATH, STATX_MNT_ID, &facts) == 0;
    return told && (facts.stx_mask & STATX_MNT_ID) != 0 ? facts.stx_mnt_id : 0;
}

file_place place_of(int number, const struct stat& status) {
    return {path_of_descriptor(number), status.st_dev, mount_of_descriptor(number)};
}

}  // namespace

file_opening open_and_ask(const std::string& path, regular_file& out) {
    descriptor opened(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status {};
    if (!opened.valid() || ::fstat(opened.get(), &status) != 0) {
        return {file_opening::failed, last_status()};
    }
    if (!S_ISREG(status.st_mode)) {
        return {file_opening::not_regular};
    }
    file_handle handle(::fdopen(opened.get(), "rb"));
    if (!handle) {
        return {file_opening::failed, last_status()};
    }
    std::setvbuf(handle.get(), nullptr, _IONBF, 0);
    const int number = opened.release();
    out = {std::move(handle), static_cast<std::uint64_t>(status.st_size), place_of(number, status)};
    return {};
}

void announce_reading(const std::string& path) {
    regular_file file;
    if (open_regular_file(path, file).how == file_opening::done) {
        ::posix_fadvise(::fileno(file.handle.get()), 0, 0, POSIX_FADV_WILLNEED);
    }
}

// A FIFO opens as soon as somebody reads it, and keeps the writer waiting once they stop.
bool open_to_append(const std::string& path, file_handle& out) {
    constexpr int flags = O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    descriptor opened(::open(path.c_str(), flags, 0666));
    struct stat status {};
    const bool taken =
        opened.valid() && ::fstat(opened.get(), &status) == 0 && (S_ISREG(status.st_mode) || S_ISCHR(status.st_mode));
    out.reset(taken ? ::fdopen(opened.get(), "a") : nullptr);
    if (out) {
        static_cast<void>(opened.release());
        std::setvbuf(out.get(), nullptr, _IONBF, 0);
    }
    return out != nullptr;
}

bool append_text(std::FILE& file, std::string_view text) {
    return std::fwrite(text.data(), 1, text.size(), &file) == text.size();
}

os_status locate(const std::string& path, file_place& out) {
    const descriptor opened(::open(path.c_str(), O_PATH | O_CLOEXEC));
    struct stat status {};
    if (!opened.valid() || ::fstat(opened.get(), &status) != 0) {
        return last_status();
    }
    out = place_of(opened.get(), status);
    return os_status::success;
}

}  // namespace vellum
