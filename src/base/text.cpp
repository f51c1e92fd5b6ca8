#include "base/text.h"

#include <bit>
#include <chrono>
#include <cstdlib>

namespace vellum {
namespace {

constexpr char lower_digits[] = "0123456789abcdef";

// Both lower-case digits of every byte value, for dumps, which break the row of digits.
constexpr std::array<std::array<char, 2>, 256> make_pairs() {
    std::array<std::array<char, 2>, 256> pairs{};
    for (std::size_t value = 0; value < pairs.size(); ++value) {
        pairs[value] = {lower_digits[value >> 4], lower_digits[value & 0x0F]};
    }
    return pairs;
}

constexpr auto lower_pairs = make_pairs();

constexpr char digit(unsigned nibble, char letter_ten) {
    return static_cast<char>(nibble > 9 ? static_cast<unsigned>(letter_ten) + nibble - 10 : '0' + nibble);
}

// Arithmetic instead of a table: the compiler turns this loop into vector instructions, many bytes a step.
char* write_hex(byte_view bytes, char letter_ten, char* __restrict out) {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        out[2 * i] = digit(bytes[i] >> 4, letter_ten);
        out[2 * i + 1] = digit(bytes[i] & 0x0F, letter_ten);
    }
    return out + 2 * bytes.size();
}

std::string hex_text(byte_view bytes, char letter_ten) {
    std::string text(2 * bytes.size(), '\0');
    write_hex(bytes, letter_ten, text.data());
    return text;
}

// A code point and the bytes that it takes.
struct utf8_character {
    char32_t code;
    std::size_t size;
};

// The character that begins a text which is not empty; nothing when its first byte is part of none.
std::optional<utf8_character> first_character(std::string_view text) {
    constexpr char32_t smallest[] = {0, 0x80, 0x800, 0x10000};  // by size; what a shorter form has is malformed
    const auto lead = static_cast<std::uint8_t>(text.front());
    const int ones = std::countl_one(lead);
    const auto size = static_cast<std::size_t>(std::max(ones, 1));
    if (ones == 1 || size > std::size(smallest) || size > text.size()) {
        return std::nullopt;
    }
    char32_t code = lead & 0x7FU >> ones;
    for (const char c : text.substr(1, size - 1)) {
        const auto unit = static_cast<std::uint8_t>(c);
        if ((unit & 0xC0) != 0x80) {
            return std::nullopt;
        }
        code = code << 6 | (unit & 0x3FU);
    }
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    const bool well_formed = code >= smallest[size - 1] && code <= 0x10FFFF && !surrogate;
    return well_formed ? std::optional(utf8_character{code, size}) : std::nullopt;
}

// Controls of both sets, and what separates lines or sets the direction of text.
bool disturbs(char32_t code) {
    constexpr std::array<std::array<char32_t, 2>, 6> ranges = {
        {{0, 0x1F}, {0x7F, 0x9F}, {0x061C, 0x061C}, {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2066, 0x2069}}};
    return std::any_of(ranges.begin(), ranges.end(),
                       [code](const auto& range) { return code >= range[0] && code <= range[1]; });
}

}  // namespace

std::string upper_hex(byte_view bytes) {
    return hex_text(bytes, 'A');
}

std::string lower_hex(byte_view bytes) {
    return hex_text(bytes, 'a');
}

std::optional<std::vector<std::uint8_t>> parse_hex(std::string_view digits) {
    std::vector<std::uint8_t> out(digits.size() / 2);
    for (std::size_t i = 0; i < out.size(); ++i) {
        const char* const pair = digits.data() + 2 * i;
        const auto [stop, error] = std::from_chars(pair, pair + 2, out[i], 16);
        if (error != std::errc() || stop != pair + 2) {
            return std::nullopt;
        }
    }
    return digits.size() % 2 == 0 ? std::optional(std::move(out)) : std::nullopt;
}

char* write_lower_hex(byte_view bytes, char* out) {
    return write_hex(bytes, 'a', out);
}

std::string guid_text(std::span<const std::uint8_t, guid_size> guid) {
    std::string text;
    for (const std::size_t at : {3U, 2U, 1U, 0U, 5U, 4U, 7U, 6U, 8U, 9U, 10U, 11U, 12U, 13U, 14U, 15U}) {
        text += upper_hex(guid.subspan(at, 1));
    }
    for (const std::size_t hyphen : {8U, 13U, 18U, 23U}) {
        text.insert(hyphen, 1, '-');
    }
    return text;
}

std::optional<std::string> timezone_suffix(std::int32_t offset_seconds) {
    constexpr std::int32_t first_too_far = 100 * 3600;
    if (offset_seconds <= -first_too_far || offset_seconds >= first_too_far) {
        return std::nullopt;
    }
    const int minutes = offset_seconds / 60;
    const std::string digits = std::to_string(std::abs(minutes / 60 * 100 + minutes % 60));
    return (offset_seconds < 0 ? "-" : "+") + std::string(4 - digits.size(), '0') + digits;
}

std::string shown_text(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const auto character = first_character(text);
        const std::string_view taken = text.substr(0, character ? character->size : 1);
        out += character && !disturbs(character->code) ? taken : "?";
        text.remove_prefix(taken.size());
    }
    return out;
}

std::string field_text(byte_view field) {
    return {field.begin(), std::find(field.begin(), field.end(), std::uint8_t{0})};
}

std::string utf16_text(byte_view bytes, std::size_t max_units) {
    std::string text;
    byte_reader reader(bytes);
    std::uint16_t unit = 0;
    while (text.size() < max_units && reader.u16_le(unit) && unit != 0) {
        text.push_back(unit >= 0x20 && unit <= 0x7E ? static_cast<char>(unit) : '?');
    }
    return text;
}

std::optional<std::int64_t> utc_seconds_of_day(int year, unsigned month, unsigned day) {
    const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(month), std::chrono::day(day)};
    if (!date.ok()) {
        return std::nullopt;
    }
    return std::chrono::seconds(std::chrono::sys_days(date).time_since_epoch()).count();
}

std::string counted(std::size_t count, std::string_view noun) {
    return std::to_string(count) + ' ' + std::string(noun) + (count == 1 ? "" : "s");
}

std::string_view trim(std::string_view text) {
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

namespace detail {

void write_dump_line(byte_view chunk, std::uint64_t offset, std::size_t bytes_per_line, std::size_t indent,
                     std::string& line) {
    constexpr std::size_t min_offset_digits = 8;
    std::array<char, 16> digits{};
    std::size_t count = 0;
    for (std::uint64_t rest = offset; rest != 0 || count < min_offset_digits; rest >>= 4) {
        digits[count++] = lower_digits[rest & 0x0F];
    }
    const std::size_t hex_width = 2 * bytes_per_line + bytes_per_line / 2;
    line.assign(indent + count + 2 + hex_width + 3 + bytes_per_line, ' ');
    char* out = line.data() + indent;
    while (count > 0) {
        *out++ = digits[--count];
    }
    out[1] = '|';
    char* hex = out + 2;
    char* characters = hex + hex_width + 3;
    characters[-2] = '|';
    for (std::size_t i = 0; i < chunk.size(); ++i) {
        hex += i % 2 == 0 ? 1 : 0;
        *hex++ = lower_pairs[chunk[i]][0];
        *hex++ = lower_pairs[chunk[i]][1];
        *characters++ = chunk[i] >= 0x20 && chunk[i] <= 0x7E ? static_cast<char>(chunk[i]) : '.';
    }
}

}  // namespace detail
}  // namespace vellum
