// Reports of a fleet into its database, held against the library's own copy of the rows that they come to.
#include "app/run.h"
#include "bench/race.h"
#include "lab/device.h"
#include "platform/mute_console.h"
#include "platform/recorded/recorded.h"
#include "report/fleet/report_reading.h"
#include "report/fleet/store.h"
#include "report/forms.h"
#include "report/recorder.h"

namespace vellum::bench {
namespace {

constexpr std::string_view sealed_id = "00112233-4455-6677-8899-AABBCCDDEEFF";
constexpr std::int64_t taken_at = 1'772'445'600;

// The report of a sealed device, as `run --json` writes it.
std::string sample_report() {
    const test::temp_dir directory;
    lab::device made;
    if (!ok(lab::make_device({}, made)) || !ok(lab::write_device(made, directory.file("device")))) {
        return "";
    }
    native_platform native;
    mute_console console;
    const platform real = native.services();
    recorded_platform device({console, real.time, real.errors, real.firmware, real.tpm, real.tables, real.os,
                              real.directories, real.boot_disk});
    if (!ok(device.load(directory.file("device")))) {
        return "";
    }
    std::vector<std::string> words = {"vellum", "--validate", "-c", directory.file("device/kxl.ini")};
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    reporting::run_record record = reporting::begin_record(argv, device.services());
    reporting::recorder watcher(device.services(), record);
    run(static_cast<int>(argv.size()), argv.data(), device.services(), &watcher);
    return reporting::json_form(record);
}

// The reports differ in the device that they name.
std::string report_of(const std::string& sample, std::int64_t number) {
    std::string out = sample;
    std::string id = std::to_string(1'000'000'000'000 + number);
    id.insert(0, sealed_id.size() - id.size(), '0');
    for (std::size_t at = out.find(sealed_id); at != std::string::npos; at = out.find(sealed_id, at + id.size())) {
        out.replace(at, id.size(), id);
    }
    return out;
}

double taking(const std::string& sample, std::int64_t count, const std::string& path) {
    fleet::database fleet(path, fleet::database::opening::created_when_missing);
    fleet::prepare_schema(fleet, fleet::purpose::to_fill);
    double seconds = 0;
    fleet::store into(fleet);
    into.begin();
    for (std::int64_t i = 0; i < count; ++i) {
        std::string text = report_of(sample, i);
        seconds += seconds_of([&] {
            fleet::fleet_report report;
            std::string why;
            benchmark::DoNotOptimize(fleet::read_report(text, report, why) && into.add(report, taken_at));
        });
    }
    return seconds + seconds_of([&] { into.commit(); });
}

double copying(const std::string& from, const std::string& path) {
    fleet::database copy(path, fleet::database::opening::created_when_missing);
    fleet::prepare_schema(copy, fleet::purpose::to_fill);
    copy.run(("ATTACH '" + from + "' AS source").c_str());
    return seconds_of([&] {
        copy.run("BEGIN");
        for (const char* const table : {"devices", "outcomes", "facts", "digests", "runs"}) {
            copy.run((std::string("INSERT INTO main.") + table + " SELECT * FROM source." + table).c_str());
        }
        copy.run("COMMIT");
    });
}

void fleet_feed(benchmark::State& state) {
    const std::string sample = sample_report();
    const test::temp_dir directory;
    int number = 0;
    const auto next = [&] { return directory.file(std::to_string(++number) + ".db"); };
    const std::string filled = next();
    if (sample.empty() || taking(sample, state.range(0), filled) <= 0) {
        state.SkipWithError("there is no report");
        return;
    }
    race(
        state, {"SQLite copying the rows"}, [&] { return taking(sample, state.range(0), next()); },
        [&] { return copying(filled, next()); });
}
BENCHMARK(fleet_feed)->Name("fleet, reports taken in")->Arg(1'000)->Arg(10'000)->UseManualTime();

}  // namespace
}  // namespace vellum::bench
