// UEFI device paths (UEFI specification 2.10, chapter 10): a list of nodes, each a type, a subtype, its length of 16
// bits little-endian and its data, ended by an end node.
#pragma once

#include <string>

#include "base/bytes.h"

namespace vellum {

// What the nodes of a path say about where it leads.
struct device_path {
    // The text form of the specification, nodes joined by "/": "PciRoot(0x0)/Pci(0x1F,0x2)/Sata(0x0,0xFFFF,0x0)/
    // HD(1,GPT,...)/\EFI\BOOT\BOOTX64.EFI". A node without a form of its own: "Path(TYPE,SUBTYPE,HEX)". Instances are
    // joined by ",". UTF-8.
    std::string text;
    std::string file;            // its file path nodes joined; empty: it has none
    bool in_firmware = false;    // it begins in, or leads into, a firmware volume or a part of memory
    bool over_network = false;   // a MAC, IP, URI or like node
    bool in_option_rom = false;  // it ends in a PCI node or an offset range behind one, or is such a range alone
};

// Decodes a whole path. False when a node does not fit or the end node is missing; `out` holds the nodes before then.
[[nodiscard]] bool decode_device_path(byte_view bytes, device_path& out);

}  // namespace vellum
