// The certificates of forged devices, issued with the sample keys: a root, an intermediate authority of the
// production line under it, and the manufacturer's, which signs PMFs. Always the same to the byte.
#pragma once

#include "lab/certificate_authority.h"

namespace vellum::lab {

certificate_plan sample_manufacturer_plan();

// Their DER is empty when the crypto library refuses.
issued_certificate sample_root();
issued_certificate sample_intermediate();
issued_certificate sample_manufacturer(const certificate_plan& plan = sample_manufacturer_plan());

}  // namespace vellum::lab
