#include "tpm/event_details/digest_claim.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "core/digest.h"

namespace vellum {
namespace {

constexpr std::size_t max_digest_size = 64;  // SHA-512

using digest_value = std::array<std::uint8_t, max_digest_size>;

// Data whose digests everybody meets.
struct well_known_data {
    const char* name;
    std::string_view data;
};
constexpr well_known_data well_known[] = {
    {"no bytes at all", {}},
    {"four zero bytes", {"\0\0\0\0", 4}},
    {"four bytes of ones", "\xFF\xFF\xFF\xFF"},
    {"the number one", {"\1\0\0\0", 4}},
    {"\"Calling EFI Application from Boot Option\"", "Calling EFI Application from Boot Option"},
    {"\"Returning from EFI Application from Boot Option\"", "Returning from EFI Application from Boot Option"},
    {"\"Exit Boot Services Invocation\"", "Exit Boot Services Invocation"},
    {"\"Exit Boot Services Returned with Success\"", "Exit Boot Services Returned with Success"},
};

// The hash of one bank, and the digests that it knows.
struct bank {
    std::uint16_t algorithm = 0;
    std::optional<hasher> hash;
    std::array<digest_value, std::size(well_known)> known{};
};

[[nodiscard]] bool digest_of(bank& bank, byte_view data, digest_value& out) {
    return bank.hash && bank.hash->size() <= out.size() &&
           ok(bank.hash->hash({data}, std::span(out).first(bank.hash->size())));
}

bank bank_of(std::uint16_t algorithm, hasher hash) {
    bank out;
    out.algorithm = algorithm;
    out.hash = std::move(hash);
    for (std::size_t i = 0; i < std::size(well_known); ++i) {
        if (!digest_of(out, as_bytes(well_known[i].data), out.known[i])) {
            out.hash.reset();
        }
    }
    return out;
}

// What a digest may be the hash of, besides the data as they stand in the log.
struct candidate {
    byte_view data;
    const char* name;
};

// The text and the zeros that end it, behind a label that is not hashed.
byte_view text_with_its_end(const logged_event& event, const text_details& details) {
    const auto end = std::find_if(event.data.rbegin(), event.data.rend(), [](std::uint8_t c) { return c != 0; });
    const std::size_t zeros = static_cast<std::size_t>(end - event.data.rbegin());
    return event.data.last(std::min(details.text.size() + zeros, event.data.size()));
}

byte_view without_last_byte(byte_view data) {
    return data.first(data.empty() ? 0 : data.size() - 1);
}

byte_view without_last_zero_unit(byte_view data) {
    const bool ends = data.size() >= 2 && data.back() == 0 && data[data.size() - 2] == 0;
    return ends ? data.first(data.size() - 2) : data;
}

// In the order of likelihood. Empty places are skipped.
std::array<candidate, 5> candidates_of(const logged_event& event, const event_details& details) {
    std::array<candidate, 5> out{};
    out[0] = {event.data, "the data"};
    if (const auto* variable = std::get_if<variable_details>(&details)) {
        out[1] = {variable->data, "the variable's value"};
        out[2] = {without_last_byte(event.data), "the data but for their last byte"};  // by an old boot loader
    } else if (const auto* text = std::get_if<text_details>(&details)) {
        out[1] = {as_bytes(text->text), "the text"};
        out[2] = {text_with_its_end(event, *text), "the text"};
        out[3] = {without_last_byte(event.data), "the text"};
        out[4] = {without_last_zero_unit(event.data), "the text"};
    } else if (const auto* tagged = std::get_if<tagged_details>(&details)) {
        constexpr std::size_t tag_head = 8;
        out[1] = {
            tagged->values.size() == 1 && event.data.size() > tag_head ? event.data.subspan(tag_head) : event.data,
            "the tagged value"};
    }
    return out;
}

// What a type's digest is of when it is not of the data. `calls_for_data`: by the profile it can be of nothing else.
struct hashed_thing {
    const char* name;
    bool calls_for_data;
};

hashed_thing thing_of_text(text_meaning meaning) {
    switch (meaning) {
        case text_meaning::action: return {"the text", true};
        case text_meaning::firmware_version: return {"the version", true};
        case text_meaning::loader_command:
        case text_meaning::kernel_command: return {"the command", true};
        case text_meaning::loader_file: return {"the file", false};
        case text_meaning::loader_policy: return {"the policy that it names", false};
        case text_meaning::post_code:
        case text_meaning::hardware_root: return {"the code that it names", false};
        default: return {"what it names", false};
    }
}

hashed_thing thing_of(const logged_event& event, const event_details& details) {
    if (const auto* text = std::get_if<text_details>(&details)) {
        return thing_of_text(text->meaning);
    }
    if (std::holds_alternative<variable_details>(details)) {
        return {"the variable", true};
    }
    if (std::holds_alternative<gpt_details>(details)) {
        return {"the partition table", true};
    }
    if (std::holds_alternative<separator_details>(details)) {
        return {"the separator's value", true};
    }
    if (std::holds_alternative<image_load_details>(details)) {
        return {"the image", false};
    }
    if (std::holds_alternative<firmware_blob_details>(details)) {
        return {"the firmware at this place", false};
    }
    if (std::holds_alternative<handoff_tables_details>(details)) {
        return {"the tables", false};
    }
    if (std::holds_alternative<tagged_details>(details)) {
        return {"what it names", false};
    }
    return {event.data.empty() ? "something that the log does not show" : "what stands behind it", false};
}

}  // namespace

const char* proof_name(digest_proof proof) {
    switch (proof) {
        case digest_proof::proved: return "proved";
        case digest_proof::claimed: return "claimed";
        case digest_proof::contradicted: return "contradicted";
        case digest_proof::unextended: break;
    }
    return "unextended";
}

struct claim_checker::banks {
    std::vector<bank> list;
    bank unknown;  // stands for all that have no hash: a log can name as many as there are numbers

