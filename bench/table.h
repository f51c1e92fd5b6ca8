// Prints the benchmarks as one table: each path and size with its lower bound, their ratio, and how the time of a
// unit grows with the size.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>

namespace vellum::bench {

class table final : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context& context) override;
    void ReportRuns(const std::vector<Run>& runs) override;

    // Whether every path ran and kept its limits.
    bool kept() const { return kept_; }

  private:
    void print(const Run& run);

    std::map<std::string, double> smallest_;  // seconds a unit at the smallest size of each path
    std::string last_path_;
    bool kept_ = true;
};

}  // namespace vellum::bench
