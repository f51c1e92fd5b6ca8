#include "platform/interruption.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>

#include <csignal>
#include <system_error>
#include <thread>

#include "platform/linux/descriptor.h"

namespace vellum {
namespace {

struct named_signal {
    int number;
    const char* name;
};
constexpr named_signal signals[] = {
    {SIGHUP, "SIGHUP"}, {SIGINT, "SIGINT"}, {SIGQUIT, "SIGQUIT"}, {SIGTERM, "SIGTERM"}};

sigset_t watched_signals() {
    sigset_t set;
    sigemptyset(&set);
    for (const named_signal& row : signals) {
        // One that the program was started to ignore, as in the background, stays ignored.
        struct sigaction action {};
        if (::sigaction(row.number, nullptr, &action) != 0 || action.sa_handler != SIG_IGN) {
            sigaddset(&set, row.number);
        }
    }
    return set;
}

const char* name_of(int number) {
    for (const named_signal& row : signals) {
        if (row.number == number) {
            return row.name;
        }
    }
    return "a signal";
}

}  // namespace

struct interruption_watch::state {
    std::function<void(const std::string& name)> interrupted;
    sigset_t before{};
    sigset_t watched = watched_signals();
    descriptor arrivals;
    descriptor end;
    std::thread thread;

    [[nodiscard]] bool start();
    void watch();
    void die_of(int number) const;
};

// False when the system has no room for a thread; what may fail later for want of memory is not held up by this.
bool interruption_watch::state::start() {
    try {
        thread = std::thread([this] { watch(); });
    } catch (const std::system_error&) {
        return false;
    }
    return true;
}

// The signal, let through at last, ends the program with the status that its starter expects.
void interruption_watch::state::die_of(int number) const {
    std::signal(number, SIG_DFL);
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, number);
    pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
    ::raise(number);
}

void interruption_watch::state::watch() {
    pollfd both[] = {{arrivals.get(), POLLIN, 0}, {end.get(), POLLIN, 0}};
    while (::poll(both, 2, -1) < 0) {
    }
    signalfd_siginfo arrived{};
    // One that came before the end counts, however late this thread is.
    if (both[0].revents != 0 && ::read(arrivals.get(), &arrived, sizeof arrived) == sizeof arrived) {
        const int number = static_cast<int>(arrived.ssi_signo);
        interrupted(name_of(number));
        die_of(number);
    }
}

interruption_watch::interruption_watch(std::function<void(const std::string& name)> interrupted)
    : state_(std::make_unique<state>()) {
    state_->interrupted = std::move(interrupted);
    pthread_sigmask(SIG_BLOCK, &state_->watched, &state_->before);
    state_->arrivals = descriptor(::signalfd(-1, &state_->watched, SFD_CLOEXEC));
    state_->end = descriptor(::eventfd(0, EFD_CLOEXEC));
    if (!state_->arrivals.valid() || !state_->end.valid() || !state_->start()) {
        pthread_sigmask(SIG_SETMASK, &state_->before, nullptr);
    }
}

interruption_watch::~interruption_watch() {
    if (state_->thread.joinable()) {
        static_cast<void>(::eventfd_write(state_->end.get(), 1));
        state_->thread.join();
    }
    pthread_sigmask(SIG_SETMASK, &state_->before, nullptr);
}

}  // namespace vellum
