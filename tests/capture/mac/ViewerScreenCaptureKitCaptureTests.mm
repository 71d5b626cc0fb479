#include <gmock/gmock.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/capture/mac/ScreenTest.h"
#include "tests/mac/frameworks/FrameworkCalls.h"

// Displays and screens, through ScreenCaptureKit and AppKit.

namespace velmora {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

using ViewerScreenCaptureKitCapture = ScreenTest;

constexpr const char* uuidText = "37D8832A-2D66-02CA-B9F7-8F30A301B230";

ScreenScript::Display display(std::uint32_t number) {
    ScreenScript::Display display;
    display.number = number;
    display.width = 1920;
    display.height = 1080;
    return display;
}

TEST_F(ViewerScreenCaptureKitCapture, ThePermissionIsTheSystems) {
    EXPECT_TRUE(capture_->preflightAccess());
    script_.isGranted = false;
    EXPECT_FALSE(capture_->preflightAccess());
    EXPECT_THAT(FrameworkCalls::take(), IsEmpty());
}

TEST_F(ViewerScreenCaptureKitCapture, ThePermissionIsAskedOfTheSystemAndOnlyThenTheUser) {
    std::vector<ViewerCaptureAccess> seen;
    std::vector<bool> answers;
    const auto look = [&](ViewerCaptureAccess access) { seen.push_back(access); };
    const auto note = [&](bool isGranted) { answers.push_back(isGranted); };
    script_.isGranted = false;
    capture_->lookAtAccess(look);
    EXPECT_THAT(FrameworkCalls::take(), IsEmpty());
    capture_->requestAccess(note);
    EXPECT_THAT(FrameworkCalls::take(), ElementsAre("CGRequestScreenCaptureAccess"));
    script_.grantsOnRequest = true;
    capture_->requestAccess(note);
    capture_->lookAtAccess(look);
    EXPECT_THAT(answers, ElementsAre(false, true));
    EXPECT_THAT(seen, ElementsAre(ViewerCaptureAccess::requestable, ViewerCaptureAccess::granted));
}

TEST_F(ViewerScreenCaptureKitCapture, AListingAsksForEverythingAndGivesEachDisplaysFacts) {
    script_.displays = {display(1), display(4'000'000'000)};
    script_.displays[1].width = 3456;
    script_.displays[1].height = 2234;
    script_.displays[1].isMain = true;
    script_.displays[1].uuid = "00000000-0000-0000-0000-00000000000A";
    const Listing listing = list();
    ASSERT_TRUE(listing && *listing);
    EXPECT_THAT(FrameworkCalls::take(), Contains("getShareableContent 0 0"));
    const ViewerScreenCapture::Displays& displays = **listing;
    ASSERT_EQ(displays.size(), 2U);
    EXPECT_EQ(displays[0].number, 1U);
    EXPECT_EQ(displays[0].uuidText, uuidText);
    EXPECT_EQ(displays[0].width, 1920);
    EXPECT_EQ(displays[0].height, 1080);
    EXPECT_FALSE(displays[0].isMain);
    EXPECT_EQ(displays[1].number, 4'000'000'000U);
    EXPECT_EQ(displays[1].uuidText, "00000000-0000-0000-0000-00000000000A");
    EXPECT_EQ(displays[1].width, 3456);
    EXPECT_EQ(displays[1].height, 2234);
    EXPECT_TRUE(displays[1].isMain);
}

TEST_F(ViewerScreenCaptureKitCapture, ADisplayWithoutAUUIDOrItsTextIsGivenWithoutOne) {
    script_.displays = {display(1), display(2), display(3)};
    script_.displays[0].uuid = std::nullopt;
    script_.displays[1].hasUUIDText = false;
    const Listing listing = list();
    ASSERT_TRUE(listing && *listing);
    EXPECT_EQ((**listing)[0].uuidText, std::nullopt);
    EXPECT_EQ((**listing)[1].uuidText, std::nullopt);
    EXPECT_EQ((**listing)[2].uuidText, uuidText);
}

TEST_F(ViewerScreenCaptureKitCapture, EachUUIDIsReleased) {
    script_.displays = {display(1), display(2)};
    script_.displays[1].hasUUIDText = false;
    (void)list();
    EXPECT_EQ(std::ranges::count(FrameworkCalls::take(), "CFRelease FakeCFUUID"), 2);
}

TEST_F(ViewerScreenCaptureKitCapture, NoDisplaysAreAnEmptyList) {
    const Listing listing = list();
    ASSERT_TRUE(listing && *listing);
    EXPECT_THAT(**listing, IsEmpty());
}

TEST_F(ViewerScreenCaptureKitCapture, AnErrorIsNull) {
    script_.displays = {display(1)};
    script_.listing = ScreenScript::Answer::error;
    const Listing listing = list();
    ASSERT_TRUE(listing.has_value());
    EXPECT_EQ(*listing, nullptr);
}

TEST_F(ViewerScreenCaptureKitCapture, AnAnswerMayComeBeforeTheCallReturns) {
    script_.answersAtOnce = true;
    script_.displays = {display(1)};
    bool isAnswered = false;
    capture_->shareableDisplays([&](const auto& displays) { isAnswered = displays->size() == 1; });
    EXPECT_TRUE(isAnswered);
}

TEST_F(ViewerScreenCaptureKitCapture, AnAnswerThatNeverComesKeepsNothing) {
    script_.listing = ScreenScript::Answer::none;
    const auto held = std::make_shared<int>(1);
    capture_->shareableDisplays([held](const auto&) {});
    world_.settle();
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(ViewerScreenCaptureKitCapture, AnAnswerThatIsNeitherDisplaysNorAnErrorStopsTheProcess) {
    script_.answersAtOnce = true;
    script_.givesNeither = true;
    EXPECT_DEATH((void)list(), "either displays or an error");
}

TEST_F(ViewerScreenCaptureKitCapture, ADisplayOutlivesItsListing) {
    script_.displays = {display(7)};
    std::optional<ViewerNativeDisplay> kept;
    {
        const Listing listing = list();
        kept = (**listing)[0];
    }
    script_.displays.clear();
    (void)list();
    const auto stream = capture_->makeStream(*kept, ViewerStreamSettings());
    EXPECT_NE(stream, nullptr);
}

TEST_F(ViewerScreenCaptureKitCapture, ScreensHaveTheNumberOfTheirDisplayAndTheirName) {
    script_.screens = {{std::int64_t(1), "Built-in Display"},
                       {std::int64_t(4'000'000'000), "Телевизор"}};
    EXPECT_THAT(capture_->screens(), ElementsAre(ViewerNativeScreen{1U, "Built-in Display"},
                                                 ViewerNativeScreen{4'000'000'000U, "Телевизор"}));
}

TEST_F(ViewerScreenCaptureKitCapture, AScreenWhoseNumberIsMissingOrOfAnotherTypeHasNone) {
    script_.screens = {{{}, "without"}, {std::string("1"), "text"}, {std::int64_t(2), "number"}};
    EXPECT_THAT(capture_->screens(), ElementsAre(ViewerNativeScreen{std::nullopt, "without"},
                                                 ViewerNativeScreen{std::nullopt, "text"},
                                                 ViewerNativeScreen{2U, "number"}));
}

TEST_F(ViewerScreenCaptureKitCapture, AScreenWithoutANameHasAnEmptyOne) {
    script_.screens = {{std::int64_t(1), std::nullopt}};
    EXPECT_THAT(capture_->screens(), ElementsAre(ViewerNativeScreen{1U, ""}));
}

}  // namespace
}  // namespace velmora
