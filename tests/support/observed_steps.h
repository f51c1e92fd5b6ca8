// The steps of firmware transfers: counted, or left alone.
#pragma once

#include "platform/firmware_device.h"

namespace vellum::test {

inline const transfer_steps unobserved;

struct observed_steps final : transfer_steps {
    mutable int starts = 0;
    mutable int waits = 0;

    void starting() const override { ++starts; }
    void waiting() const override { ++waits; }
};

}  // namespace vellum::test
