#include "tpm/tbs/tbs_exceptions.h"

#include "base/text.h"
#include "core/findings.h"
#include "core/log.h"
#include "core/os_error.h"

namespace vellum {
namespace {

// One line: the line end that a message may carry is the printer's business.
void push_line(std::string_view message) {
    if (message.ends_with('\n')) {
        message.remove_suffix(1);
    }
    static_cast<void>(push_text(0, message));
}

void log_system_text(std::uint32_t code) {
    log_at(log_level::error, " Error: %s", os_error_text(os_status(code)).c_str());
}

void report(const TBSException& error) {
    push_line(error.what());
    log_at(log_level::error, "Failed to communicate with TBS API.");
    log_system_text(error.code());
}

void report(const LibException& error) {
    push_line(error.what());
    log_text(log_level::error, error.what());
    log_system_text(error.system_error());
}

}  // namespace

hresult run_reported(const std::function<hresult()>& operation) {
    try {
        return operation();
    } catch (const TBSException& error) {
        report(error);
    } catch (const LibException& error) {
        report(error);
    } catch (const TPMNotSupportedException& error) {
        push_line(error.what());
    } catch (const std::exception& error) {
        static_cast<void>(push_message("Unexpected error occured: %s\n.", shown_text(error.what()).c_str()));
    }
    return hresult::failure;
}

}  // namespace vellum
