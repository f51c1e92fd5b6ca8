// What the seal driver makes of the files that the virtual machine hands over, on a stand-in for its ports and
// firmware.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "lab/byte_builder.h"
#include "tests/support/tamper.h"
#include "vm/seal_driver/fw_cfg.h"
#include "vm/seal_driver/measure.h"

namespace {

using vellum::lab::byte_builder;
using bytes = std::vector<std::uint8_t>;

std::map<std::uint16_t, bytes> items;
std::uint16_t selected = 0;
std::size_t position = 0;
std::size_t bytes_read = 0;

}  // namespace

extern "C" void fw_cfg_select(std::uint16_t selector) {
    selected = selector;
    position = 0;
}

extern "C" std::uint8_t fw_cfg_next_byte(void) {
    const bytes& item = items[selected];
    ++bytes_read;
    return position < item.size() ? item[position++] : std::uint8_t{0};
}

namespace vellum {
namespace {

constexpr std::uint16_t signature_item = 0x0000;
constexpr std::uint16_t directory_item = 0x0019;
constexpr std::uint16_t event_item = 0x0021;

struct measurement {
    std::uint32_t pcr = 0;
    std::uint32_t type = 0;
    bytes hashed;
    bytes logged;
};
std::vector<measurement> measured;
std::set<void*> allocated;
bool has_tpm = true;
efi_status tpm_answer = EFI_SUCCESS;

efi_status EFIAPI allocate_pool(std::uint32_t, std::uint64_t size, void** out) {
    *out = ::operator new(size);
    allocated.insert(*out);
    return EFI_SUCCESS;
}

efi_status EFIAPI free_pool(void* buffer) {
    EXPECT_EQ(allocated.erase(buffer), 1U);
    ::operator delete(buffer);
    return EFI_SUCCESS;
}

efi_status EFIAPI hash_log_extend_event(efi_tcg2*, std::uint64_t flags, std::uint64_t data, std::uint64_t size,
                                        efi_tcg2_event* event) {
    EXPECT_EQ(flags, 0U);
    EXPECT_EQ(event->header.header_size, 14U);
    EXPECT_EQ(event->header.header_version, 1U);
    const auto* hashed = reinterpret_cast<const std::uint8_t*>(static_cast<std::uintptr_t>(data));
    const auto* logged = reinterpret_cast<const std::uint8_t*>(event + 1);
    measured.push_back({event->header.pcr, event->header.type, bytes(hashed, hashed + size),
                        bytes(logged, logged + (event->size - 18))});
    return tpm_answer;
}

efi_status EFIAPI locate_protocol(const efi_guid* protocol, void*, void** out) {
    static efi_tcg2 tpm{nullptr, nullptr, hash_log_extend_event};
    const bytes tcg2 = {0x6C, 0x76, 0x7F, 0x60, 0x55, 0x74, 0xBE, 0x42,
                        0x93, 0x0B, 0xE4, 0xD7, 0x6D, 0xB2, 0x72, 0x0F};
    EXPECT_EQ(std::memcmp(protocol, tcg2.data(), tcg2.size()), 0);
    *out = &tpm;
    return has_tpm ? EFI_SUCCESS : EFI_NOT_FOUND;
}

byte_builder& add_file(byte_builder& directory, std::uint32_t size, std::uint16_t selector, std::string_view name) {
    return directory.u32_be(size).u16_be(selector).u16_be(0).padded(as_bytes(name), 56);
}

// Two files behind two others, one of them with a name that the wanted one begins with.
bytes directory_of(std::uint32_t event_size) {
    byte_builder out;
    out.u32_be(3);
    add_file(out, 7, 0x0020, "opt/vellum/seal");
    add_file(out, event_size, event_item, "opt/vellum/seal_event");
    return add_file(out, 7, 0x0022, "opt/vellum/seal_event_of_another").take();
}

efi_status measure() {
    static efi_boot_services services = [] {
        efi_boot_services made{};
        made.allocate_pool = allocate_pool;
        made.free_pool = free_pool;
        made.locate_protocol = locate_protocol;
        return made;
    }();
    measured.clear();
    bytes_read = 0;
    const efi_status status = measure_file(&services, "opt/vellum/seal_event");
    EXPECT_TRUE(allocated.empty());
    return status;
}

void hand_over(const bytes& event) {
    items = {{signature_item, {'Q', 'E', 'M', 'U'}},
             {directory_item, directory_of(static_cast<std::uint32_t>(event.size()))},
             {event_item, event}};
    has_tpm = true;
    tpm_answer = EFI_SUCCESS;
}

// Where the firmware looks for what it calls; offsets of the UEFI specification, in bytes.
static_assert(offsetof(efi_boot_services, allocate_pool) == 64);
static_assert(offsetof(efi_boot_services, handle_protocol) == 152);
static_assert(offsetof(efi_boot_services, load_image) == 200);
static_assert(offsetof(efi_boot_services, start_image) == 208);
static_assert(offsetof(efi_boot_services, locate_protocol) == 320);
static_assert(offsetof(efi_system_table, console_out) == 64);
static_assert(offsetof(efi_system_table, boot_services) == 96);
static_assert(offsetof(efi_loaded_image, device) == 24);
static_assert(offsetof(efi_loaded_image, load_options_size) == 48);
static_assert(offsetof(efi_loaded_image, load_options) == 56);

TEST(seal_driver, measures_the_event_as_a_variable_in_pcr5) {
    const bytes event(MAX_EVENT_SIZE, 0xA5);
    hand_over(event);
    EXPECT_EQ(measure(), EFI_SUCCESS);
    ASSERT_EQ(measured.size(), 1U);
    EXPECT_EQ(measured[0].pcr, 5U);
    EXPECT_EQ(measured[0].type, 0x80000001U);
    EXPECT_EQ(measured[0].hashed, event);
    EXPECT_EQ(measured[0].logged, event);
}

TEST(seal_driver, measures_nothing_that_was_not_handed_over) {
    hand_over({1, 2, 3});
    items[directory_item] = byte_builder().u32_be(0).take();
    EXPECT_EQ(measure(), EFI_SUCCESS);
    EXPECT_TRUE(measured.empty()) << "no such file";

    hand_over({1, 2, 3});
    items.erase(signature_item);
    EXPECT_EQ(measure(), EFI_SUCCESS);
    EXPECT_TRUE(measured.empty()) << "another machine";

    // A directory that claims every file there could be, and a name without an end.
    hand_over({1, 2, 3});
    items[directory_item] = byte_builder().u32_be(UINT32_MAX).fill(8).fill(56, 'o').take();
    EXPECT_EQ(measure(), EFI_SUCCESS);
    EXPECT_TRUE(measured.empty());
    EXPECT_LT(bytes_read, 0x4000U * 64 + 16);
}

TEST(seal_driver, says_that_it_cannot_measure) {
    hand_over({});
    EXPECT_EQ(measure(), EFI_BAD_BUFFER_SIZE);
    hand_over(bytes(MAX_EVENT_SIZE + 1));
    EXPECT_EQ(measure(), EFI_BAD_BUFFER_SIZE);
    hand_over({1});
    items[directory_item] = directory_of(UINT32_MAX);
    EXPECT_EQ(measure(), EFI_BAD_BUFFER_SIZE);
    hand_over({1});
    has_tpm = false;
    EXPECT_EQ(measure(), EFI_NOT_FOUND);
    EXPECT_TRUE(measured.empty());
    hand_over({1});
    tpm_answer = EFI_OUT_OF_RESOURCES;
    EXPECT_EQ(measure(), EFI_OUT_OF_RESOURCES);
}

}  // namespace
}  // namespace vellum
