// Owns one file descriptor.
#pragma once

#include <unistd.h>

#include <utility>

namespace vellum {

class descriptor {
  public:
    explicit descriptor(int value = -1) : value_(value) {}
    ~descriptor() { static_cast<void>(close()); }
    descriptor(descriptor&& other) noexcept : value_(std::exchange(other.value_, -1)) {}
    descriptor& operator=(descriptor&& other) noexcept {
        std::swap(value_, other.value_);
        return *this;
    }
    descriptor(const descriptor&) = delete;
    descriptor& operator=(const descriptor&) = delete;

    bool valid() const { return value_ >= 0; }
    int get() const { return value_; }

    // Leaves the closing to the caller.
    int release() { return std::exchange(value_, -1); }

    // False when the system reports a failure; the descriptor is given up either way.
    [[nodiscard]] bool close() { return !valid() || ::close(std::exchange(value_, -1)) == 0; }

  private:
    int value_;
};

}  // namespace vellum
