// Signature databases of Secure Boot (UEFI specification 2.10, section 32.4.1): EFI_SIGNATURE_LIST structures one
// after another, each a type, sizes, a header and entries of one size, which begin with their owner's GUID.
// Little-endian. Everything views the data.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "base/text.h"

namespace vellum {

// EFI_SIGNATURE_DATA.
struct signature_entry {
    std::array<std::uint8_t, guid_size> owner{};
    byte_view data;  // a DER certificate, or a digest, by the list's type
};

struct signature_list {
    std::array<std::uint8_t, guid_size> type{};
    byte_view header;
    byte_view entries;           // whole ones
    std::size_t entry_size = 0;  // bytes, at least the owner's

    std::size_t size() const { return entry_size == 0 ? 0 : entries.size() / entry_size; }
    signature_entry at(std::size_t index) const;
};

// False when a list does not fit; `out` holds those before it then.
[[nodiscard]] bool decode_signature_lists(byte_view bytes, std::vector<signature_list>& out);

// Of an entry of its own, as EV_EFI_VARIABLE_AUTHORITY has it. False when it is shorter than an owner.
[[nodiscard]] bool decode_signature_entry(byte_view bytes, signature_entry& out);

// The short name of a list's type, such as "X.509" or "SHA-256"; empty for one that is unknown.
const char* signature_type_name(const std::array<std::uint8_t, guid_size>& type);

// What a certificate says of itself. Nothing of it is verified. Names are those of OpenSSL's one-line form (RFC 2253
// order reversed: "C=.., O=.., CN=.."), UTF-8; times "YYYY-MM-DD".
struct certificate_facts {
    std::string subject;
    std::string issuer;
    std::string serial;  // hexadecimal
    std::string not_before;
    std::string not_after;
    std::string sha256;  // of the certificate, lower-case hexadecimal
};

// Nothing for what is no DER certificate, or is longer than one (64 KiB).
std::optional<certificate_facts> certificate_facts_of(byte_view der);

// The common name of a certificate's subject, else its whole subject; for one line.
std::string short_name(const certificate_facts& certificate);

}  // namespace vellum
