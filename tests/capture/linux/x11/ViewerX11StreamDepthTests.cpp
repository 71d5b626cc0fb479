#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "tests/capture/linux/x11/CapturedMonitor.h"

// Screens whose pixels have more or fewer than 8 bits a colour.

namespace velmora {
namespace {

/// What is left of a colour on a screen of 16 bits, and of one of 30: of 10 bits 8 come back.
std::uint32_t shown(std::uint32_t colour, int depth) {
    if (depth == 30) {
        return colour;
    }
    const std::uint32_t red = colour >> 19 & 0x1f;
    const std::uint32_t green = colour >> 10 & 0x3f;
    const std::uint32_t blue = colour >> 3 & 0x1f;
    return (red << 3 | red >> 2) << 16 | (green << 2 | green >> 4) << 8 | (blue << 3 | blue >> 2);
}

class ViewerX11StreamDepth : public testing::TestWithParam<std::vector<std::string>> {
  protected:
    /// Rectangles are painted, also while the screen is captured; the picture is compared exactly.
    /// The screen is not reduced, and its width leaves a gap behind each row of 2-byte pixels.
    static void expectEachColour(int depth) {
        XServer::Options options;
        options.width = 213;
        options.height = 101;
        options.depth = depth;
        options.arguments = GetParam();
        const XServer server(options);
        XPainter painter(server);
        CapturedMonitor monitor(server);
        std::mt19937 engine(1);
        std::vector<std::uint32_t> expected(std::size_t{213} * 101);
        const auto below = [&](std::int64_t bound) {
            return static_cast<std::int64_t>(engine()) % bound;
        };
        const auto paint = [&] {
            const std::int64_t x = below(213);
            const std::int64_t y = below(101);
            const std::int64_t width = 1 + below(213 - x);
            const std::int64_t height = 1 + below(101 - y);
            const auto colour = static_cast<std::uint32_t>(below(0x1000000));
            painter.fill({x, y, width, height}, colour);
            for (std::int64_t row = y; row < y + height; ++row) {
                std::fill_n(expected.begin() + row * 213 + x, width, shown(colour, depth));
            }
        };
        painter.fill({0, 0, 213, 101}, 0);
        paint();
        ASSERT_TRUE(monitor.begin());

        for (int change = 0; change < 40; ++change) {
            paint();
        }

        EXPECT_TRUE(monitor.recorder().waitForPicture(
            [&](const StreamRecorder::Picture& picture) { return picture.colours == expected; }));
        EXPECT_TRUE(monitor.recorder().isClean());
    }
};

TEST_P(ViewerX11StreamDepth, OfTenBitsTheUpperEightAreShown) {
    expectEachColour(30);
}

TEST_P(ViewerX11StreamDepth, FiveAndSixBitsAreSpreadOverEight) {
    expectEachColour(16);
}

INSTANTIATE_TEST_SUITE_P(SharedMemoryAndSocket, ViewerX11StreamDepth,
                         testing::Values(std::vector<std::string>{},
                                         std::vector<std::string>{"-extension", "MIT-SHM"}));

TEST(ViewerX11StreamDepths, ALargeScreenIsReducedAllTheSame) {
    for (const int depth : {16, 30}) {
        XServer::Options options;
        options.width = 1367;
        options.depth = depth;
        const XServer server(options);
        XPainter painter(server);
        painter.fill({0, 0, 1367, 720}, 0x84ff00);
        CapturedMonitor monitor(server);

        ASSERT_TRUE(monitor.begin());

        EXPECT_TRUE(monitor.recorder().latest().isAll(0x84ff00));
    }
}

}  // namespace
}  // namespace velmora
