#include "core/capture/linux/wayland/ViewerWaylandScreenCapture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <iterator>
#include <vector>

#include "tests/capture/linux/wayland/GrantedWorld.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;
using Access = ViewerCaptureAccess;

class ViewerWaylandScreenCaptureTest : public testing::Test {
  protected:
    ViewerWaylandScreenCaptureTest() { session_.outputs->tell(GrantedWorld::twoOutputs()); }

    GrantedWorld session_;
};

TEST_F(ViewerWaylandScreenCaptureTest, BeforeTheRequestNothingIsGrantedAndAllCanBeAsked) {
    EXPECT_FALSE(session_.capture->preflightAccess());
    EXPECT_EQ(session_.access(), Access::requestable);
    EXPECT_TRUE(session_.listed()->empty());
    EXPECT_EQ(session_.outputs->starts, 0);
    EXPECT_FALSE(session_.screenCast->isAsked());
}

TEST_F(ViewerWaylandScreenCaptureTest, TheRequestWaitsForThePersonForHowLongItTakes) {
    session_.request();
    session_.world.advance(24h);
    EXPECT_TRUE(session_.answers.empty());
    EXPECT_FALSE(session_.capture->preflightAccess());
    EXPECT_EQ(session_.access(), Access::requestable);
    session_.screenCast->allow(GrantedWorld::bothStreams());
    session_.world.settle();
    session_.answerAll();
    EXPECT_EQ(session_.answers, std::vector<bool>{true});
}

TEST_F(ViewerWaylandScreenCaptureTest, WhatIsGrantedIsListed) {
    session_.grant({GrantedWorld::stream(42, "DP-2")});
    EXPECT_EQ(session_.answers, std::vector<bool>{true});
    EXPECT_TRUE(session_.capture->preflightAccess());
    EXPECT_EQ(session_.access(), Access::granted);
    ASSERT_EQ(session_.listed()->size(), 1U);
    EXPECT_EQ(session_.listed()->front().width, 1280);
    EXPECT_EQ(session_.listed(), session_.listed());
}

TEST_F(ViewerWaylandScreenCaptureTest, WhoIsAnsweredFindsTheGrantAndTheList) {
    bool isFound = false;
    session_.capture->requestAccess([&](bool) {
        isFound = session_.capture->preflightAccess() && session_.listed()->size() == 2;
    });
    session_.screenCast->allow(GrantedWorld::bothStreams());
    session_.world.settle();
    session_.answerAll();
    EXPECT_TRUE(isFound);
}

TEST_F(ViewerWaylandScreenCaptureTest, ARefusalIsToldWithItsReason) {
    session_.request();
    session_.screenCast->refuse(Access::declined);
    EXPECT_EQ(session_.answers, std::vector<bool>{false});
    EXPECT_EQ(session_.access(), Access::declined);
    EXPECT_FALSE(session_.capture->preflightAccess());
}

TEST_F(ViewerWaylandScreenCaptureTest, APortalThatIsMissingIsToldSo) {
    session_.request();
    session_.screenCast->refuse(Access::portalMissing);
    EXPECT_EQ(session_.access(), Access::portalMissing);
}

TEST_F(ViewerWaylandScreenCaptureTest, AGrantWithoutAWholeScreenIsNone) {
    ViewerGrantedStream window = GrantedWorld::sizedStream(41, 1920);
    window.sourceType = ViewerGrantedStream::window;
    session_.grant({window});
    EXPECT_EQ(session_.answers, std::vector<bool>{false});
    EXPECT_EQ(session_.access(), Access::noWholeScreen);
    EXPECT_FALSE(session_.capture->preflightAccess());
}

TEST_F(ViewerWaylandScreenCaptureTest, KWinsNamesOfNodesTellTheOutputs) {
    session_.nodes = {{41, std::nullopt, "kwin-screencast-DP-2"}};
    session_.grant({GrantedWorld::sizedStream(41, 1280)});
    EXPECT_EQ(session_.listed()->front().width, 1280);
}

TEST_F(ViewerWaylandScreenCaptureTest, APortalThatOpensNoPipeWireIsSilent) {
    session_.request();
    session_.screenCast->allow(GrantedWorld::bothStreams());
    session_.world.settle();
    session_.screenCast->openings.front()(-1);
    session_.world.settle();
    EXPECT_EQ(session_.answers, std::vector<bool>{false});
    EXPECT_EQ(session_.access(), Access::portalSilent);
}

