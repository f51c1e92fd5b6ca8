#include "bench/table.h"

#include <array>
#include <cstdio>

#include "bench/race.h"

namespace vellum::bench {
namespace {

double counter(const benchmark::BenchmarkReporter::Run& run, const char* name) {
    const auto found = run.counters.find(name);
    return found == run.counters.end() ? 0 : found->second.value;
}

// In the unit that leaves one to three digits before the point.
std::string time_text(double seconds) {
    struct unit {
        double seconds;
        const char* name;
    };
    constexpr std::array units = {unit{1, "s "}, unit{1e-3, "ms"}, unit{1e-6, "us"}, unit{1e-9, "ns"}};
    std::size_t chosen = 0;
    while (chosen + 1 < units.size() && seconds < units[chosen].seconds) {
        ++chosen;
    }
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f %s", seconds / units[chosen].seconds, units[chosen].name);
    return text.data();
}

std::string limited_text(const char* format, double value, double limit) {
    std::array<char, 32> text{};
    const int length = value > 0 ? std::snprintf(text.data(), text.size(), format, value) : 0;
    if (limit > 0) {
        std::snprintf(text.data() + length, text.size() - static_cast<std::size_t>(length), " (<= %g)", limit);
    }
    return text.data();
}

}  // namespace

bool table::ReportContext(const Context& /*context*/) {
    std::printf("%-34s %8s %10s %10s %7s  %-22s %10s  %-16s %s\n", "path", "size", "time", "per unit", "growth",
                "lower bound", "time", "ratio", "bytes per unit");
    return true;
}

void table::ReportRuns(const std::vector<Run>& runs) {
    for (const Run& run : runs) {
        if (run.error_occurred) {
            std::printf("%s: %s\n", run.benchmark_name().c_str(), run.error_message.c_str());
            kept_ = false;
        } else {
            print(run);
        }
    }
    std::fflush(stdout);
}

void table::print(const Run& run) {
    const double size = counter(run, size_counter);
    const double path = counter(run, path_counter);
    const double bound = counter(run, bound_counter);
    const double ratio = path / bound;
    const double limit = counter(run, limit_counter);
    const double memory = counter(run, memory_counter);
    const double memory_limit = counter(run, memory_limit_counter);
    const std::string& name = run.run_name.function_name;
    const double per_unit = path / size;
    const double smallest = smallest_.try_emplace(name, per_unit).first->second;
    const bool within = (limit == 0 || ratio <= limit) && (memory_limit == 0 || memory <= memory_limit);
    kept_ = kept_ && within;
    std::printf("%-34s %8.0f %10s %10s %7.2f  %-22s %10s  %-16s %s%s\n", name == last_path_ ? "" : name.c_str(), size,
                time_text(path).c_str(), time_text(per_unit).c_str(), per_unit / smallest, run.report_label.c_str(),
                time_text(bound).c_str(), limited_text("%.2f", ratio, limit).c_str(),
                limited_text("%.0f", memory, memory_limit).c_str(), within ? "" : "  LIMIT EXCEEDED");
    last_path_ = name;
}

}  // namespace vellum::bench
