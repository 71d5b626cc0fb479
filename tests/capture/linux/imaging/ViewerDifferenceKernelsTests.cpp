#include "core/capture/linux/imaging/ViewerDifferenceKernels.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "tests/support/imaging/InstructionSets.h"

namespace velmora {
namespace {

constexpr std::size_t pixelsPerRow = 200;

/// Compared the plain way.
ViewerRectangle expectedDifference(const std::vector<std::uint32_t>& a,
                                   const std::vector<std::uint32_t>& b, std::size_t width,
                                   std::size_t height) {
    ViewerRectangle result;
    for (std::size_t row = 0; row < height; ++row) {
        for (std::size_t column = 0; column < width; ++column) {
            const std::size_t index = row * pixelsPerRow + column;
            if ((a[index] & 0xffffff) != (b[index] & 0xffffff)) {
                result = boundingBox(result, {static_cast<std::int64_t>(column),
                                              static_cast<std::int64_t>(row), 1, 1});
            }
        }
    }
    return result;
}

TEST(ViewerDifferenceKernels, EveryDifferentPixelIsInsideAndTheUnusedByteCountsForNothing) {
    for (std::uint32_t seed = 0; seed < 300; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 generator(seed);
        const std::size_t width = 1 + generator() % 180;
        const std::size_t height = 1 + generator() % 5;
        std::vector<std::uint32_t> a(pixelsPerRow * height);
        for (std::uint32_t& pixel : a) {
            pixel = static_cast<std::uint32_t>(generator());
        }
        std::vector<std::uint32_t> b = a;
        // Beside the rectangle everything is different.
        for (std::size_t index = 0; index < b.size(); ++index) {
            b[index] ^= index % pixelsPerRow < width ? 0xab000000 : 0xffffff;
        }
        for (std::uint32_t changes = static_cast<std::uint32_t>(generator()) % 4; changes > 0;
             --changes) {
            b[generator() % height * pixelsPerRow + generator() % width] ^= 1U << generator() % 24;
        }
        const ViewerRectangle expected = expectedDifference(a, b, width, height);
        forEachInstructionSet([&] {
            EXPECT_EQ(ViewerDifferenceKernels::difference({a.data(), pixelsPerRow},
                                                          {b.data(), pixelsPerRow}, width, height),
                      expected);
            EXPECT_EQ(ViewerDifferenceKernels::isDifferent({a.data(), pixelsPerRow},
                                                           {b.data(), pixelsPerRow}, width, height),
                      !expected.isEmpty());
        });
    }
}

}  // namespace
}  // namespace velmora
