// What an event is about, whatever it says of it: the same in both of two boots although the value changed.
#pragma once

#include <string>

#include "tpm/event_details/event_details.h"

namespace vellum {

struct event_subject {
    std::string name;  // comparable only within one event type; never shown
    // Whether another one of its type at its place is what it was replaced by: an image by one of another path.
    bool replaceable = false;
};

event_subject subject_of(const event_details& details);

}  // namespace vellum
