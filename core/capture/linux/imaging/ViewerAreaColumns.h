#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace velmora {

/// How a row of sums over source rows becomes a row of target pixels, in fixed point. A plain
/// value; any thread.
struct ViewerAreaColumns final {
    /// Where every target pixel has the same number of whole source pixels: a target channel is
    /// ((Σ sum + bias) × reciprocal >> 16) >> shift.
    struct Whole final {
        /// Source pixels in a row of a target pixel.
        std::size_t count = 0;
        std::uint16_t bias = 0;
        std::uint16_t reciprocal = 0;
        int shift = 0;
    };

    /// Source pixels come in pairs, because the instructions multiply and add two at a time; where
    /// a target pixel needs fewer, the weights of the others are 0.
    static constexpr std::size_t pixelsPerPair = 2;

    /// For each target pixel the column of its first source pixel.
    std::vector<std::int64_t> firstSource;
    /// If it has a value, what is below has none. Otherwise a target channel is
    /// (bias + Σ weight × sum) >> shift.
    std::optional<Whole> whole;
    /// For each target pixel `pairs` times two weights.
    std::vector<std::int16_t> weights;
    std::size_t pairs = 0;
    int shift = 0;
    std::int32_t bias = 0;
};

}  // namespace velmora
