// What changed in an event from one boot to the other: field by field as far as the log shows it, and whether the
// digests bear it out.
#pragma once

#include <vector>

#include "tpm/event_details/digest_claim.h"
#include "tpm/event_details/tree_changes.h"

namespace vellum {

struct event_change {
    // Never empty for events that are not the same in every byte. A change that the fields do not show is one of the
    // field "digest" or "data".
    std::vector<field_change> fields;
    event_details reference;
    event_details live;
    digest_claim reference_claim;
    digest_claim live_claim;
    bool digests_differ = false;
    bool only_places = false;  // nothing but addresses in memory differs, and no digest
};

// What the two events say must be views of data that outlive the result.
event_change compare_event(const logged_event& reference, const logged_event& live, claim_checker& claims);

}  // namespace vellum
