// What the modes with stages have in common: one state, which an observer may look at before it is released.
#pragma once

#include "app/run_observer.h"
#include "app/validation_state.h"

namespace vellum {

// Runs the mode over a state of its own and returns its exit code.
template <typename Mode>
int run_observed(const platform& machine, run_observer* observer, Mode mode) {
    validation_state state(machine);
    state.stages.observer = observer;
    const int code = mode(state);
    if (observer != nullptr) {
        observer->concluded(state);
    }
    return code;
}

}  // namespace vellum
