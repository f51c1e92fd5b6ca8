// Whether a PMF can be trusted: its dates, its signature, the manufacturer certificate that goes with the signing
// key, and the chain from that certificate up to a trusted certificate authority (X.509, RFC 5280).
//
// Paths and directories are those of the configuration; empty means not
// configured. What explains a failure or a warning is a finding; everything else is logged.
#pragma once

#include <string>

#include "base/result.h"
#include "pmf/certificate_chain.h"
#include "pmf/format.h"

namespace vellum {

class clock;
class directory_listing;

struct pmf_trust_settings {
    bool signing_enabled = false;
    std::string trusted_ca_dir;
    std::string intermediate_ca_dir;
    std::string external_certificate_path;
};

struct pmf_trust {
    bool warned = false;      // there is something odd about a PMF that may be relied on
    certificate_chain chain;  // of the signer, as far as a step came to it
};

// Success means that the PMF may be relied on as far as the settings demand. Without signing_enabled the signature is
// verified but nobody vouches for the signer.
result verify_pmf_trust(const PmfDocument& document, const pmf_trust_settings& settings, directory_listing& listing,
                        clock& time, pmf_trust& out);

}  // namespace vellum
