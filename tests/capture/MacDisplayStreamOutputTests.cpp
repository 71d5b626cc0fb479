#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/capture/CapturedWorld.h"

namespace velmora {
namespace {

/// A session whose first frame shows the shade 100.
struct ReceivingWorld final {
    ReceivingWorld() { world.captureFirst(100); }

    /// Delivers a picture of the shade 200, changed by `change`, and tells whether it was taken.
    template <typename Change>
    bool takes(Change change) {
        const PaintedPicture picture(200);
        ViewerStreamOutput output = picture.complete();
        change(output);
        world.stream().deliver(output);
        const auto answer = world.ask();
        EXPECT_TRUE(shows(answer, 100) || shows(answer, 200));
        return shows(answer, 200);
    }

    CapturedWorld world;
};

TEST(MacDisplayCaptureSession, TakesACompleteFrame) {
    ReceivingWorld receiving;
    EXPECT_TRUE(receiving.takes([](ViewerStreamOutput&) {}));
}

TEST(MacDisplayCaptureSession, DropsFramesWhoseStatusIsNotComplete) {
    const std::vector<std::pair<std::string, std::int64_t>> statuses{
        {"idle", 1},    {"blank", 2},   {"suspended", 3}, {"started", 4},
        {"stopped", 5}, {"unknown", 6}, {"negative", -1}};
    for (const auto& [name, status] : statuses) {
        SCOPED_TRACE(name);
        ReceivingWorld receiving;
        EXPECT_FALSE(receiving.takes(
            [value = status](ViewerStreamOutput& output) { output.status = value; }));
    }
}

TEST(MacDisplayCaptureSession, DropsFramesWithoutAStatus) {
    ReceivingWorld receiving;
    EXPECT_FALSE(receiving.takes([](ViewerStreamOutput& output) { output.status.reset(); }));
}

TEST(MacDisplayCaptureSession, DropsFramesWithoutAttachments) {
    ReceivingWorld receiving;
    EXPECT_FALSE(
        receiving.takes([](ViewerStreamOutput& output) { output.hasAttachments = false; }));
}

TEST(MacDisplayCaptureSession, DropsInvalidFrames) {
    ReceivingWorld receiving;
    EXPECT_FALSE(receiving.takes([](ViewerStreamOutput& output) { output.isValid = false; }));
}

TEST(MacDisplayCaptureSession, DropsWhatIsNotOfTheScreen) {
    for (const auto type : {ViewerStreamOutputType::audio, ViewerStreamOutputType::other}) {
        ReceivingWorld receiving;
        EXPECT_FALSE(receiving.takes([type](ViewerStreamOutput& output) { output.type = type; }));
    }
}

TEST(MacDisplayCaptureSession, DropsFramesWithoutAPicture) {
    ReceivingWorld receiving;
    EXPECT_FALSE(receiving.takes([](ViewerStreamOutput& output) { output.pixels = nullptr; }));
}

TEST(MacDisplayCaptureSession, DropsFramesThatCannotBeEncoded) {
    ReceivingWorld receiving;
    const ViewerPixelBuffer unreadable;
    EXPECT_FALSE(receiving.takes([&](ViewerStreamOutput& output) { output.pixels = &unreadable; }));
}

}  // namespace
}  // namespace velmora
