// The firmware configuration device of the virtual machine: named files that whoever starts the machine hands over.
// It is read through two I/O ports, by fw_cfg_ports.c on the machine and by a stand-in in the tests.
#pragma once

#include <stdbool.h>
#include <stdint.h>

#if defined(__cplusplus)
extern "C" {
#endif

typedef struct {
    uint32_t size;  // in bytes
    uint16_t selector;
} fw_cfg_file;

// Selects an item; it is read from its first byte then.
void fw_cfg_select(uint16_t selector);

// The next byte of the selected item; zero behind its end.
uint8_t fw_cfg_next_byte(void);

// False when there is no such device or no file of this name.
bool fw_cfg_find(const char* name, fw_cfg_file* out);

// The first `size` bytes of the file.
void fw_cfg_read(const fw_cfg_file* file, uint8_t* out, uint32_t size);

#if defined(__cplusplus)
}
#endif
