#include "core/capture/linux/wayland/outputs/ViewerImageCopy.h"

#include <gtest/gtest.h>
#include <wayland-client-protocol.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <thread>
#include <vector>

#include "core/capture/linux/wayland/outputs/ViewerScreenCopy.h"
#include "tests/capture/linux/wayland/outputs/OutputsOnLoop.h"
#include "tests/support/wayland/ScriptedCompositor.h"
#include "tests/support/wayland/ScriptedImageCopy.h"

namespace velmora {
namespace {

using Course = ScriptedImageCopy::Course;
using Pixels = std::vector<std::uint32_t>;

/// A compositor that has the extension and one output, of which a copy is asked for.
class ViewerImageCopyTest : public testing::Test {
  protected:
    ViewerImageCopyTest() {
        script_.width = 3;
        script_.height = 2;
        script_.formats = {WL_SHM_FORMAT_XRGB8888};
        script_.pixels = {1, 2, 3, 4, 5, 6};
    }

    /// The copy's pixels, row by row; nothing when there is none.
    Pixels copy() {
        script_.addTo(compositor_.display());
        compositor_.whenBound = [this] { tellOutput(); };
        compositor_.addOutput();
        ViewerWaylandOutput output;
        {
            OutputsOnLoop loop(compositor_.socketPath(), [&] { compositor_.pump(); });
            EXPECT_TRUE(loop.untilTold([](const auto& told) { return !told.outputs.empty(); }));
            EXPECT_TRUE(loop.current()->offersImageCopy);
            EXPECT_FALSE(loop.current()->offersScreenCopy);
            output = loop.current()->outputs.front();
        }
        Pixels pixels;
        std::atomic<bool> isOver = false;
        std::thread asking([&] {
            const bool isCopied = ViewerScreenCopy::copy(
                compositor_.socketPath(), output,
                [&](const ViewerPixelBuffer& picture) { pixels = pixelsOf(picture); });
            EXPECT_EQ(isCopied, !pixels.empty());
            isOver = true;
        });
        while (!isOver) {
            compositor_.pump();
            std::this_thread::yield();
        }
        asking.join();
        return pixels;
    }

    ScriptedImageCopy script_;

  private:
    static Pixels pixelsOf(const ViewerPixelBuffer& picture) {
        Pixels pixels;
        for (std::int64_t y = 0; y < picture.height; ++y) {
            const auto* const row = reinterpret_cast<const std::uint32_t*>(
                picture.pixels + static_cast<std::size_t>(y) * picture.bytesPerRow);
            pixels.insert(pixels.end(), row, row + picture.width);
        }
        return pixels;
    }
    void tellOutput() {
        compositor_.geometry(0, 0, "Maker", "Model", 0);
        compositor_.mode(true, 3, 2);
        compositor_.name("DP-1");
        compositor_.done();
    }

    ScriptedCompositor compositor_{{4, 0}};
};

TEST_F(ViewerImageCopyTest, AnOutputIsCopiedWithoutTheCursor) {
    EXPECT_EQ(copy(), (Pixels{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(script_.options, 0U);
}

TEST_F(ViewerImageCopyTest, ThePictureItselfTellsHowItIsTurned) {
    script_.transform = 1;
    EXPECT_EQ(copy(), (Pixels{4, 1, 5, 2, 6, 3}));
}

TEST_F(ViewerImageCopyTest, OfSeveralFormatsOneThatIsReadIsTaken) {
    script_.formats = {WL_SHM_FORMAT_RGB565, WL_SHM_FORMAT_XBGR8888, WL_SHM_FORMAT_XRGB8888};
    script_.pixels = {0x33'2211, 2, 3, 4, 5, 6};
    EXPECT_EQ(copy().at(0), 0x11'2233U);
}

TEST_F(ViewerImageCopyTest, WhereNoFormatIsReadThereIsNoCopy) {
    script_.formats = {WL_SHM_FORMAT_RGB565};
    EXPECT_EQ(copy(), Pixels());
}

TEST_F(ViewerImageCopyTest, ACopyThatFailsIsNone) {
    script_.course = Course::fails;
    EXPECT_EQ(copy(), Pixels());
}

TEST_F(ViewerImageCopyTest, ACompositorThatStopsGivesNone) {
    script_.course = Course::stops;
    EXPECT_EQ(copy(), Pixels());
}

TEST_F(ViewerImageCopyTest, AnOfferThatIsTakenBackGivesNone) {
    script_.course = Course::changesItsMind;
    EXPECT_EQ(copy(), Pixels());
}

TEST_F(ViewerImageCopyTest, ACompositorThatOffersNothingHasItsLimit) {
    script_.course = Course::isSilent;
    EXPECT_EQ(copy(), Pixels());
}

}  // namespace
}  // namespace velmora
