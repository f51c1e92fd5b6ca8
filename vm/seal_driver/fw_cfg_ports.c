#include "fw_cfg.h"

enum { selector_port = 0x510, data_port = 0x511 };

void fw_cfg_select(uint16_t selector) {
    __asm__ volatile("outw %0, %1" : : "a"(selector), "Nd"((uint16_t)selector_port) : "memory");
}

uint8_t fw_cfg_next_byte(void) {
    uint8_t byte;
    __asm__ volatile("inb %1, %0" : "=a"(byte) : "Nd"((uint16_t)data_port) : "memory");
    return byte;
}
