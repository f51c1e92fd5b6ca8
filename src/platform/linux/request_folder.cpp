#include "platform/request_folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "platform/linux/descriptor.h"

namespace vellum {

struct request_folder {
    descriptor file;
};

namespace {

constexpr int open_flags = O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr mode_t file_mode = 0666;

struct close_listing {
    void operator()(DIR* listing) const { ::closedir(listing); }
};

bool is_link(int folder, const char* name) {
    struct stat status {};
    return ::fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(status.st_mode);
}

// Why the folder could not be opened, from the error that was left.
folder_opening reason(int folder, const char* name, int error) {
    if (is_link(folder, name)) {
        return folder_opening::linked;
    }
    return error == ENOENT || error == ENOTDIR ? folder_opening::missing : folder_opening::closed;
}

[[nodiscard]] bool write_all(int file, byte_view rest) {
    while (!rest.empty()) {
        const ssize_t written = ::write(file, rest.data(), rest.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        rest = rest.subspan(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
    return true;
}

}  // namespace

folder_opening open_request_folder(const std::string& parent, const char* name,
                                   std::shared_ptr<request_folder>& out) {
    out.reset();
    const std::string path = parent + "/" + name;
    if (::access(path.c_str(), F_OK) != 0 && !is_link(AT_FDCWD, path.c_str())) {
        return folder_opening::missing;
    }
    const descriptor above(::open(parent.c_str(), O_PATH | open_flags));
    if (!above.valid()) {
        return reason(AT_FDCWD, parent.c_str(), errno);
    }
    descriptor folder(::openat(above.get(), name, O_RDONLY | open_flags));
    if (!folder.valid()) {
        return reason(above.get(), name, errno);
    }
    if (::faccessat(folder.get(), ".", W_OK | X_OK, AT_EACCESS) != 0) {
        return folder_opening::closed;
    }
    out = std::make_shared<request_folder>(request_folder{std::move(folder)});
    return folder_opening::done;
}

bool each_name(const request_folder& folder, const std::function<void(std::string_view)>& take) {
    // A descriptor of its own, since the listing moves the position that copies would share.
    descriptor listed(::openat(folder.file.get(), ".", O_RDONLY | open_flags));
    const std::unique_ptr<DIR, close_listing> listing(listed.valid() ? ::fdopendir(listed.get()) : nullptr);
    if (!listing) {
        return false;
    }
    static_cast<void>(listed.release());
    errno = 0;
    while (const dirent* entry = ::readdir(listing.get())) {
        take(entry->d_name);
        errno = 0;
    }
    return errno == 0;
}

request_keeping keep_request(const request_folder& folder, const std::string& name, byte_view content) {
    constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    descriptor file(::openat(folder.file.get(), name.c_str(), flags, file_mode));
    if (!file.valid()) {
        return errno == EEXIST ? request_keeping::name_taken : request_keeping::failed;
    }
    const bool written = write_all(file.get(), content);
    return file.close() && written ? request_keeping::done : request_keeping::failed;
}

}  // namespace vellum
