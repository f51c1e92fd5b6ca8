// Who watches a run: what a report is made of.
#pragma once

#include "app/command_line.h"
#include "core/stage.h"

namespace vellum {

struct validation_state;

class run_observer : public stage_observer {
  public:
    // The command line was understood. Not called for one that is not.
    virtual void started(const command_options& options) = 0;

    // The mode is over; what the state holds is released after the call. Findings that belong to no stage are kept.
    // Not called for an unsealing, which has no such state, nor when memory runs out.
    virtual void concluded(const validation_state& state) = 0;

    // The last word, with the exit code. Findings that no stage and no flush has taken are still kept.
    // `out_of_memory`: the run was given up for want of it.
    virtual void ended(int exit_code, bool out_of_memory) = 0;
};

}  // namespace vellum
