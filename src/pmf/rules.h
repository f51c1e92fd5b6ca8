// The rules that a PMF must satisfy, in two tiers. The required rules decide whether a PMF is accepted at all and run
// while it is parsed; the strict rules look at reserved bytes, reserved bits and unused tails of a parsed PMF.
//
// A violated rule is a finding. A set returns success, or check_failed when one of its rules is violated;
// the strict sets of the extensions return internal_failure for a hash algorithm without a digest.
#pragma once

#include "base/result.h"
#include "pmf/format.h"

namespace vellum {

result check_required_rules(const PMF::ManifestHeader& header);
result check_required_rules(const PMF::PCRMetadataFileExtension& extension);
result check_required_rules(const PMF::KeyManifestExtension& extension);
result check_required_rules(const PMF::DiskMetadataFileExtension& extension);
result check_required_rules(const PMF::SystemInfoExtension& extension);

// The required sets of the header and of the four extensions that every PMF has. Fails with invalid when one of them
// is missing: the sets behind it do not run then.
result check_required_rules(const PmfDocument& document);

result check_strict_rules(const PMF::ManifestHeader& header);
result check_strict_rules(const PMF::PCRMetadataFileExtension& extension);
result check_strict_rules(const PMF::KeyManifestExtension& extension);
result check_strict_rules(const PMF::DiskMetadataFileExtension& extension);
result check_strict_rules(const PMF::SystemInfoExtension& extension);

// The five strict sets, every one of them: check_failed when one fails.
result run_strict_rules(const PmfDocument& document);

}  // namespace vellum
