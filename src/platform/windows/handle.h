// Owns one handle of the system, or one search of its directories.
#pragma once

#include <memory>
#include <utility>

namespace vellum {

class handle {
  public:
    explicit handle(void* value = nullptr) : value_(value) {}
    ~handle() { static_cast<void>(close()); }
    handle(handle&& other) noexcept : value_(std::exchange(other.value_, nullptr)) {}
    handle& operator=(handle&& other) noexcept {
        std::swap(value_, other.value_);
        return *this;
    }

    // Neither null nor the value that stands for a file that could not be opened.
    bool valid() const;
    void* get() const { return value_; }

    // Leaves the closing to the caller.
    void* release() { return std::exchange(value_, nullptr); }

    // False when the system reports a failure; the handle is given up either way.
    [[nodiscard]] bool close();

  private:
    void* value_;
};

struct close_search {
    void operator()(void* search) const;
};
using search_handle = std::unique_ptr<void, close_search>;

}  // namespace vellum
