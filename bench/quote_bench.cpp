// What a verifier does for each recording of a fleet: the evidence alone, and with the validation behind it.
#include <openssl/x509.h>

#include <string>
#include <vector>

#include "base/text.h"
#include "bench/race.h"
#include "lab/certificate_authority.h"
#include "lab/device.h"
#include "lab/quote_builder.h"
#include "platform/mute_console.h"
#include "platform/recorded/recorded.h"
#include "report/forms.h"
#include "report/verification.h"

namespace vellum::bench {
namespace {

constexpr const char* bound_name = "reading a key, ECDSA, SHA-256";
constexpr double evidence_limit = 3;

// Reads the key, as each device has its own, and verifies once, with the library alone.
double least_work(const attestation_key& key) {
    return ecdsa_verification_and_digest() + seconds_of([&] {
               const std::uint8_t* end = key.info.data();
               const key_handle read(d2i_PUBKEY(nullptr, &end, static_cast<long>(key.info.size())));
               benchmark::DoNotOptimize(read.get());
           });
}

attestation_key key_of(const lab::quote_plan& plan) {
    return *read_attestation_key(*lab::build(plan).public_area);
}

lab::quote_plan plan_over(const pcr_value_list& pcrs) {
    lab::quote_plan plan;
    plan.key = lab::private_key(lab::key_kind::ec_p256);
    plan.nonce = std::vector<std::uint8_t>(32, 0xAB);
    plan.pcrs = pcrs;
    return plan;
}

evidence_expectation expectation_of(const lab::quote_plan& plan) {
    const attestation_key key = key_of(plan);
    return {plan.nonce, lower_hex(key.name), public_key_pem(key)};
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
    race(state, {bound_name, evidence_limit}, path, [key = key_of(plan)] { return least_work(key); });
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
        const evidence_expectation expected = expectation_of(plan);
        request.run = {{{reporting::json_form, folder.file("report.json")}},
                       folder.path().string(),
                       {"--validate", "-c", folder.file("kxl.ini"), "-o", folder.file("kxl.log")}};
        request.nonce = plan.nonce;
        identity = {sealed_device_id(), *expected.name, "ecc-p256", expected.public_key};
    }

    evidence_device_id sealed_device_id() const {
        log_session session(log_level::off);
        recorded_platform device(session.services());
        return ok(device.load(folder.path().string())) ? reporting::read_sealed_device_id(device.services())
                                                       : evidence_device_id();
    }

    test::temp_dir folder;
    reporting::verify_request request;
    reporting::device_identity identity;
};

void whole_verification(benchmark::State& state) {
    native_platform native;
    mute_console mute;
    const platform real = native.services();
    const platform machine = {mute,        real.time, real.errors,      real.firmware, real.tpm,
                              real.tables, real.os,   real.directories, real.boot_disk};
    const quoted_device device;
    bool passed = true;
    const auto path = [&] {
        return seconds_of([&] {
            for (std::int64_t i = 0; i < state.range(0); ++i) {
                passed = passed && reporting::verify_recording(device.request, device.identity, machine) == 0;
            }
        });
    };
    const attestation_key key = key_of(plan_over({}));
    const auto bound = [&] {
        double seconds = 0;
        for (std::int64_t i = 0; i < state.range(0); ++i) {
            seconds += least_work(key);
        }
        return seconds;
    };
    race(state, {bound_name}, path, bound);
    if (!passed) {
        state.SkipWithError("the recording does not pass");
    }
}
BENCHMARK(whole_verification)->Name("recording, verified")->Arg(100)->Arg(1'000)->Arg(10'000)->UseManualTime();

}  // namespace
}  // namespace vellum::bench
