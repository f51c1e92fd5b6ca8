// pack_rom VENDOR DEVICE DRIVER ROM: puts a UEFI driver into the ROM of the PCI device with these identifiers (PCI
// Firmware specification, UEFI specification "PCI Option ROMs"). The identifiers have to be those of the device: the
// virtual machine corrects wrong ones, together with a checksum that such a ROM does not have.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum {
    block_size = 512,
    data_structure_offset = 0x1C,
    data_structure_size = 0x1C,
    head_size = data_structure_offset + data_structure_size,
    max_driver_size = 1024 * 1024,
};

static uint8_t rom[head_size + max_driver_size + block_size];

static void put(size_t offset, uint32_t value, size_t width) {
    for (size_t i = 0; i < width; ++i) {
        rom[offset + i] = (uint8_t)(value >> (8 * i));
    }
}

static void put_head(uint32_t blocks) {
    put(0x00, 0xAA55, 2);
    put(0x02, blocks, 2);
    put(0x04, 0x0EF1, 4);  // an EFI image
    put(0x08, 11, 2);      // subsystem: boot service driver
    put(0x0A, 0x8664, 2);  // machine
    put(0x0C, 0, 2);       // not compressed
    put(0x16, head_size, 2);
    put(0x18, data_structure_offset, 2);
}

static void put_data_structure(uint32_t blocks, uint32_t vendor, uint32_t device) {
    const size_t at = data_structure_offset;
    memcpy(rom + at, "PCIR", 4);
    put(at + 0x04, vendor, 2);
    put(at + 0x06, device, 2);
    put(at + 0x0A, data_structure_size, 2);
    put(at + 0x0C, 3, 1);  // revision
    put(at + 0x10, blocks, 2);
    put(at + 0x14, 3, 1);     // code type: EFI
    put(at + 0x15, 0x80, 1);  // the last image
}

static size_t read_driver(const char* path) {
    FILE* file = fopen(path, "rb");
    const size_t size = file != NULL ? fread(rom + head_size, 1, max_driver_size + 1, file) : 0;
    const int failed = file == NULL || ferror(file) != 0 || size == 0 || size > max_driver_size;
    if (file != NULL) {
        fclose(file);
    }
    if (failed) {
        fprintf(stderr, "pack_rom: %s cannot be read, is empty or does not fit\n", path);
        exit(1);
    }
    return size;
}

int main(int argc, char** argv) {
    if (argc != 5) {
        fputs("usage: pack_rom VENDOR DEVICE DRIVER ROM\n", stderr);
        return 3;
    }
    const size_t size = head_size + read_driver(argv[3]);
    const size_t blocks = (size + block_size - 1) / block_size;
    put_head((uint32_t)blocks);
    put_data_structure((uint32_t)blocks, (uint32_t)strtoul(argv[1], NULL, 16), (uint32_t)strtoul(argv[2], NULL, 16));
    FILE* out = fopen(argv[4], "wb");
    const int written = out != NULL && fwrite(rom, block_size, blocks, out) == blocks;
    if (out == NULL || fclose(out) != 0 || !written) {
        fprintf(stderr, "pack_rom: %s cannot be written\n", argv[4]);
        return 1;
    }
    return 0;
}
