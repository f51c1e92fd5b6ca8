#include "tpm/event_details/signature_list.h"

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/x509.h>

#include <algorithm>
#include <ctime>

#include "core/digest.h"
#include "core/openssl.h"
#include "tpm/event_details/guid_literal.h"

namespace vellum {
namespace {

using name_handle = openssl_handle<X509_NAME, X509_NAME_free>;
using time_handle = openssl_handle<ASN1_TIME, ASN1_TIME_free>;
using integer_handle = openssl_handle<ASN1_INTEGER, ASN1_INTEGER_free>;

constexpr std::size_t max_certificate_size = std::size_t{64} * 1024;

struct named_type {
    std::array<std::uint8_t, guid_size> value;
    const char* name;
};

constexpr named_type signature_types[] = {
    {guid_literal("A5C059A1-94E4-4AA7-87B5-AB155C2BF072"), "X.509"},
    {guid_literal("C1C41626-504C-4092-ACA9-41F936934328"), "SHA-256"},
    {guid_literal("826CA512-CF10-4AC9-B187-BE01496631BD"), "SHA-1"},
    {guid_literal("0B6E5233-A65C-44C9-9407-D9AB83BFC8BD"), "SHA-224"},
    {guid_literal("FF3E5307-9FD0-48C9-85F1-8AD56C701E01"), "SHA-384"},
    {guid_literal("093E0FAE-A6C4-4F50-9F1B-D41E2B89C19A"), "SHA-512"},
    {guid_literal("3C5766E8-269C-4E34-AA14-ED776E85B3B6"), "RSA-2048"},
    {guid_literal("E2B36190-879B-4A3D-AD8D-F2E7BBA32784"), "RSA-2048 SHA-256"},
    {guid_literal("67F8444F-8743-48F1-A328-1EAAB8736080"), "RSA-2048 SHA-1"},
    {guid_literal("3BD2A492-96C0-4079-B420-FCF98EF103ED"), "X.509 SHA-256"},
    {guid_literal("7076876E-80C2-4EE6-AAD2-28B349A6865B"), "X.509 SHA-384"},
    {guid_literal("446DBF63-2502-4CDA-BCFA-2465D2B0FE9D"), "X.509 SHA-512"},
    {guid_literal("4AAFD29D-68DF-49EE-8AA9-347D375665A7"), "PKCS#7"},
    {guid_literal("452E8CED-DFFF-4B8C-AE01-5118862E682C"), "external management"},
};

// EFI_SIGNATURE_LIST: type, size of the whole list, size of its header, size of an entry.
[[nodiscard]] bool read_list(byte_reader& reader, signature_list& out) {
    constexpr std::size_t head_size = guid_size + 3 * sizeof(std::uint32_t);
    std::uint32_t size = 0;
    std::uint32_t header_size = 0;
    std::uint32_t entry_size = 0;
    byte_reader list{byte_view()};
    if (!(reader.copy(out.type) && reader.u32_le(size) && reader.u32_le(header_size) && reader.u32_le(entry_size) &&
          size >= head_size && reader.sub(size - head_size, list) && list.view(header_size, out.header))) {
        return false;
    }
    if (entry_size < guid_size) {
        return list.at_end();
    }
    out.entry_size = entry_size;
    return list.remaining() % entry_size == 0 && list.view(list.remaining(), out.entries);
}

// A value in the distinguished encoding: tag, size and content.
struct der_value {
    std::uint8_t tag = 0;
    byte_view whole;
    byte_view content;
};

constexpr std::uint8_t der_integer = 0x02;
constexpr std::uint8_t der_bit_string = 0x03;
constexpr std::uint8_t der_sequence = 0x30;
constexpr std::uint8_t der_version = 0xA0;

// Sizes of up to three bytes, which is more than a certificate has.
[[nodiscard]] bool read_der(byte_reader& reader, der_value& out) {
    constexpr std::uint8_t long_form = 0x80;
    const byte_view from = reader.rest();
    std::uint8_t first = 0;
    if (!(reader.u8(out.tag) && reader.u8(first))) {
        return false;
    }
    std::size_t size = first;
    if (first >= long_form) {
        byte_view digits;
        if (first - long_form > 3 || !reader.view(first - long_form, digits)) {
            return false;
        }
        size = 0;
        for (const std::uint8_t digit : digits) {
            size = size << 8 | digit;
        }
    }
    const bool fits = reader.view(size, out.content);
    out.whole = from.first(from.size() - reader.remaining());
    return fits;
}

[[nodiscard]] bool read_der(byte_reader& reader, std::uint8_t tag, der_value& out) {
    return read_der(reader, out) && out.tag == tag;
}

// The parts of a certificate that are told.
struct certificate_parts {
    der_value serial;
    der_value issuer;
    der_value not_before;
    der_value not_after;
    der_value subject;
};

// The key and the extensions are passed over: to decode them takes many times as long as all the rest.
[[nodiscard]] bool read_certificate(byte_view der, certificate_parts& out) {
    der_value value;
    byte_reader whole(der);
    if (!read_der(whole, der_sequence, value) || !whole.at_end()) {
        return false;
    }
    byte_reader outer(value.content);
    der_value signed_part;
    if (!(read_der(outer, der_sequence, signed_part) && read_der(outer, der_sequence, value) &&
          read_der(outer, der_bit_string, value) && outer.at_end())) {
        return false;
    }
    byte_reader fields(signed_part.content);
    const bool begins = read_der(fields, out.serial) &&
                        (out.serial.tag != der_version || read_der(fields, out.serial)) &&
                        out.serial.tag == der_integer;
    der_value validity;
    if (!(begins && read_der(fields, der_sequence, value) && read_der(fields, der_sequence, out.issuer) &&
          read_der(fields, der_sequence, validity) && read_der(fields, der_sequence, out.subject) &&
          read_der(fields, der_sequence, value))) {
        return false;
    }
    byte_reader times(validity.content);
    return read_der(times, out.not_before) && read_der(times, out.not_after);
}

// A part by the library's function for its type; null for one that it does not take.
template <typename Handle, typename Decode>
Handle decoded(const der_value& value, Decode decode) {
    const std::uint8_t* at = value.whole.data();
    return Handle(decode(nullptr, &at, static_cast<long>(value.whole.size())));
}

// UTF-8, and nothing escaped but what would be mistaken for the name's own signs.
std::string name_text(const der_value& value) {
    constexpr unsigned long form =
        XN_FLAG_ONELINE & ~static_cast<unsigned long>(ASN1_STRFLGS_ESC_MSB | XN_FLAG_SPC_EQ);
    const auto name = decoded<name_handle>(value, d2i_X509_NAME);
    const bio_handle bio(BIO_new(BIO_s_mem()));
    char* text = nullptr;
    if (!name || !bio || X509_NAME_print_ex(bio.get(), name.get(), 0, form) < 0) {
        return "(unreadable)";
    }
    const long size = BIO_get_mem_data(bio.get(), &text);
    return size > 0 ? std::string(text, static_cast<std::size_t>(size)) : std::string();
}

std::string serial_text(const der_value& value) {
    const auto integer = decoded<integer_handle>(value, d2i_ASN1_INTEGER);
    const number_handle number(integer ? ASN1_INTEGER_to_BN(integer.get(), nullptr) : nullptr);
    if (!number) {
        return {};
    }
    std::vector<std::uint8_t> bytes(std::max<std::size_t>(static_cast<std::size_t>(BN_num_bytes(number.get())), 1));
    BN_bn2bin(number.get(), bytes.data());
    return (BN_is_negative(number.get()) != 0 ? "-" : "") + lower_hex(bytes);
}

std::string date_text(const der_value& value) {
    const auto time = decoded<time_handle>(value, d2i_ASN1_TIME);
    std::tm parts{};
    std::array<char, 16> text{};
    if (!time || ASN1_TIME_to_tm(time.get(), &parts) != 1 ||
        std::strftime(text.data(), text.size(), "%Y-%m-%d", &parts) == 0) {
        return {};
    }
    return text.data();
}

std::string sha256_of(byte_view der) {
    sha256_value digest{};
    return ok(sha256(der, digest)) ? lower_hex(digest) : std::string();
}

// The last part of a name that begins with the key: "CN=.." or, where it holds signs of the form itself, "CN=\"..\"".
std::string name_part(std::string_view name, std::string_view key) {
    const std::size_t at = name.rfind(key);
    if (at == std::string_view::npos || (at > 0 && name[at - 1] != ' ')) {
        return {};
    }
    name.remove_prefix(at + key.size());
    if (name.starts_with('"')) {
        return std::string(name.substr(1, name.find('"', 1) - 1));
    }
    return std::string(name.substr(0, std::min(name.find(", "), name.find(" + "))));
}

}  // namespace

signature_entry signature_list::at(std::size_t index) const {
    signature_entry entry;
    byte_reader reader(entries);
    byte_reader one{byte_view()};
    if (index < size() && reader.skip(index * entry_size) && reader.sub(entry_size, one) && one.copy(entry.owner)) {
        entry.data = one.rest();
    }
    return entry;
}

bool decode_signature_lists(byte_view bytes, std::vector<signature_list>& out) {
    out.clear();
    byte_reader reader(bytes);
    while (!reader.at_end()) {
        signature_list list;
        if (!read_list(reader, list)) {
            return false;
        }
        out.push_back(list);
    }
    return true;
}

bool decode_signature_entry(byte_view bytes, signature_entry& out) {
    byte_reader reader(bytes);
    if (!reader.copy(out.owner)) {
        return false;
    }
    out.data = reader.rest();
    return true;
}

const char* signature_type_name(const std::array<std::uint8_t, guid_size>& type) {
    const auto* row = std::find_if(std::begin(signature_types), std::end(signature_types),
                                   [&type](const named_type& entry) { return entry.value == type; });
    return row != std::end(signature_types) ? row->name : "";
}

std::optional<certificate_facts> certificate_facts_of(byte_view der) {
    if (der.size() > max_certificate_size) {
        return std::nullopt;
    }
    certificate_parts parts;
    if (!read_certificate(der, parts)) {
        return std::nullopt;
    }
    start_openssl();
    certificate_facts facts;
    facts.subject = name_text(parts.subject);
    facts.issuer = name_text(parts.issuer);
    facts.serial = serial_text(parts.serial);
    facts.not_before = date_text(parts.not_before);
    facts.not_after = date_text(parts.not_after);
    facts.sha256 = sha256_of(der);
    return facts;
}

std::string short_name(const certificate_facts& certificate) {
    const std::string common = name_part(certificate.subject, "CN=");
    return common.empty() ? certificate.subject : common;
}

}  // namespace vellum
