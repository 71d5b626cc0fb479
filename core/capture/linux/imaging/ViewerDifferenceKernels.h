#pragma once

#include <cstddef>
#include <cstdint>

#include "core/capture/linux/imaging/ViewerRectangle.h"

namespace velmora {

/// Compares pictures, in the best instructions the processor has; each set of instructions gives
/// the same result. Pure functions; any thread.
namespace ViewerDifferenceKernels {

/// Rows of pixels of 4 bytes (blue, green, red, unused) from a place on.
struct Rows final {
    const std::uint32_t* first;
    std::size_t pixelsPerRow;
};

/// The smallest rectangle around all pixels that are different in `width` × `height` pixels of
/// both, seen from their first one; the unused byte counts for nothing.
ViewerRectangle difference(const Rows& a, const Rows& b, std::size_t width, std::size_t height);

/// Whether there is such a pixel.
bool isDifferent(const Rows& a, const Rows& b, std::size_t width, std::size_t height);

}  // namespace ViewerDifferenceKernels

}  // namespace velmora