TEST_F(ViewerWaylandScreenCaptureTest, ACallThatIsNeverAnsweredHasItsLimit) {
    session_.request();
    session_.screenCast->allow(GrantedWorld::bothStreams());
    session_.world.settle();
    session_.world.advance(ViewerScreenCapture::answerLimit);
    EXPECT_EQ(session_.answers, std::vector<bool>{false});
    EXPECT_EQ(session_.access(), Access::portalSilent);
}

TEST_F(ViewerWaylandScreenCaptureTest, ADescriptorThatComesTooLateIsClosed) {
    const auto descriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    const auto before = descriptors();
    session_.request();
    session_.screenCast->allow(GrantedWorld::bothStreams());
    session_.world.settle();
    session_.world.advance(ViewerScreenCapture::answerLimit);
    session_.answerAll();
    EXPECT_EQ(descriptors(), before);
    EXPECT_TRUE(session_.remotes.empty());
}

TEST_F(ViewerWaylandScreenCaptureTest, PipeWireThatTellsNoNodesGrantsNothing) {
    session_.nodes = std::nullopt;
    session_.grant(GrantedWorld::bothStreams());
    EXPECT_EQ(session_.access(), Access::portalSilent);
}

TEST_F(ViewerWaylandScreenCaptureTest, PipeWireThatCannotBeUsedGrantsNothing) {
    session_.refusesRemotes = true;
    session_.grant(GrantedWorld::bothStreams());
    EXPECT_EQ(session_.access(), Access::portalSilent);
}

TEST_F(ViewerWaylandScreenCaptureTest, ACompositorThatDoesNotAnswerGrantsNothing) {
    session_.outputs->leave();
    session_.grant(GrantedWorld::bothStreams());
    EXPECT_TRUE(session_.answers.empty());
    session_.world.advance(ViewerScreenCapture::answerLimit);
    EXPECT_EQ(session_.answers, std::vector<bool>{false});
    EXPECT_EQ(session_.access(), Access::noAnswer);
}

TEST_F(ViewerWaylandScreenCaptureTest, ACompositorThatAnswersInTimeIsWaitedFor) {
    session_.outputs->leave();
    session_.grant(GrantedWorld::bothStreams());
    session_.world.advance(3s);
    session_.outputs->tell(GrantedWorld::twoOutputs());
    session_.world.settle();
    EXPECT_EQ(session_.answers, std::vector<bool>{true});
}

TEST_F(ViewerWaylandScreenCaptureTest, EachDisplaysStreamIsItsOwn) {
    session_.grant({GrantedWorld::stream(42, "DP-2"), GrantedWorld::stream(41, "DP-1")});
    const auto displays = *session_.listed();
    EXPECT_TRUE(session_.starts(displays.at(0)));
    EXPECT_TRUE(session_.starts(displays.at(1)));
    ASSERT_EQ(session_.remote().streams.size(), 2U);
    EXPECT_EQ(session_.remote().streams[0].granted.node, 41U);
    EXPECT_EQ(session_.remote().streams[1].granted.node, 42U);
    EXPECT_EQ(session_.remote().streams[0].course->settings, session_.settings);
}

TEST_F(ViewerWaylandScreenCaptureTest, NothingIsStreamedByItself) {
    session_.grant(GrantedWorld::bothStreams());
    (void)session_.listed();
    session_.world.advance(1h);
    EXPECT_TRUE(session_.remote().streams.empty());
    EXPECT_EQ(session_.world.pendingTimers(), 0U);
}

