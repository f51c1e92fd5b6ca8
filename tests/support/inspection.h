// What vellum-lab says of a file, on the machine's own clock and certificates.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "lab/inspect.h"

namespace vellum::test {

struct inspection {
    lab::inspect_outcome outcome = lab::inspect_outcome::unreadable;
    std::string text;
};

inspection inspect(const lab::inspect_request& request);

using codes = std::vector<std::string>;

// What is said in JSON, by JSON pointers (RFC 6901).
class description {
  public:
    explicit description(const std::string& text);

    // A text as it is, another value as JSON; "none" where there is none.
    std::string at(const std::string& pointer) const;
    std::size_t size(const std::string& pointer) const;

    // Of reasons or cautions, each of which says something.
    codes codes_of(const std::string& pointer) const;

  private:
    struct tree;
    std::shared_ptr<const tree> tree_;
};

description describe(lab::inspect_request request, lab::inspect_outcome expected);

// The outcome for the file as it is cut shorter and shorter, byte by byte. A file that is written anew each time
// would wait for the disk.
void inspect_each_cut(const lab::inspect_request& request,
                      const std::function<void(std::size_t, lab::inspect_outcome)>& check);

}  // namespace vellum::test
