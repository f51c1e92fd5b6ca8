// The two ways to trust a seal whose format is sound. Findings are reported, failed preconditions logged as errors.
#pragma once

#include "config/tl3_file.h"
#include "core/stage.h"
#include "pmf/format.h"
#include "seal/seal_data.h"
#include "seal/seal_signature.h"

namespace vellum {

struct signed_seal {
    const seal_data& data;
    const seal_signature& signature;
    const Tl3SealIdentity* identity;  // null: none is loaded
    const PmfDocument* pmf;           // null: none is loaded
    std::int64_t now;                 // seconds since 1970-01-01 UTC
};

// TL1: the signature verifies with its own key, and the PMF's key manifest lists that key.
stage_outcome verify_trusted_level_1(const signed_seal& seal);

// TL3: the digest is that of the signed bytes, and the seal is the one that the identity file describes.
stage_outcome verify_trusted_level_3(const signed_seal& seal);

}  // namespace vellum