    bank& of(std::uint16_t algorithm) {
        const auto found =
            std::find_if(list.begin(), list.end(), [=](const bank& entry) { return entry.algorithm == algorithm; });
        if (found != list.end()) {
            return *found;
        }
        std::optional<hasher> hash = hasher::of_bank(algorithm);
        return hash ? list.emplace_back(bank_of(algorithm, *std::move(hash))) : unknown;
    }
};

claim_checker::claim_checker() : banks_(std::make_unique<banks>()) {}
claim_checker::~claim_checker() = default;

namespace {

// How the digests of an event's banks stand to one candidate.
struct agreement {
    std::size_t same = 0;
    std::size_t other = 0;
};

// The first digest that is not all zeros, else the first; null where there is none.
const event_digest* told_digest(const logged_event& event) {
    const auto digests = event.banks();
    const auto found = std::find_if(digests.begin(), digests.end(),
                                    [](const event_digest& digest) { return !all_zero(digest.value); });
    return found != digests.end() ? &*found : digests.empty() ? nullptr : &digests.front();
}

const char* well_known_name(const bank& bank, byte_view digest) {
    if (all_zero(digest)) {
        return "zeros: nothing was hashed";
    }
    for (std::size_t i = 0; i < std::size(well_known); ++i) {
        if (bank.hash && equal_bytes(byte_view(bank.known[i]).first(bank.hash->size()), digest)) {
            return well_known[i].name;
        }
    }
    return nullptr;
}

// A bank whose digests are all zeros was not extended: it speaks for nothing and against nothing.
template <typename Banks>
agreement compare(Banks& banks, const logged_event& event, byte_view data) {
    agreement found;
    for (const event_digest& digest : event.banks()) {
        digest_value value{};
        bank& bank = banks.of(digest.algorithm);
        if (!all_zero(digest.value) && digest_of(bank, data, value)) {
            const bool same = equal_bytes(byte_view(value).first(bank.hash->size()), digest.value);
            ++(same ? found.same : found.other);
        }
    }
    return found;
}

}  // namespace

digest_claim claim_checker::check(const logged_event& event, const event_details& details) {
    if (event.type == EV_NO_ACTION) {
        return {digest_proof::unextended, "nothing", nullptr};
    }
    const hashed_thing thing = thing_of(event, details);
    digest_claim out{digest_proof::claimed, thing.name, nullptr};
    if (const event_digest* told = told_digest(event)) {
        out.well_known = well_known_name(banks_->of(told->algorithm), told->value);
    }
    bool compared = false;
    bool banks_part = false;
    for (const candidate& candidate : candidates_of(event, details)) {
        const agreement found = candidate.name != nullptr ? compare(*banks_, event, candidate.data) : agreement();
        if (found.same > 0 && found.other == 0) {
            return {digest_proof::proved, candidate.name, out.well_known};
        }
        compared = compared || found.other > 0;
        banks_part = banks_part || found.same > 0;
    }
    if ((thing.calls_for_data && compared) || banks_part) {
        out.proof = digest_proof::contradicted;
    }
    return out;
}

}  // namespace vellum
