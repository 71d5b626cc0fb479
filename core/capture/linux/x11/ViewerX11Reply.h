#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace velmora {

/// Frees what xcb allocated.
struct ViewerX11Free final {
    void operator()(void* memory) const { std::free(memory); }
};

/// A reply, event or error of the X server, freed with its owner. Empty when the server answered
/// with an error or the connection broke.
template <typename T>
using ViewerX11Reply = std::unique_ptr<T, ViewerX11Free>;

/// Whether these bytes lie in a reply, which begins with them or has them further on. It is as long
/// as it says, or xcb would not hand it over; but that may be less than its own beginning has, and
/// what it says that it holds may be more.
template <typename Reply>
bool holds(const Reply& reply, const void* first, std::size_t bytes) {
    constexpr std::size_t shortest = 32;
    constexpr std::size_t unit = 4;
    const std::size_t all = shortest + unit * reply.length;
    const auto place = static_cast<std::size_t>(static_cast<const std::uint8_t*>(first) -
                                                reinterpret_cast<const std::uint8_t*>(&reply));
    return place <= all && bytes <= all - place;
}

}  // namespace velmora
