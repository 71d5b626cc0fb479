#pragma once

#include <cstddef>
#include <cstdint>

namespace velmora {

/// The inner loop of the conversion to 4:2:0, in the best instructions the processor has; each set
/// of instructions gives the same bits. A pure function; any thread.
namespace ViewerYUVKernels {

/// Two rows of blue, green, red, unused, and where their planes' rows go: as many luma bytes as
/// there are pixels, one more where that is odd, and half as many of each colour difference.
struct RowPair final {
    const std::uint8_t* top;
    const std::uint8_t* bottom;
    std::size_t width;
    std::uint8_t* topLuma;
    std::uint8_t* bottomLuma;
    std::uint8_t* blueDifference;
    std::uint8_t* redDifference;
};

void convertRowPair(const RowPair& rows);

}  // namespace ViewerYUVKernels

}  // namespace velmora
