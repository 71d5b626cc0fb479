#include "core/capture/linux/wayland/outputs/ViewerScreenCopy.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "core/capture/ViewerJPEGEncoder.h"
#include "tests/capture/linux/wayland/outputs/OutputsOnLoop.h"
#include "tests/support/desktop/HeadlessCompositor.h"
#include "tests/support/system/TemporaryFolder.h"
#include "tests/support/wayland/MuteSocket.h"
#include "tests/support/wayland/NestedCompositor.h"
#include "tests/support/wayland/SwayControl.h"

namespace velmora {
namespace {

using PixelSize = ViewerWaylandOutput::PixelSize;
using Colour = std::uint32_t;

constexpr Colour red = 0xc02020;
constexpr Colour green = 0x20a020;
constexpr Colour blue = 0x2040c0;
constexpr Colour yellow = 0xd0c020;

/// A copy, kept: its size and the colours in the middle of its four quarters, row by row.
struct Copy final {
    PixelSize size;
    std::array<Colour, 4> quarters{};
};

Colour pixelAt(const ViewerPixelBuffer& picture, std::int64_t x, std::int64_t y) {
    const std::uint8_t* const pixel =
        picture.pixels + static_cast<std::size_t>(y) * picture.bytesPerRow + 4 * x;
    return static_cast<Colour>(pixel[2] << 16 | pixel[1] << 8 | pixel[0]);
}

std::optional<Copy> copyOf(const std::string& socketPath, const ViewerWaylandOutput& output) {
    std::optional<Copy> copy;
    const bool isCopied =
        ViewerScreenCopy::copy(socketPath, output, [&](const ViewerPixelBuffer& picture) {
            const std::int64_t x = picture.width / 4;
            const std::int64_t y = picture.height / 4;
            copy = Copy{{static_cast<std::int32_t>(picture.width),
                         static_cast<std::int32_t>(picture.height)},
                        {pixelAt(picture, x, y), pixelAt(picture, 3 * x, y),
                         pixelAt(picture, x, 3 * y), pixelAt(picture, 3 * x, 3 * y)}};
        });
    EXPECT_EQ(isCopied, copy.has_value());
    return copy;
}

/// A JPEG is not exact.
bool isAlike(Colour a, Colour b) {
    constexpr int tolerance = 12;
    const auto isNear = [&](unsigned shift) {
        const int difference =
            static_cast<int>(a >> shift & 0xffU) - static_cast<int>(b >> shift & 0xffU);
        return std::abs(difference) <= tolerance;
    };
    return isNear(0) && isNear(8) && isNear(16);
}

bool shows(const std::optional<Copy>& copy, const std::array<Colour, 4>& quarters) {
    return copy && std::equal(copy->quarters.begin(), copy->quarters.end(), quarters.begin(),
                              quarters.end(), isAlike);
}

bool showsOnly(const std::optional<Copy>& copy, Colour colour) {
    return shows(copy, {colour, colour, colour, colour});
}

/// Looks again and again until `holds` does: what paints a background takes its time. False when
/// it does not in time.
bool until(const std::function<bool()>& holds) {
    const auto end = std::chrono::steady_clock::now() + OutputsOnLoop::patience;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

/// A picture in a file whose quarters are red, green, blue and yellow.
class QuarteredPicture final {
  public:
    QuarteredPicture() {
        constexpr std::int64_t width = 320;
        constexpr std::int64_t height = 180;
        std::vector<Colour> pixels;
        for (std::int64_t y = 0; y < height; ++y) {
            for (std::int64_t x = 0; x < width; ++x) {
                const bool isLeft = x < width / 2;
                pixels.push_back(y < height / 2 ? (isLeft ? red : green)
                                                : (isLeft ? blue : yellow));
            }
        }
        ViewerPixelBuffer buffer;
        buffer.width = width;
        buffer.height = height;
        buffer.pixels = reinterpret_cast<const std::uint8_t*>(pixels.data());
        buffer.bytesPerRow = width * sizeof(Colour);
        const auto jpeg = ViewerJPEGEncoder::encode(buffer, 1);
        std::ofstream(path(), std::ios::binary)
            .write(reinterpret_cast<const char*>(jpeg->data()),
                   static_cast<std::streamsize>(jpeg->size()));
        std::filesystem::permissions(folder_.path(), std::filesystem::perms(0755));
    }

    std::string path() const { return folder_.path() / "quarters.jpg"; }

  private:
    const TemporaryFolder folder_;
};

/// A real compositor with outputs of a known colour, and what it tells of them.
class ViewerScreenCopyTest : public testing::Test {
  protected:
    explicit ViewerScreenCopyTest() : control_(sway_), loop_(sway_.displayName()) {
        control_.run("output HEADLESS-1 mode 640x480 bg #c02020 solid_color");
        EXPECT_TRUE(loop_.untilTold([](const auto& snapshot) {
            return snapshot.outputs.size() == 1 &&
                   snapshot.outputs.front().mode == PixelSize{640, 480};
        }));
    }

    ViewerWaylandOutput output(std::size_t index = 0) { return loop_.current()->outputs.at(index); }
    std::optional<Copy> copy(std::size_t index = 0) {
        return copyOf(sway_.displayName(), output(index));
    }

    const HeadlessCompositor sway_;
    const SwayControl control_;
    OutputsOnLoop loop_;
};

TEST_F(ViewerScreenCopyTest, AnOutputIsCopiedInItsSizeAndColour) {
    ASSERT_TRUE(until([&] { return showsOnly(copy(), red); }));
    EXPECT_EQ(copy()->size, (PixelSize{640, 480}));
}

TEST_F(ViewerScreenCopyTest, EachOutputIsCopiedUnderItsOwnName) {
    control_.run("create_output");
    control_.run("output HEADLESS-2 mode 640x480 bg #2040c0 solid_color");
    ASSERT_TRUE(loop_.untilTold([](const auto& snapshot) {
        return snapshot.outputs.size() == 2 &&
               snapshot.outputs.back().mode == PixelSize{640, 480} &&
               snapshot.outputs.back().position == ViewerLogicalPosition{640, 0};
    }));
    EXPECT_TRUE(until([&] { return showsOnly(copy(0), red) && showsOnly(copy(1), blue); }));
}

TEST_F(ViewerScreenCopyTest, APictureIsUprightWhicheverWayTheOutputIsTurned) {
    const QuarteredPicture picture;
    const std::vector<std::string> transforms = {
        "normal", "90", "180", "270", "flipped", "flipped-90", "flipped-180", "flipped-270"};
    control_.run("output HEADLESS-1 bg " + picture.path() + " stretch");
    std::vector<bool> isSeen(transforms.size());
    for (const std::string& transform : transforms) {
        SCOPED_TRACE(transform);
        control_.run("output HEADLESS-1 transform " + transform);
        ASSERT_TRUE(
            until([&] { return shows(copy(), {red, green, blue, yellow}) || HasFailure(); }));
        const bool isPortrait = ViewerWaylandOutput::swapsSides(output().transform);
        EXPECT_EQ(copy()->size, (isPortrait ? PixelSize{480, 640} : PixelSize{640, 480}));
        isSeen.at(static_cast<std::size_t>(output().transform)) = true;
    }
    EXPECT_EQ(isSeen, std::vector<bool>(transforms.size(), true));
}

TEST_F(ViewerScreenCopyTest, AScaledOutputIsCopiedInPixels) {
    control_.run("output HEADLESS-1 scale 1.5");
    ASSERT_TRUE(loop_.untilTold([](const auto& snapshot) {
        return snapshot.outputs.front().logicalSize != ViewerLogicalSize{640, 480};
    }));
    ASSERT_TRUE(until([&] { return showsOnly(copy(), red); }));
    EXPECT_EQ(copy()->size, (PixelSize{640, 480}));
}

TEST_F(ViewerScreenCopyTest, AnOutputThatWasTurnedSinceIsCopiedAsItIsNow) {
    const ViewerWaylandOutput before = output();
    control_.run("output HEADLESS-1 transform 90");
    std::optional<Copy> copy;
    ASSERT_TRUE(until([&] { return (copy = copyOf(sway_.displayName(), before)).has_value(); }));
    EXPECT_EQ(copy->size, (PixelSize{480, 640}));
}

TEST_F(ViewerScreenCopyTest, AnotherOutputUnderTheSameNumberIsNotCopied) {
    ViewerWaylandOutput elsewhere = output();
    elsewhere.connector = "HEADLESS-7";
    ViewerWaylandOutput ofAnotherMaker = output();
    ofAnotherMaker.make = "Another";
    ViewerWaylandOutput ofAnotherModel = output();
    ofAnotherModel.model = "Another";
    for (const ViewerWaylandOutput& other : {elsewhere, ofAnotherMaker, ofAnotherModel}) {
        EXPECT_FALSE(copyOf(sway_.displayName(), other));
    }
}

TEST_F(ViewerScreenCopyTest, CopiesLeaveNothingBehind) {
    const auto descriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    const auto before = descriptors();
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(copy());
    }
    EXPECT_EQ(descriptors(), before);
}

TEST(ViewerScreenCopy, AnOutputThatGoesMeanwhileIsNeverAnothers) {
    const NestedCompositor sway(2);
    sway.run("output WL-1 bg #c02020 solid_color");
    sway.run("output WL-2 bg #2040c0 solid_color");
    OutputsOnLoop loop(sway.displayName());
    ASSERT_TRUE(loop.untilTold([](const auto& snapshot) { return snapshot.outputs.size() == 2; }));
    const ViewerWaylandOutput output = loop.current()->outputs.front();
    ASSERT_EQ(output.connector, "WL-1");
    ASSERT_TRUE(until([&] { return showsOnly(copyOf(sway.displayName(), output), red); }));
    // Everything comes at once: a copy is asked for, and the output goes.
    ASSERT_EQ(::kill(sway.process(), SIGSTOP), 0);
    std::optional<Copy> copy;
    std::thread asking([&] { copy = copyOf(sway.displayName(), output); });
    sway.unplug("WL-1");
    ASSERT_EQ(::kill(sway.process(), SIGCONT), 0);
    asking.join();
    EXPECT_TRUE(!copy || showsOnly(copy, red));
    ASSERT_TRUE(loop.untilTold([](const auto& snapshot) { return snapshot.outputs.size() == 1; }));
    EXPECT_FALSE(copyOf(sway.displayName(), output));
    EXPECT_TRUE(until([&] {
        return showsOnly(copyOf(sway.displayName(), loop.current()->outputs.front()), blue);
    }));
}

TEST(ViewerScreenCopy, ACompositorThatIsNotThereOrSilentGivesNoCopy) {
    ViewerWaylandOutput output;
    output.mode = {640, 480};
    const TemporaryFolder folder;
    EXPECT_FALSE(copyOf(folder.path() / "nobody", output));
    EXPECT_FALSE(copyOf(folder.path() / std::string(200, 'x'), output));
    EXPECT_FALSE(copyOf(MuteSocket().path(), output));
}

}  // namespace
}  // namespace velmora
