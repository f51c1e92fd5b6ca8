#include "tpm/tbs/tbs_exceptions.h"

#include "base/text.h"
#include "core/findings.h"
#include "core/log.h"
#include "core/os_error.h"

namespace vellum {
namespace {

// One line: the line end that a message may carry is the printer's business.
finding_lines report_line(finding_id id, std::string_view message) {
    if (message.ends_with('\n')) {
        message.remove_suffix(1);
    }
    return report_text(id, message);
}

void log_system_text(std::uint32_t code) {
    log_at(log_level::error, " Error: %s", os_error_text(os_status(code)).c_str());
}

void tell(const TBSException& error) {
    report_line("tpm-service-call-failed"_id, error.what()).field("os_error", error.code());
    log_at(log_level::error, "Failed to communicate with TBS API.");
    log_system_text(error.code());
}

void tell(finding_id id, const LibException& error) {
    report_line(id, error.what()).field("os_error", error.system_error());
    log_text(log_level::error, error.what());
    log_system_text(error.system_error());
}

}  // namespace

hresult run_reported(const std::function<hresult()>& operation) {
    try {
        return operation();
    } catch (const TBSException& error) {
        tell(error);
    } catch (const FunctionNotFoundException& error) {
        tell("tpm-library-function-missing"_id, error);
    } catch (const LibException& error) {
        tell("tpm-library-missing"_id, error);
    } catch (const TPMNotSupportedException& error) {
        report_line("tpm-version-unsupported"_id, error.what());
    } catch (const std::exception& error) {
        report("tpm-access-unexpected"_id, "Unexpected error occured: %s\n.", shown_text(error.what()).c_str())
            .field("value", error.what());
    }
    return hresult::failure;
}

}  // namespace vellum
