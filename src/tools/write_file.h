// The one way in which the tools write the files of a device, where they write several, and why a report was not
// written.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include "base/bytes.h"
#include "base/text.h"
#include "platform/system_errors.h"
#include "platform/whole_file.h"

namespace vellum {

// Makes the file of these bytes, in place of one that is there; its directory must exist. False when it cannot be
// written to its end.
[[nodiscard]] inline bool write_bytes(const std::filesystem::path& path, byte_view content) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    file.close();
    return file.good();
}

// Why a file was not written whole, as people read it.
inline std::string reason_of(const file_writing& writing, system_errors& errors) {
    return writing.how == file_writing::not_replaced
               ? "what is there is no file that could be replaced"
               : shown_text(errors.text(writing.reason).value_or("the system does not say why"));
}

// Makes the directory where it is missing. False, with the reason, when that fails or when it holds anything: files
// of an earlier device would pass for files of this one.
[[nodiscard]] inline bool prepare_directory(const std::filesystem::path& directory, std::string& reason) {
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    const bool empty = !error && std::filesystem::is_empty(directory, error);
    reason = error ? error.message() : empty ? "" : "the directory is not empty";
    return !error && empty;
}

}  // namespace vellum
