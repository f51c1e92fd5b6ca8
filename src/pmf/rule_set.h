// The ways in which the rules of a PMF run, and what the rules have in common. Internal to the rules.
//
// A rule is a function over one subject (header, extension or entry). It returns success, or raises a finding and
// returns check_failed.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "base/bytes.h"
#include "base/result.h"
#include "core/findings.h"
#include "core/log.h"
#include "pmf/format.h"

namespace vellum {

template <typename Subject>
using pmf_rule = result (*)(const Subject&);

// One entry of an extension, with what its rules need to know beside it.
template <typename Extension, typename Entry>
struct pmf_entry {
    const Extension& extension;
    const Entry& entry;
    std::size_t index;
    std::size_t digest_size = 0;  // bytes of the hash field that count; known in the strict sets
};

// The rules in order up to the first that fails, whose result is that of the set.
template <typename Subject, std::size_t Count>
result run_until_failure(const pmf_rule<Subject> (&rules)[Count], const std::type_identity_t<Subject>& subject) {
    for (const pmf_rule<Subject> rule : rules) {
        RETURN_IF_FAILED(rule(subject));
    }
    return result::success;
}

// Every rule; returns how many failed.
template <typename Subject, std::size_t Count>
std::size_t count_failures(const pmf_rule<Subject> (&rules)[Count], const std::type_identity_t<Subject>& subject) {
    return static_cast<std::size_t>(
        std::count_if(std::begin(rules), std::end(rules), [&](auto rule) { return !ok(rule(subject)); }));
}

// Every rule on every entry of the extension; returns how many failed.
template <typename Extension, typename Entry, std::size_t Count>
std::size_t count_entry_failures(const pmf_rule<pmf_entry<Extension, Entry>> (&rules)[Count],
                                 const Extension& extension, std::size_t digest_size = 0) {
    std::size_t errors = 0;
    for (std::size_t index = 0; index < extension.entries.size(); ++index) {
        errors += count_failures(rules, {extension, extension.entries[index], index, digest_size});
    }
    return errors;
}

inline result verdict_of(std::size_t errors) {
    return errors == 0 ? result::success : result::check_failed;
}

// The outcome of a rule. Fields go to the finding that a violated one raised; one that holds ignores them.
class [[nodiscard]] rule_outcome {
  public:
    explicit rule_outcome(result verdict) : verdict_(verdict) {}
    operator result() const { return verdict_; }

    template <typename Value>
    rule_outcome& field(const char* name, const Value& value) {
        if (!ok(verdict_)) {
            finding_lines().field(name, value);
        }
        return *this;
    }

  private:
    result verdict_;
};

// Success when the rule holds, else it is raised as a finding and the result is check_failed.
rule_outcome demand(finding_id id, bool holds, const char* format, ...) VELLUM_PRINTF(3, 4);

// The outcome of a violated rule, for texts whose arguments cost more than the check.
rule_outcome violated(finding_id id, const char* format, ...) VELLUM_PRINTF(2, 3);

// A result as the texts show it.
inline unsigned code_of(result outcome) {
    return static_cast<unsigned>(outcome);
}

// An unsigned field as "%d" shows it.
inline int as_int(std::uint64_t value) {
    return static_cast<int>(value);
}

// Whether the text has its terminator, and zeros alone behind the first one.
bool ends_in_zeros(byte_view text);

// Whether the field holds zeros behind its digest.
bool digest_fits(const pmf_hash_field& field, std::size_t digest_size);

// Adds the pattern that such a field should have, and the field.
void show_digest_field(finding_lines lines, const pmf_hash_field& field, std::size_t digest_size);

}  // namespace vellum