TEST_F(ViewerWaylandScreenCaptureTest, OnlyAnOutputBeyondDoubtIsCopied) {
    session_.outputs->offersScreenCopy = true;
    session_.outputs->tell({FakeOutputs::output(1, 0, 1920), FakeOutputs::output(2, 1920, 1920),
                            FakeOutputs::output(3, 3840, 1280)});
    session_.grant({GrantedWorld::sizedStream(41, 1920), GrantedWorld::sizedStream(43, 1280)});
    const auto displays = *session_.listed();
    ASSERT_EQ(displays.size(), 2U);
    EXPECT_TRUE(session_.starts(displays.at(0)));
    EXPECT_TRUE(session_.starts(displays.at(1)));
    const auto& streams = session_.remote().streams;
    ASSERT_TRUE(streams[0].hasStill);
    EXPECT_EQ(streams[0].granted.node, 43U);
    EXPECT_TRUE(streams[0].still([](const ViewerPixelBuffer&) {}));
    EXPECT_EQ(session_.copied, std::vector{FakeOutputs::output(3, 3840, 1280)});
    EXPECT_FALSE(streams[1].hasStill);
}

TEST_F(ViewerWaylandScreenCaptureTest, EitherWayToCopyWillDo) {
    session_.outputs->offersImageCopy = true;
    session_.outputs->tell(GrantedWorld::twoOutputs());
    session_.grant(GrantedWorld::bothStreams());
    EXPECT_TRUE(session_.starts(session_.listed()->front()));
    EXPECT_TRUE(session_.remote().streams.front().hasStill);
}

TEST_F(ViewerWaylandScreenCaptureTest, ACompositorWithoutCopiesIsNotAskedForOne) {
    session_.grant(GrantedWorld::bothStreams());
    EXPECT_TRUE(session_.starts(session_.listed()->front()));
    EXPECT_FALSE(session_.remote().streams.front().hasStill);
}

TEST_F(ViewerWaylandScreenCaptureTest, ADisplayThatIsNotListedHasNoStream) {
    session_.grant({GrantedWorld::stream(41, "DP-1")});
    ViewerNativeDisplay display = session_.listed()->front();
    display.uuidText = "another";
    EXPECT_FALSE(session_.starts(display));
    display.uuidText = std::nullopt;
    EXPECT_FALSE(session_.starts(display));
}

TEST_F(ViewerWaylandScreenCaptureTest, AnInterruptionLeavesTheListAndStopsTheStreams) {
    session_.grant(GrantedWorld::bothStreams());
    const auto before = session_.listed();
    session_.screenCast->interrupt();
    session_.world.settle();
    EXPECT_TRUE(session_.capture->preflightAccess());
    EXPECT_EQ(session_.listed(), before);
    EXPECT_FALSE(session_.starts(before->front()));
    EXPECT_TRUE(session_.remote().hasEndedStreams);
}

TEST_F(ViewerWaylandScreenCaptureTest, ALossThatIsToldAfterTheInterruptionIsItsReason) {
    session_.grant(GrantedWorld::bothStreams());
    session_.screenCast->interrupt();
    session_.remote().lose();
    session_.world.settle();
    EXPECT_EQ(session_.screenCast->losses, 1);
    EXPECT_TRUE(session_.remote().isDestroyed);
    session_.renew(GrantedWorld::bothStreams());
    EXPECT_TRUE(session_.starts(session_.listed()->front()));
}

TEST_F(ViewerWaylandScreenCaptureTest, ARenewalServesTheSameDisplaysFromTheNewStreams) {
    session_.grant(GrantedWorld::bothStreams());
    const auto before = session_.listed();
    session_.screenCast->interrupt();
    session_.renew({GrantedWorld::stream(72, "DP-2"), GrantedWorld::stream(71, "DP-1")});
    EXPECT_EQ(session_.listed(), before);
    EXPECT_TRUE(session_.starts(before->front()));
    EXPECT_EQ(session_.remote().streams.front().granted.node, 71U);
    EXPECT_EQ(session_.remotes.size(), 2U);
}

TEST_F(ViewerWaylandScreenCaptureTest, UntilARenewalIsUsableStreamsFail) {
    session_.grant(GrantedWorld::bothStreams());
    const auto before = session_.listed();
    session_.screenCast->interrupt();
    session_.screenCast->renew(GrantedWorld::bothStreams());
    session_.world.settle();
    EXPECT_FALSE(session_.starts(before->front()));
    session_.answerAll();
    EXPECT_TRUE(session_.starts(before->front()));
}

TEST_F(ViewerWaylandScreenCaptureTest, ARenewalWithMoreServesOnlyWhatWasGrantedBefore) {
    session_.grant({GrantedWorld::stream(41, "DP-1")});
    session_.screenCast->interrupt();
    session_.renew(GrantedWorld::bothStreams());
    ASSERT_EQ(session_.listed()->size(), 1U);
    EXPECT_EQ(session_.listed()->front().width, 1920);
}

