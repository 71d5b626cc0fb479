#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace velmora {

/// How a row of sums over source rows becomes a row of target pixels, in fixed point: a target
/// channel is (bias + Σ weight × sum) >> shift. A plain value; any thread.
struct ViewerAreaColumns final {
    /// Source pixels come in pairs, because the instructions multiply and add two at a time; where
    /// a target pixel needs fewer, the weights of the others are 0.
    static constexpr std::size_t pixelsPerPair = 2;

    /// For each target pixel the column of its first source pixel.
    std::vector<std::int64_t> firstSource;
    /// For each target pixel `pairs` times two weights.
    std::vector<std::int16_t> weights;
    std::size_t pairs = 0;
    int shift = 0;
    std::int32_t bias = 0;
};

}  // namespace velmora
