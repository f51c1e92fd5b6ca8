// A decoded event for people and for machines.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "tpm/event_details/event_details.h"

namespace vellum {

// One line without line end, cleaned for a terminal: what the event says, as "BootOrder: 0001, 0000" or
// "boot application \EFI\BOOT\BOOTX64.EFI, 934 KiB"; never empty.
std::string summary_of(const logged_event& event, const event_details& details);

// The same in full, every field by a stable name: keys in snake_case, numbers as numbers, GUIDs, digests and bytes as
// text, "kind" first: "variable", "image", "gpt", ... Texts are cleaned. `listed`: hashes of signature lists are
// listed, not only counted.
enum class hash_lists { counted, listed };
nlohmann::ordered_json details_json(const event_details& details, hash_lists hashes);

// The value of "kind".
const char* kind_name(const event_details& details);

// The name of an event type: those that a validation names and the later ones of the profile; "EV_UNKNOWN_TYPE".
const char* event_type_name(std::uint32_t type);

}  // namespace vellum
