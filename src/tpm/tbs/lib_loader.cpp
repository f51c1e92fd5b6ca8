#include "tpm/tbs/lib_loader.h"

#include "base/text.h"
#include "core/file.h"
#include "core/findings.h"
#include "core/log.h"
#include "platform/tbs.h"
#include "tpm/tbs/tbs_exceptions.h"

namespace vellum {

LibLoader::~LibLoader() {
    if (loaded_) {
        library_.unload();
    }
}

void LibLoader::report_obstacle() {
    const std::optional<tpm_obstacle> met = library_.take_obstacle();
    if (!met) {
        return;
    }
    if (met->text.empty()) {
        static_cast<void>(report_read(met->read, met->path, met->limit));  // the call's own result is what counts
        return;
    }
    finding_lines raised = report_text("tpm-service-obstacle"_id, met->text);
    if (!ok(met->reason)) {
        raised.system_error(met->reason);
    }
}

TBSLibLoader::TBSLibLoader(tpm_library& library)
    : LibLoader(library, tbs::library_name, tbs::search_system_directory) {}

void TBSLibLoader::load() {
    const os_status loaded = library_.load(name_.c_str(), flags_);
    loaded_ = ok(loaded);
    std::string directory;
    if (const os_status known = library_.system_directory(directory); !ok(known)) {
        throw LibException(
            "An unexpected error occurred while trying to retrive the path of the system directory during loading TBS API.\n",
            code_of(known));
    }
    if (!loaded_) {
        throw LibNotFoundException(
            "Could not communicate with TPM using the TPM Base Services (TBS). TBS dynamic library " + name_ +
                " could not be located. If you are running on Windows* PE please ensure you have the WinPE-SecureStartup component installed in your image.",
            code_of(loaded));
    }
    log_at(log_level::debug, "The library %s for communication with TPM Base Services has been loaded succesfully.",
           shown_text(directory + "\\" + name_).c_str());
}

os_status TBSLibLoader::function(const char* name, void*& address) {
    return library_.function(name, address);
}

}  // namespace vellum
