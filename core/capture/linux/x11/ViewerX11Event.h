#pragma once

#include <xcb/xcb.h>

#include <cstdint>

namespace velmora {

/// The number of an event's type, whoever sent the event.
inline std::uint8_t eventTypeOf(const xcb_generic_event_t& event) {
    // The highest bit tells that another client sent it.
    constexpr std::uint8_t typeBits = 0x7f;
    return event.response_type & typeBits;
}

}  // namespace velmora
