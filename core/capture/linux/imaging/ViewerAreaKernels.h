#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "core/capture/linux/imaging/ViewerAreaColumns.h"

namespace velmora {

/// The inner loops of an area average, in the best instructions the processor has; each set of
/// instructions gives the same bits. Pure functions; any thread. Pictures are bytes, sums are
/// 16-bit lanes with four channels a pixel.
namespace ViewerAreaKernels {

/// Rows of a picture from a place on. Those that are only asked for ahead may be anywhere, also
/// where there is no memory.
struct Rows final {
    const std::uint8_t* first;
    std::size_t bytesPerRow;
    std::size_t count;
};

/// Sets each sum to 2^shift times the sum of the bytes at its place in `rows`. REQUIRES: the
/// results stay below 2^15. `next` is what is summed after these.
void sumRows(const Rows& rows, int shift, std::span<std::int16_t> sums, const Rows& next);

/// Adds weight / 256 times the byte at its place in `row`, rounded, to each sum.
void addRow(const std::uint8_t* row, std::int16_t weight, std::span<std::int16_t> sums);

/// Writes the `count` target pixels from `target` on. `sums` begins with the first source pixel of
/// `target` and holds all the pairs of the last one, those with a weight of 0 as well. `next` is
/// what is summed after this.
void averageColumns(const ViewerAreaColumns& columns, std::size_t target, std::size_t count,
                    const std::int16_t* sums, std::uint8_t* pixels, const Rows& next);

}  // namespace ViewerAreaKernels

}  // namespace velmora
