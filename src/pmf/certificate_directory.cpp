#include <tuple>
#include <vector>

#include "base/path.h"
#include "base/text.h"
#include "core/file.h"
#include "core/findings.h"
#include "core/log.h"
#include "core/openssl.h"
#include "platform/directory.h"
#include "pmf/certificate_chain.h"

namespace vellum {
namespace {

constexpr std::size_t shown_name_size = 30;  // bytes

certificate_handle load_or_skip(const std::string& path) {
    std::vector<std::uint8_t> content;
    std::string reason;
    certificate_handle certificate;
    if (!ok(read_file(path, max_certificate_file_size, content, reason))) {
        log_at(log_level::error, "Loading certificate file failed: %s, reason: %s.\n", shown_text(path).c_str(),
               reason.c_str());
        note("certificate-file-not-loaded"_id).field("file", path).field("value", reason);
    } else if (!ok(decode_pem_certificate(content, certificate, reason))) {
        log_at(log_level::error, "Parsing certificate file failed: %s, reason: %s.\n", shown_text(path).c_str(),
               reason.c_str());
        note("certificate-file-not-parsed"_id).field("file", path).field("value", reason);
    }
    return certificate;
}

[[nodiscard]] bool append(STACK_OF(X509) & list, certificate_handle certificate) {
    if (sk_X509_push(&list, certificate.get()) <= 0) {
        return false;
    }
    std::ignore = certificate.release();  // the list owns it now
    return true;
}

[[nodiscard]] bool load_entry(const std::string& directory, const directory_entry& entry, STACK_OF(X509) & list) {
    if (entry.is_directory) {
        log_at(log_level::trace, "  %s   <DIR>\n", shown_text(entry.name).c_str());
        return true;
    }
    log_at(log_level::trace, "  %s  %lld bytes\n",
           shown_text(std::string_view(entry.name).substr(0, shown_name_size)).c_str(),
           static_cast<long long>(entry.size));
    certificate_handle certificate = load_or_skip(path_in(directory, entry.name));
    return !certificate || append(list, std::move(certificate));
}

}  // namespace

result load_certificate_directory(const std::string& directory, directory_listing& listing, certificate_list& out) {
    start_openssl();
    certificate_list list(sk_X509_new_null());
    if (!list) {
        log_at(log_level::error, "Failed to initialize certificates stack.");
        return result::internal_failure;
    }
    log_at(log_level::trace, "Locating files in the directory \"%s\".\n", shown_text(directory).c_str());
    std::vector<directory_entry> entries;
    if (const os_status listed = listing.list(directory, certificate_file_extension, entries); !ok(listed)) {
        log_at(log_level::error, "Loading files in the directory \"%s\" failed.", shown_text(directory).c_str());
        note("certificate-directory-unreadable"_id).field("directory", directory).field("os_error", code_of(listed));
        return result::invalid;
    }
    for (const directory_entry& entry : entries) {
        if (!load_entry(directory, entry, *list)) {
            log_at(log_level::error, "Loading files in the directory \"%s\" failed.", shown_text(directory).c_str());
            return result::internal_failure;
        }
    }
    out = std::move(list);
    return result::success;
}

}  // namespace vellum
