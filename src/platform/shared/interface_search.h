// Lists the present interfaces of a device class in the two calls of a configuration manager: one asks for the length
// of the list, the other takes it, and it may grow between them.
#pragma once

#include <cstdint>
#include <new>
#include <string>
#include <vector>

#include "platform/firmware_device.h"

namespace vellum {

// The configuration manager's code for a list that has grown since its size was asked for.
inline constexpr std::uint32_t interface_list_grown = 0x1A;

// No driver can make the program allocate without bound or ask for the list for ever.
inline constexpr std::uint32_t max_interface_list = 1U << 20;  // characters
inline constexpr int max_interface_searches = 16;

// size(characters) and list(characters, paths) return the configuration manager's code, 0 for success.
template <typename Size, typename List>
found_interfaces search_interfaces_once(const interface_steps& steps, Size& size, List& list) {
    std::uint32_t characters = 0;
    if (const std::uint32_t code = size(characters); code != 0) {
        return {interface_search::size_unknown, code, {}};
    }
    if (characters <= 1) {
        return {};
    }
    steps.sized(characters);
    if (characters > max_interface_list) {
        return {interface_search::no_memory, 0, {}};
    }
    found_interfaces found;
    try {
        found.code = list(characters, found.paths);
    } catch (const std::bad_alloc&) {
        return {interface_search::no_memory, 0, {}};
    }
    if (found.code == interface_list_grown) {
        steps.outdated();
        found.how = interface_search::kept_growing;
    } else if (found.code != 0) {
        found.how = interface_search::not_listed;
    }
    return found;
}

template <typename Size, typename List>
found_interfaces search_interfaces(const interface_steps& steps, Size size, List list) {
    found_interfaces found = {interface_search::kept_growing, 0, {}};
    for (int searches = 0; found.how == interface_search::kept_growing && searches < max_interface_searches;
         ++searches) {
        found = search_interfaces_once(steps, size, list);
    }
    return found;
}

}  // namespace vellum
