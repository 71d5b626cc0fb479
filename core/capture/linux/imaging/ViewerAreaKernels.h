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

/// Sets each sum to 2^shift times the sum of the bytes at its place in `rows` rows, which are
/// `bytesPerRow` apart. REQUIRES: the results stay below 2^15. `next` is where as many rows begin
/// that are summed after these: it is asked for, not read, and may be anywhere.
void sumRows(const std::uint8_t* firstRow, std::size_t bytesPerRow, std::size_t rows, int shift,
             std::span<std::int16_t> sums, const std::uint8_t* next);

/// Adds weight / 256 times the byte at its place in `row`, rounded, to each sum.
void addRow(const std::uint8_t* row, std::int16_t weight, std::span<std::int16_t> sums);

/// Writes the `count` target pixels from `target` on. `sums` begins with the first source pixel of
/// `target` and holds all the pairs of the last one, those with a weight of 0 as well.
void averageColumns(const ViewerAreaColumns& columns, std::size_t target, std::size_t count,
                    const std::int16_t* sums, std::uint8_t* pixels);

}  // namespace ViewerAreaKernels

}  // namespace velmora
