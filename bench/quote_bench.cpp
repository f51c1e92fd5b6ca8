// What a verifier does for each recording of a fleet: the evidence alone, and with the validation behind it.
#include <filesystem>
#include <string>
#include <vector>

#include "app/run.h"
#include "base/text.h"
#include "bench/race.h"
#include "lab/certificate_authority.h"
#include "lab/device.h"
#include "lab/quote_builder.h"
#include "platform/mute_console.h"
#include "platform/recorded/recorded.h"
#include "report/evidence.h"
#include "report/forms.h"
#include "report/recorder.h"

namespace vellum::bench {
namespace {

constexpr const char* bound_name = "ECDSA verification, SHA-256";
constexpr double evidence_limit = 3;

lab::quote_plan plan_over(const pcr_value_list& pcrs) {
    lab::quote_plan plan;
    plan.key = lab::private_key(lab::key_kind::ec_p256);
    plan.nonce = std::vector<std::uint8_t>(32, 0xAB);
    plan.pcrs = pcrs;
    return plan;
}

evidence_expectation expectation_of(const lab::quote_plan& plan) {
    const auto key = read_attestation_key(*lab::build(plan).public_area);
    return {plan.nonce, lower_hex(key->name), public_key_pem(*key)};
}

void evidence(benchmark::State& state) {
    const log_session session(log_level::off);
    const lab::quote_plan plan = plan_over({});
    const evidence_files files = lab::build(plan);
    const evidence_expectation expected = expectation_of(plan);
    bool accepted = true;
    const auto path = [&] {
        return seconds_of([&] { accepted = accepted && judge_evidence(files, expected).findings.empty(); });
    };
    race(state, {bound_name, evidence_limit}, path, ecdsa_verification_and_digest);
    if (!accepted) {
        state.SkipWithError("the evidence is refused");
    }
}
BENCHMARK(evidence)->Name("quote, held against an identity")->Arg(1)->UseManualTime();

// A forged device with a quote by a key of P-256, as most TPMs give it.
struct quoted_device {
    quoted_device() {
        lab::device made;
        if (!ok(lab::make_device({}, made)) || !ok(lab::write_device(made, folder.path().string()))) {
            return;
        }
        const lab::quote_plan plan = plan_over(lab::pcr_values_after(made.boot));
        const evidence_files files = lab::build(plan);
        folder.write("tpm/quote.bin", std::string(files.quote->begin(), files.quote->end()));
        folder.write("tpm/quote.sig", std::string(files.signature->begin(), files.signature->end()));
        folder.write("tpm/ak.pub", std::string(files.public_area->begin(), files.public_area->end()));
        expected = expectation_of(plan);
        words = {"vellum", "--validate", "-c", folder.file("kxl.ini"), "-o", folder.file("kxl.log")};
        for (std::string& word : words) {
            arguments.push_back(word.data());
        }
    }

    // Whether it was accepted and passed.
    bool verify(const platform& native) {
        recorded_platform device(native);
        evidence_judgement judged = judge_evidence(reporting::read_evidence(folder.path().string()), expected);
        if (!judged.findings.empty() || !ok(device.load(folder.path().string()))) {
            return false;
        }
        device.hold_pcrs(judged.pcrs);
        const platform machine = device.services();
        reporting::run_record record = reporting::begin_record(arguments, machine);
        record.evidence.emplace().accepted = true;
        reporting::recorder watcher(machine, record);
        const int code = run(static_cast<int>(arguments.size()), arguments.data(), machine, &watcher);
        return code == 0 && !reporting::json_form(record).empty();
    }

    test::temp_dir folder;
    evidence_expectation expected;
    std::vector<std::string> words;
    std::vector<char*> arguments;
};

void whole_verification(benchmark::State& state) {
    native_platform native;
    mute_console mute;
    const platform real = native.services();
    const platform machine = {mute,        real.time, real.errors,      real.firmware, real.tpm,
                              real.tables, real.os,   real.directories, real.boot_disk};
    quoted_device device;
    bool passed = true;
    const auto path = [&] {
        return seconds_of([&] {
            for (std::int64_t i = 0; i < state.range(0); ++i) {
                passed = passed && device.verify(machine);
            }
        });
    };
    const auto bound = [&] {
        double seconds = 0;
        for (std::int64_t i = 0; i < state.range(0); ++i) {
            seconds += ecdsa_verification_and_digest();
        }
        return seconds;
    };
    race(state, {bound_name}, path, bound);
    if (!passed) {
        state.SkipWithError("the recording does not pass");
    }
}
BENCHMARK(whole_verification)->Name("recording, verified")->Arg(1)->Arg(100)->Arg(1'000)->UseManualTime();

}  // namespace
}  // namespace vellum::bench
