// Watches a run and writes down what it finds.
#pragma once

#include <chrono>

#include "app/run_observer.h"
#include "platform/platform.h"
#include "report/record.h"

namespace vellum::reporting {

// The record of a run that has not begun: what is known before it.
run_record begin_record(std::span<char* const> arguments, const platform& machine);

// A finding with its words.
finding_record record_of(finding kept);

class recorder final : public run_observer {
  public:
    // Both must outlive it.
    recorder(const platform& machine, run_record& record) : machine_(machine), record_(record) {}

    void started(const command_options& options) override;
    void stage_started(std::size_t slot) override;
    void stage_ended(const ended_stage& stage) override;
    void concluded(const validation_state& state) override;
    void ended(int exit_code, bool out_of_memory) override;

    // Whether the memory did not suffice for the record, which is incomplete then. The run has not noticed.
    bool lost() const { return lost_; }

  private:
    using steady = std::chrono::steady_clock;

    template <typename Work>
    void note_down(Work work);
    void look_at(const validation_state& state);

    const platform& machine_;
    run_record& record_;
    steady::time_point begun_ = steady::now();
    steady::time_point stage_begun_ = begun_;
    bool ran_stages_ = false;
    bool lost_ = false;
};

}  // namespace vellum::reporting
