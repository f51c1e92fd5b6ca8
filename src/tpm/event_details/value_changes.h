// Changes of values that have an order or a key of their own: signature databases and command lines. Internal to
// tree_changes.
#pragma once

#include "tpm/event_details/tree_finder.h"

namespace vellum {

void compare_signature_lists(const field_pair& field, const finder& out);

// The entry of a database that an image was accepted by.
void compare_authority(const field_pair& field, const finder& out);

// Words that were added to a line or taken from it; both lines where they have too little in common.
void compare_lines(const field_pair& field, const finder& out);

}  // namespace vellum
