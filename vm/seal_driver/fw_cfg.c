#include "fw_cfg.h"

enum {
    signature_item = 0x0000,
    directory_item = 0x0019,
    name_size = 56,      // in a row of the directory, terminated
    max_files = 0x4000,  // selectors reach no further
};

static uint32_t next_big_endian(unsigned bytes) {
    uint32_t value = 0;
    for (unsigned i = 0; i < bytes; ++i) {
        value = value << 8 | fw_cfg_next_byte();
    }
    return value;
}

static bool is_present(void) {
    const uint32_t signature = 0x51454D55;  // "QEMU"
    fw_cfg_select(signature_item);
    return next_big_endian(4) == signature;
}

// Reads the name of a row to its end.
static bool next_name_is(const char* name) {
    bool equal = true;
    bool ended = false;
    for (unsigned i = 0; i < name_size; ++i) {
        const char byte = (char)fw_cfg_next_byte();
        if (!ended) {
            equal = equal && byte == name[i];
            ended = byte == 0 || !equal;
        }
    }
    return equal && ended;
}

bool fw_cfg_find(const char* name, fw_cfg_file* out) {
    if (!is_present()) {
        return false;
    }
    fw_cfg_select(directory_item);
    const uint32_t count = next_big_endian(4);
    for (uint32_t i = 0; i < count && i < max_files; ++i) {
        out->size = next_big_endian(4);
        out->selector = (uint16_t)next_big_endian(2);
        next_big_endian(2);  // reserved
        if (next_name_is(name)) {
            return true;
        }
    }
    return false;
}

void fw_cfg_read(const fw_cfg_file* file, uint8_t* out, uint32_t size) {
    fw_cfg_select(file->selector);
    for (uint32_t i = 0; i < size; ++i) {
        out[i] = fw_cfg_next_byte();
    }
}
