// Ends by somebody's wish: a key at the terminal, a signal, a console that is closed; windows/ and linux/ implement
// it.
#pragma once

#include <functional>
#include <memory>
#include <string>

namespace vellum {

class interruption_watch {
  public:
    // From now until the end of the watch an interruption first calls the function, with its name ("SIGTERM"), in a
    // thread of its own while the program goes on, and then ends the program as it would have. One watch at a time,
    // to be started before any other thread is. Where the system does not give what it takes, an interruption ends
    // the program without a call.
    explicit interruption_watch(std::function<void(const std::string& name)> interrupted);
    ~interruption_watch();
    interruption_watch(const interruption_watch&) = delete;
    interruption_watch& operator=(const interruption_watch&) = delete;

    struct state;

  private:
    std::unique_ptr<state> state_;
};

}  // namespace vellum
