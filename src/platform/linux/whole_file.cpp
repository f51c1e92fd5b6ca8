#include "platform/whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>

#include "platform/last_status.h"
#include "platform/linux/descriptor.h"

namespace vellum {
namespace {

constexpr mode_t file_mode = 0640;
constexpr int most_names = 100;  // of others that write the same file at this moment

// The name is new, so that nobody has put a link there.
descriptor create_beside(const std::string& path, std::string& name) {
    constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    for (int i = 0; i < most_names; ++i) {
        name = path + "." + std::to_string(::getpid()) + "." + std::to_string(i) + ".new";
        descriptor opened(::open(name.c_str(), flags, file_mode));
        if (opened.valid() || errno != EEXIST) {
            return opened;
        }
    }
    return descriptor();
}

bool write_all(int number, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(number, text.data(), text.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        text.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
    return true;
}

// The mode is set again, as the process may be told to make files that others cannot read.
os_status fill(descriptor opened, std::string_view text) {
    const bool filled = write_all(opened.get(), text) && ::fchmod(opened.get(), file_mode) == 0 && opened.close();
    return filled ? os_status::success : last_status();
}

}  // namespace

file_writing write_whole_file(const std::string& path, std::string_view text) {
    struct stat there {};
    if (::lstat(path.c_str(), &there) == 0 && !S_ISREG(there.st_mode)) {
        return {file_writing::not_replaced};
    }
    std::string name;
    descriptor opened = create_beside(path, name);
    if (!opened.valid()) {
        return {file_writing::failed, last_status()};
    }
    os_status status = fill(std::move(opened), text);
    if (ok(status) && ::rename(name.c_str(), path.c_str()) != 0) {
        status = last_status();
    }
    if (!ok(status)) {
        static_cast<void>(::unlink(name.c_str()));
        return {file_writing::failed, status};
    }
    return {};
}

}  // namespace vellum
