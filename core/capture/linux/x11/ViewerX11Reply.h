#pragma once

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

}  // namespace velmora
