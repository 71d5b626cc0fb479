#include "core/capture/linux/wayland/outputs/ViewerImageCopy.h"

#include <gtest/gtest.h>
#include <wayland-client-protocol.h>

#include <array>
#include <cstdint>

#include "tests/capture/linux/wayland/outputs/ScriptedCopyTest.h"
#include "tests/support/wayland/ScriptedImageCopy.h"

namespace velmora {
namespace {

using Course = ScriptedImageCopy::Course;

/// A compositor that has the extension.
class ViewerImageCopyTest : public ScriptedCopyTest {
  protected:
    ViewerImageCopyTest() {
        script_.width = 3;
        script_.height = 2;
        script_.formats = {WL_SHM_FORMAT_XRGB8888};
        script_.pixels = {1, 2, 3, 4, 5, 6};
    }

    Pixels copy() {
        script_.addTo(compositor_.display());
        return copyOf(addOutput());
    }

    ScriptedImageCopy script_;
};

TEST_F(ViewerImageCopyTest, AnOutputIsCopiedWithoutTheCursor) {
    EXPECT_EQ(copy(), (Pixels{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(script_.options, 0U);
}

TEST_F(ViewerImageCopyTest, TheWholePictureIsAskedFor) {
    EXPECT_NE(copy(), Pixels());
    EXPECT_EQ(script_.damage, (std::array<std::int32_t, 4>{0, 0, 3, 2}));
}

TEST_F(ViewerImageCopyTest, ThePictureItselfTellsHowItIsTurned) {
    script_.transform = 1;
    EXPECT_EQ(copy(), (Pixels{4, 1, 5, 2, 6, 3}));
}

TEST_F(ViewerImageCopyTest, ATurnThatDoesNotExistIsNone) {
    script_.transform = 8;
    EXPECT_EQ(copy(), (Pixels{1, 2, 3, 4, 5, 6}));
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

TEST_F(ViewerImageCopyTest, AnOfferOfASizeThatNoOutputHasGivesNone) {
    script_.width = 16'385;
    script_.height = 1;
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
