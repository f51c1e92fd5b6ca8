// Parse with replay, and comparison, of generated event logs. Each run also times what cannot be avoided, the bare
// SHA-256 extends of as many events by OpenSSL, and reports the ratio. `bytes/event` is the heap's peak
// beyond the log itself.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "bench/heap_meter.h"
#include "core/log.h"
#include "lab/event_log_builder.h"
#include "native.h"
#include "tpm/event_log.h"
#include "tpm/log_comparison.h"
#include "tpm/pcr_list.h"

namespace vellum {
namespace {

using steady = std::chrono::steady_clock;

// A thousand events, again and again: building a million one by one would fill the memory that is to be measured.
std::vector<std::uint8_t> make_log(std::size_t count) {
    constexpr std::size_t block = 1000;
    lab::event_log log;
    log.spec_id->banks = {{lab::TPM_ALG_SHA256, 32}};
    const std::size_t head = build(log).size();
    for (std::size_t i = 0; i < block; ++i) {
        log.events.push_back(lab::text_event(static_cast<std::uint32_t>(i % 8), 5, "event " + std::to_string(i)));
    }
    std::vector<std::uint8_t> bytes = build(log);
    const std::vector<std::uint8_t> events(bytes.begin() + static_cast<std::ptrdiff_t>(head), bytes.end());
    bytes.reserve(head + count / block * events.size());
    for (std::size_t done = block; done < count; done += block) {
        bytes.insert(bytes.end(), events.begin(), events.end());
    }
    return bytes;
}

double seconds_since(steady::time_point start) {
    return std::chrono::duration<double>(steady::now() - start).count();
}

// One 64-byte message an event, by one context that is initialised with the algorithm once.
double bare_extends(std::size_t count) {
    std::array<std::uint8_t, 64> message{};
    EVP_MD_CTX* context = EVP_MD_CTX_new();
    EVP_DigestInit_ex(context, EVP_sha256(), nullptr);
    const auto start = steady::now();
    for (std::size_t i = 0; i < count; ++i) {
        EVP_DigestInit_ex(context, nullptr, nullptr);
        EVP_DigestUpdate(context, message.data(), message.size());
        EVP_DigestFinal_ex(context, message.data(), nullptr);
    }
    const double seconds = seconds_since(start);
    EVP_MD_CTX_free(context);
    return seconds;
}

enum class file_logging { off, debug };

class logging {
  public:
    explicit logging(file_logging file) {
        platform services = machine_.services();
        log_start(services.console, services.clock, services.errors);
        set_console_threshold(log_level::off);
        if (file == file_logging::debug && ok(open_log_file(path_))) {
            set_file_threshold(log_level::debug);
        }
    }
    ~logging() {
        log_stop();
        std::remove(path_);
    }

  private:
    const char* path_ = "vellum-bench.tmp";
    native_platform machine_;
};

// Writes and removes a file of the size that the log file will have. The pages that the system then takes for the log
// file have been in use before: a virtual machine may need ten times as long for the first use of a page.
double bare_write(std::size_t size) {
    const std::vector<char> block(64 * 1024, 'x');
    const char* path = "vellum-bench-write.tmp";
    std::FILE* file = std::fopen(path, "w");
    if (file == nullptr) {
        return 0;
    }
    std::setvbuf(file, nullptr, _IONBF, 0);
    const auto start = steady::now();
    for (std::size_t written = 0; written < size; written += block.size()) {
        static_cast<void>(std::fwrite(block.data(), 1, block.size(), file));
    }
    const double seconds = seconds_since(start);
    std::fclose(file);
    std::remove(path);
    return seconds;
}

// One pass whose time is not taken.
void touch_memory(std::size_t count) {
    const logging session(file_logging::off);
    std::optional<tpm_events_chains> chains;
    benchmark::DoNotOptimize(parse_tpm_log(make_log(count), chains));
}

void parse_and_replay(benchmark::State& state, file_logging file) {
    bench::keep_freed_memory();
    const auto count = static_cast<std::size_t>(state.range(0));
    const std::vector<std::uint8_t> log = make_log(count);
    touch_memory(count);
    constexpr std::size_t line_size = 330;
    const double writing = file == file_logging::off ? 0 : bare_write(count * line_size);
    const logging session(file);
    double extends = 0;
    double parsing = 0;
    double memory = 0;
    for (auto _ : state) {
        extends += bare_extends(count);
        std::vector<std::uint8_t> copy = log;
        const std::size_t before = bench::restart_heap_peak();
        std::optional<tpm_events_chains> chains;
        const auto start = steady::now();
        if (!ok(parse_tpm_log(std::move(copy), chains))) {
            state.SkipWithError("the log does not parse");
            break;
        }
        benchmark::DoNotOptimize(replay_pcrs_from_log(*chains));
        const double seconds = seconds_since(start);
        state.SetIterationTime(seconds);
        parsing += seconds;
        memory = std::max(memory, static_cast<double>(bench::heap_peak() - before));
    }
    state.counters["extends_ratio"] = parsing / extends;
    state.counters["bare_write_us"] = writing * 1e6;
    state.counters["bytes/event"] = memory / static_cast<double>(count);
}
BENCHMARK_CAPTURE(parse_and_replay, no_log_file, file_logging::off)
    ->Arg(1'000)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(parse_and_replay, log_file_at_debug, file_logging::debug)
    ->Arg(1'000)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

void compare(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const logging session(file_logging::off);
    std::optional<tpm_events_chains> live;
    std::optional<tpm_events_chains> reference;
    if (!ok(parse_tpm_log(make_log(count), live)) || !ok(parse_tpm_log(make_log(count), reference))) {
        state.SkipWithError("the log does not parse");
        return;
    }
    double comparing = 0;
    const double extends = bare_extends(count);
    for (auto _ : state) {
        bool error = false;
        bool warning = false;
        const auto start = steady::now();
        compare_tpm_log_chains(*live, *reference, all_pcrs, error, warning);
        const double seconds = seconds_since(start);
        state.SetIterationTime(seconds);
        comparing += seconds;
        if (error || warning) {
            state.SkipWithError("equal logs differ");
        }
    }
    state.counters["extends_ratio"] = comparing / static_cast<double>(state.iterations()) / extends;
}
BENCHMARK(compare)->Arg(1'000)->Arg(100'000)->Arg(1'000'000)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace vellum