TEST_F(ViewerWaylandScreenCaptureTest, AChangeThatIsNoneLeavesTheStreamsAlone) {
    session_.grant(GrantedWorld::bothStreams());
    session_.screenCast->tellAgain();
    session_.world.settle();
    EXPECT_EQ(session_.remotes.size(), 1U);
    EXPECT_TRUE(session_.starts(session_.listed()->front()));
}

TEST_F(ViewerWaylandScreenCaptureTest, ThePersonsStopEndsEverything) {
    session_.grant(GrantedWorld::bothStreams());
    const auto before = session_.listed();
    session_.screenCast->stop();
    session_.world.settle();
    EXPECT_FALSE(session_.capture->preflightAccess());
    EXPECT_EQ(session_.access(), Access::declined);
    EXPECT_TRUE(session_.listed()->empty());
    EXPECT_FALSE(session_.starts(before->front()));
    EXPECT_TRUE(session_.remote().isDestroyed);
}

TEST_F(ViewerWaylandScreenCaptureTest, APipeWireThatIsLostIsToldOnceAndGivenUp) {
    session_.grant(GrantedWorld::bothStreams());
    session_.remote().lose();
    session_.world.settle();
    EXPECT_EQ(session_.screenCast->losses, 1);
    EXPECT_TRUE(session_.remote().isDestroyed);
    EXPECT_FALSE(session_.starts(session_.listed()->front()));
    session_.renew(GrantedWorld::bothStreams());
    EXPECT_TRUE(session_.starts(session_.listed()->front()));
}

TEST_F(ViewerWaylandScreenCaptureTest, TheEndOfAPipeWireThatWasGivenUpIsNoLoss) {
    session_.grant(GrantedWorld::bothStreams());
    session_.screenCast->interrupt();
    session_.screenCast->renew(GrantedWorld::bothStreams());
    session_.remote().lose();
    session_.world.settle();
    session_.answerAll();
    EXPECT_EQ(session_.screenCast->losses, 0);
    EXPECT_TRUE(session_.starts(session_.listed()->front()));
}

TEST_F(ViewerWaylandScreenCaptureTest, ARenewalWhosePipeWireDoesNotAnswerIsALossToo) {
    session_.grant(GrantedWorld::bothStreams());
    session_.screenCast->interrupt();
    session_.nodes = std::nullopt;
    session_.renew(GrantedWorld::bothStreams());
    EXPECT_EQ(session_.screenCast->losses, 1);
    EXPECT_EQ(session_.answers.size(), 1U);
}

TEST_F(ViewerWaylandScreenCaptureTest, AnInterruptionDuringTheRequestIsWaitedOut) {
    session_.request();
    session_.screenCast->allow(GrantedWorld::bothStreams());
    session_.world.settle();
    session_.screenCast->interrupt();
    session_.answerAll();
    session_.world.advance(1h);
    EXPECT_TRUE(session_.answers.empty());
    session_.renew(GrantedWorld::bothStreams());
    EXPECT_EQ(session_.answers, std::vector<bool>{true});
    EXPECT_EQ(session_.listed()->size(), 2U);
}

TEST_F(ViewerWaylandScreenCaptureTest, AStopDuringTheRequestIsARefusal) {
    session_.request();
    session_.screenCast->allow(GrantedWorld::bothStreams());
    session_.screenCast->stop();
    EXPECT_EQ(session_.answers, std::vector<bool>{false});
    EXPECT_EQ(session_.access(), Access::declined);
    session_.answerAll();
    EXPECT_EQ(session_.answers.size(), 1U);
}

TEST_F(ViewerWaylandScreenCaptureTest, NothingIsHeldByWhatWaitsForThePerson) {
    session_.request();
    const std::weak_ptr<ViewerWaylandScreenCapture> capture = session_.capture;
    session_.capture.reset();
    EXPECT_TRUE(capture.expired());
    session_.screenCast->allow(GrantedWorld::bothStreams());
    session_.outputs->tell(GrantedWorld::twoOutputs());
    EXPECT_TRUE(session_.answers.empty());
}

}  // namespace
}  // namespace velmora
