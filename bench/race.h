// A hot path of the program held against its lower bound: what it cannot do without, such as the hashing that a
// format asks for. Both are timed in turn within one run, and the shortest time of each counts, since whatever else
// the machine does only ever adds to them.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstddef>

#include "base/bytes.h"
#include "core/log.h"
#include "native.h"  // of the system that the build is for
#include "tests/support/temp_dir.h"

namespace vellum::bench {

// Names of the counters that a benchmark reports; main's table is made of them.
inline constexpr const char* size_counter = "size";      // in units of the path, such as events
inline constexpr const char* path_counter = "path";      // seconds
inline constexpr const char* bound_counter = "bound";    // seconds
inline constexpr const char* limit_counter = "limit";    // greatest ratio of the two that is accepted; 0: any
inline constexpr const char* memory_counter = "memory";  // bytes of heap a unit, beyond the input
inline constexpr const char* memory_limit_counter = "memory_limit";

template <typename Step>
double seconds_of(Step step) {
    const auto start = std::chrono::steady_clock::now();
    step();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

struct contestants {
    const char* bound_name;
    double limit = 0;
};

// Runs both as often as the library likes. Each returns the seconds that count.
template <typename Path, typename Bound>
void race(benchmark::State& state, contestants names, Path path, Bound bound) {
    double path_seconds = 0;
    double bound_seconds = 0;
    const auto keep_shortest = [](double& kept, double seconds) {
        kept = kept == 0 ? seconds : std::min(kept, seconds);
    };
    for (auto _ : state) {
        keep_shortest(bound_seconds, bound());
        const double seconds = path();
        state.SetIterationTime(seconds);
        keep_shortest(path_seconds, seconds);
    }
    state.SetLabel(names.bound_name);
    state.counters[size_counter] = static_cast<double>(state.range(0));
    state.counters[path_counter] = path_seconds;
    state.counters[bound_counter] = bound_seconds;
    state.counters[limit_counter] = names.limit;
}

// Bounds, each in seconds ------------------------------------------------------------------------------------------

// One SHA-256 of 64 bytes an event, by one context that is told the algorithm once.
double sha256_extends(std::size_t events);

double sha384_of(byte_view data);

// One verification of an RSA signature (2048 bits, SHA-256) by a key that is ready for use.
double rsa_verification();

// One verification of an ECDSA signature (P-256, SHA-256) over a quote's worth of bytes, and the SHA-256 of all PCRs.
double ecdsa_verification_and_digest();

// Writes a file of this size in whole blocks.
double file_writing(std::size_t size);

// Logging ----------------------------------------------------------------------------------------------------------

// A run's logging without a console, and with a log file at the level unless it is off. The file goes with it.
class log_session {
  public:
    explicit log_session(log_level file_level);
    ~log_session();
    log_session(const log_session&) = delete;
    log_session& operator=(const log_session&) = delete;

    platform services() { return machine_.services(); }

    // Bytes in the log file so far.
    std::size_t file_size() const;

  private:
    native_platform machine_;
    test::temp_dir directory_;
};

}  // namespace vellum::bench
