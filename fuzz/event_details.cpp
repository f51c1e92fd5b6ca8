// One event of a log: what it says, in a line and as a tree. Input: PCR and type (32 bits each, little-endian), then
// the event's data.
#include "tpm/event_details/event_details.h"

#include "core/digest.h"
#include "fuzz/fuzz_session.h"
#include "tpm/event_details/digest_claim.h"
#include "tpm/event_details/event_text.h"

namespace vellum::fuzz {
namespace {

// No node, tag or entry takes more room in the tree than so many times its own, names and keys included.
constexpr std::size_t most_per_byte = 64;
constexpr std::size_t most_per_event = 4096;

void check_details(const logged_event& event, const event_details& details) {
    const std::string summary = summary_of(event, details);
    demand(!summary.empty(), "every event has a summary");
    demand(shown_text(summary) == summary, "a summary is one line, and clean");
    for (const hash_lists hashes : {hash_lists::counted, hash_lists::listed}) {
        const nlohmann::ordered_json tree = details_json(details, hashes);
        const std::string text = tree.dump();  // throws for what is not UTF-8
        demand(nlohmann::ordered_json::parse(text) == tree, "a tree reads back as it was written");
        demand(tree["kind"] == kind_name(details), "a tree begins with its kind");
        demand(text.size() <= most_per_event + most_per_byte * event.data.size(),
               "a tree is in proportion to its event");
    }
}

}  // namespace

void check(byte_view input) {
    byte_reader reader(input);
    logged_event event;
    if (!(reader.u32_le(event.pcr) && reader.u32_le(event.type))) {
        return;
    }
    const std::vector<std::uint8_t> data(reader.rest().begin(), reader.rest().end());
    sha256_value digest{};
    demand(ok(sha256(data, digest)), "data can be hashed");
    event.data = data;
    event.digests[event.digest_count++] = {0x000B, digest};
    const event_details details = decode_event(event);
    check_details(event, details);
    demand(details_json(decode_event(event), hash_lists::listed) == details_json(details, hash_lists::listed),
           "an event is decoded in one way");
    static claim_checker checker;
    const bool extends = event.type != EV_NO_ACTION;
    demand((checker.check(event, details).proof == digest_proof::proved) == extends, "the hash of data proves them");
    digest.fill(0xFF);
    const digest_claim claim = checker.check(event, details);
    demand(claim.hashed[0] != '\0' && claim.proof != digest_proof::proved, "ones are the hash of nothing");
}

}  // namespace vellum::fuzz
