// A machine on the production line for the tests of sealing: it is recorded in its good state, and sealed from that.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/findings.h"
#include "disk/gpt.h"
#include "lab/certificate_authority.h"
#include "lab/device.h"
#include "lab/seal_recording.h"
#include "tests/app/recorded_run.h"
#include "tests/support/tamper.h"
#include "tests/support/temp_dir.h"
#include "tpm/event_log.h"

namespace vellum::test {

inline bytes read(const std::string& path) {
    const std::string text = read_text(path);
    return {text.begin(), text.end()};
}

inline bool is_seal(const lab::log_event& event) {
    return event.pcr == 5 && event.type == EV_EFI_VARIABLE_DRIVER_CONFIG;
}

inline bool is_pcr5_separator(const lab::log_event& event) {
    return event.pcr == 5 && event.type == EV_SEPARATOR;
}

// A machine as it stands on the line, and what is to be made of it.
struct production_line {
    lab::device machine;
    lab::seal_request request;
    temp_dir root;

    // Nothing of a seal is there yet; only the platform is recorded.
    production_line() {
        EXPECT_EQ(lab::make_device({}, machine), result::success);
        std::erase_if(machine.boot.events, is_seal);
        machine.firmware_present = false;
        machine.certificates.clear();
        request.recording = root.file("recording");
        request.directory = root.file("sealed");
        request.plan.listed_pcrs = 0xDF;
        request.boms.push_back({'C', "bom/system.bom", "C:\\bom\\system.bom"});
    }

    void record() const { EXPECT_EQ(lab::write_device(machine, request.recording), result::success); }
    std::string sealed(const char* name) const { return request.directory + "/" + name; }
    void put(const char* name, const bytes& content) const { root.write(std::string("sealed/") + name, content); }

    outcome validate() const {
        std::vector<std::string> options = {"--validate", "-c", sealed("kxl.ini")};
        if (request.external_device_id) {
            options.push_back("--external_device_id=" + *request.external_device_id);
        }
        return run_recorded(request.directory, options);
    }
};

// What is said of a recording that cannot be sealed, findings and all; empty: it was.
inline std::string seal(const lab::seal_request& request) {
    log_session log;
    native_platform native;
    platform machine = native.services();
    const std::string wrong = lab::seal_recording(machine, request);
    return wrong.empty() ? wrong : wrong + "\n" + log.pushed();
}

// A key in a file of its own.
inline std::string write_key(const temp_dir& in, const char* name, EVP_PKEY* key) {
    std::uint8_t* der = nullptr;
    const int size = i2d_PrivateKey(key, &der);
    EXPECT_GT(size, 0);
    const bytes content(der, der + size);
    OPENSSL_free(der);
    const char* label = EVP_PKEY_base_id(key) == EVP_PKEY_RSA ? "RSA PRIVATE KEY" : "EC PRIVATE KEY";
    return in.write(name, lab::pem(content, label));
}

// Keys and certificates of the manufacturer's own: its root, an authority under it, and the signer's.
struct own_keys {
    lab::issued_certificate root = lab::self_signed(lab::authority("Own Root", 1));
    lab::issued_certificate line = lab::issue(lab::authority("Own Line", 2), root);
    lab::issued_certificate signer = lab::issue(lab::leaf("Own Signer", 3), line);

    lab::signing_files write(const temp_dir& in) const {
        const std::string chain = lab::pem(signer.der) + lab::pem(line.der) + lab::pem(root.der);
        return {write_key(in, "signer.pem", signer.key), in.write("chain.crt", chain),
                write_key(in, "seal.pem", lab::private_key(lab::key_kind::rsa_2048, 4))};
    }
};

// The first sectors of a disk whose partition table a firmware measured: its header as it is, with the sums that its
// entries have here.
inline bytes disk_of(byte_view gpt_event) {
    lab::gpt_table table;
    gpt_partitions partitions;
    EXPECT_EQ(build_gpt_partition_list(gpt_event, partitions), result::success);
    for (const gpt_partition& partition : partitions.entries) {
        lab::gpt_entry entry;
        entry.type_guid = partition.type_guid;
        entry.first_lba = partition.first_lba;
        entry.last_lba = partition.last_lba;
        entry.name.clear();
        for (std::size_t i = 0; i < partition.name.size(); i += 2) {
            entry.name += static_cast<char16_t>(partition.name[i] | partition.name[i + 1] << 8);
        }
        table.entries.push_back(entry);
    }
    return lab::build_disk(table);
}

}  // namespace vellum::test
