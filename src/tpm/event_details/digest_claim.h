// What an event's digests say about its data: whether they are the hash of what the log shows, so that the PCR proves
// it, or whether the log only claims it.
#pragma once

#include <memory>

#include "tpm/event_details/event_details.h"

namespace vellum {

enum class digest_proof {
    proved,        // every bank that can be checked holds the hash of the data, or of the part of them that is named
    claimed,       // the digest is that of something outside the log: an image, a file, a firmware volume
    contradicted,  // the event's type calls for the hash of the data, and it is another
    unextended,    // the event changes no PCR
};

// "proved" and so on, which machines read too.
const char* proof_name(digest_proof proof);

struct digest_claim {
    digest_proof proof = digest_proof::claimed;
    // What was hashed, as far as that is known: "the data", "the variable's value", "the image"; never empty.
    const char* hashed = "";
    // The name of a digest that everybody knows: "four zero bytes", "no bytes at all"; null for others.
    const char* well_known = nullptr;
};

// Hashers of all banks are kept in it, so that many events pay for them once. Banks: SHA-1, SHA-256, SHA-384,
// SHA-512 and SM3 as far as the library has them.
class claim_checker {
  public:
    claim_checker();
    ~claim_checker();
    claim_checker(const claim_checker&) = delete;
    claim_checker& operator=(const claim_checker&) = delete;

    digest_claim check(const logged_event& event, const event_details& details);

  private:
    struct banks;
    std::unique_ptr<banks> banks_;
};

}  // namespace vellum
