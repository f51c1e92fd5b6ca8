#include "platform/interruption.h"

#include <windows.h>

#include <mutex>

namespace vellum {

struct interruption_watch::state {
    std::function<void(const std::string& name)> interrupted;
};

namespace {

// The system calls a function without an argument for whoever asked.
std::mutex guard;
interruption_watch::state* watching = nullptr;

const char* name_of(DWORD kind) {
    switch (kind) {
        case CTRL_C_EVENT: return "CTRL+C";
        case CTRL_BREAK_EVENT: return "CTRL+BREAK";
        case CTRL_CLOSE_EVENT: return "the console was closed";
        case CTRL_LOGOFF_EVENT: return "the user logged off";
        default: return "the system shuts down";
    }
}

// In a thread of the system's own. What follows it ends the program.
BOOL WINAPI on_interruption(DWORD kind) {
    const std::lock_guard<std::mutex> lock(guard);
    if (watching != nullptr) {
        watching->interrupted(name_of(kind));
    }
    return FALSE;
}

}  // namespace

interruption_watch::interruption_watch(std::function<void(const std::string& name)> interrupted)
    : state_(std::make_unique<state>()) {
    state_->interrupted = std::move(interrupted);
    const std::lock_guard<std::mutex> lock(guard);
    watching = state_.get();
    static_cast<void>(::SetConsoleCtrlHandler(on_interruption, TRUE));
}

interruption_watch::~interruption_watch() {
    static_cast<void>(::SetConsoleCtrlHandler(on_interruption, FALSE));
    const std::lock_guard<std::mutex> lock(guard);
    watching = nullptr;
}

}  // namespace vellum
