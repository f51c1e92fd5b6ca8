// The response codes of a TPM (TPM 2.0 Library, Part 2: Structures, TPM_RC) that making a quote can meet, in words.
#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>

#include "tpm/attestation/quote_commands.h"
#include "tpm/attestation/tpm_numbers.h"

namespace vellum {
namespace {

// The stack and the kernel put the number of the layer above the code when it is not the TPM that answers.
constexpr std::uint32_t layer_mask = 0xFFFF'0000;
constexpr std::uint32_t code_mask = 0xFFF;

// Of a code about a parameter, a handle or a session: which of them stands beside it.
constexpr std::uint32_t about_something = 0x080;
constexpr std::uint32_t about_parameter = 0x040;
constexpr std::uint32_t number_mask = 0xF00;
constexpr std::uint32_t about_mask = 0x0BF;

struct code_row {
    std::uint32_t code;
    const char* says;
};
constexpr code_row rows[] = {
    {0x081, "it does not know this kind of key"},
    {0x082, "it does not accept the attributes of the key"},
    {0x083, "it does not know SHA-256"},
    {0x084, "a value is out of its range"},
    {0x085, "the endorsement hierarchy is disabled; the firmware's setup can enable it"},
    {0x08A, "it does not know this type of key"},
    {0x08B, "the handle of the key is not valid"},
    {0x08C, "it does not know this key derivation"},
    {0x08E, "the authorization of the endorsement hierarchy is set, so that only who knows it can make the key"},
    {0x092, "it does not know this signing scheme"},
    {0x095, "a size is wrong; the nonce may be longer than this TPM takes"},
    {0x0A2, "the authorization of the endorsement hierarchy is set, so that only who knows it can make the key"},
    {0x0A6, "it does not know the curve P-256"},
    {0x100, "it was not started; the firmware did not send TPM2_Startup"},
    {0x101, "it is in failure mode; restart the machine"},
    {0x120, "the command is disabled"},
    {0x12F, "the hierarchy's authorization is not available"},
    {0x130, "the machine must be restarted first"},
    {0x142, "the command has a wrong size"},
    {tpm::rc_command_code, "it does not know this command"},
    {0x901, "its memory for contexts is used up; restart the machine"},
    {0x902, "its memory for keys is used up by other programs"},
    {0x903, "its memory for sessions is used up by other programs"},
    {0x904, "its memory is used up"},
    {0x907, "the command does not come from the right locality"},
    {0x908, "it was interrupted; try again"},
    {0x909, "the command was canceled"},
    {0x90A, "it is testing itself; try again in a moment"},
    {0x921, "it is locked out after failed authorizations"},
    {0x922, "it is busy; try again in a moment"},
};

// Without what it is about.
constexpr std::uint32_t base_of(std::uint32_t code) {
    return (code & about_something) != 0 ? code & about_mask : code & code_mask;
}

}  // namespace

bool refuses_key_type(std::uint32_t code) {
    constexpr std::uint32_t template_parameter = 0x200;
    constexpr std::uint32_t refusals[] = {0x081, 0x083, 0x084, 0x08A, 0x08C, 0x092, 0x0A6};
    const bool about_template = (code & (layer_mask | about_something | about_parameter | number_mask)) ==
                                (about_something | about_parameter | template_parameter);
    return about_template && std::find(std::begin(refusals), std::end(refusals), base_of(code)) != std::end(refusals);
}

std::string response_code_text(std::uint32_t code) {
    if (code == response_malformed) {
        return "what it answers is malformed";
    }
    const auto* const row = std::find_if(std::begin(rows), std::end(rows),
                                         [code](const code_row& known) { return known.code == base_of(code); });
    std::array<char, 40> digits{};
    std::snprintf(digits.data(), digits.size(), " (response code 0x%03x)", code);
    return (row != std::end(rows) ? row->says : std::string("it refuses the command")) + digits.data();
}

}  // namespace vellum
