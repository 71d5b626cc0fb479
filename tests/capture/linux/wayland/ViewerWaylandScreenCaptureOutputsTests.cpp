#include "core/capture/linux/wayland/ViewerWaylandScreenCapture.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/capture/linux/wayland/GrantedWorld.h"

namespace velmora {
namespace {

class ViewerWaylandScreenCaptureOutputs : public testing::Test {
  protected:
    ViewerWaylandScreenCaptureOutputs() { session_.outputs->tell(GrantedWorld::twoOutputs()); }

    GrantedWorld session_;
};

TEST_F(ViewerWaylandScreenCaptureOutputs, AnOutputThatGoesLeavesTheListAndIsToldAtOnce) {
    session_.grant(GrantedWorld::bothStreams());
    const ViewerNativeDisplay gone = session_.listed()->back();
    session_.outputs->tell({FakeOutputs::output(1, 0, 1920)});
    EXPECT_EQ(session_.screenCast->outputChanges, 1);
    EXPECT_EQ(session_.listed()->size(), 1U);
    EXPECT_FALSE(session_.starts(gone));
}

TEST_F(ViewerWaylandScreenCaptureOutputs, WhatTheCompositorHasJustToldCountsForTheList) {
    session_.grant(GrantedWorld::bothStreams());
    session_.outputs->tellUnseen({FakeOutputs::output(1, 0, 1920)});
    EXPECT_EQ(session_.listed()->size(), 1U);
}

TEST_F(ViewerWaylandScreenCaptureOutputs, AnOutputThatIsResizedIsListedSoAndItsStreamToldOnce) {
    session_.grant(GrantedWorld::bothStreams());
    ViewerWaylandOutput turned = FakeOutputs::output(2, 1920, 1280);
    turned.transform = 1;
    session_.outputs->tell({FakeOutputs::output(1, 0, 1920), turned});
    turned.position.y = 5;
    session_.outputs->tell({FakeOutputs::output(1, 0, 1920), turned});
    ASSERT_EQ(session_.remote().resizes.size(), 1U);
    EXPECT_EQ(session_.remote().resizes.front().first, 42U);
    EXPECT_EQ(session_.remote().resizes.front().second,
              (ViewerWaylandOutput::PixelSize{1080, 1280}));
    EXPECT_EQ(session_.listed()->back().width, 1080);
}

TEST_F(ViewerWaylandScreenCaptureOutputs, AnOutputThatIsResizedWhileThereIsNoGrantIsOnlyListedSo) {
    session_.grant(GrantedWorld::bothStreams());
    session_.screenCast->interrupt();
    session_.remote().lose();
    session_.world.settle();
    session_.outputs->tell({FakeOutputs::output(1, 0, 800), FakeOutputs::output(2, 1920, 1280)});
    EXPECT_EQ(session_.listed()->front().width, 800);
}

TEST_F(ViewerWaylandScreenCaptureOutputs, AnOutputThatIsPluggedInLaterIsNotListed) {
    session_.grant({GrantedWorld::stream(41, "DP-1")});
    session_.outputs->tell({FakeOutputs::output(1, 0, 1920), FakeOutputs::output(2, 1920, 1280),
                            FakeOutputs::output(3, 3200, 800)});
    EXPECT_EQ(session_.listed()->size(), 1U);
    EXPECT_EQ(session_.screenCast->outputChanges, 1);
}

TEST_F(ViewerWaylandScreenCaptureOutputs, ThatTheOutputsBecomeKnownIsNoChangeOfTheirs) {
    session_.outputs->leave();
    session_.request();
    session_.outputs->tell(GrantedWorld::twoOutputs());
    EXPECT_EQ(session_.screenCast->outputChanges, 0);
}

TEST_F(ViewerWaylandScreenCaptureOutputs, EveryChangeOfTheOutputsIsTold) {
    session_.grant(GrantedWorld::bothStreams());
    for (int change = 1; change <= 3; ++change) {
        session_.outputs->tell({FakeOutputs::output(1, 0, 1920 + change)});
        EXPECT_EQ(session_.screenCast->outputChanges, change);
    }
}

TEST_F(ViewerWaylandScreenCaptureOutputs, ACompositorThatIsWaitedForMayLeaveAndComeBack) {
    session_.outputs->leave();
    session_.grant(GrantedWorld::bothStreams());
    session_.outputs->leave();
    session_.world.settle();
    EXPECT_TRUE(session_.answers.empty());
    session_.outputs->tell(GrantedWorld::twoOutputs());
    session_.world.settle();
    EXPECT_EQ(session_.answers, std::vector<bool>{true});
}

TEST_F(ViewerWaylandScreenCaptureOutputs, WithoutACompositorNoDisplayHasAStream) {
    session_.grant(GrantedWorld::bothStreams());
    const ViewerNativeDisplay display = session_.listed()->front();
    session_.outputs->leave();
    EXPECT_FALSE(session_.starts(display));
    session_.outputs->tell(GrantedWorld::twoOutputs());
    EXPECT_TRUE(session_.starts(display));
}

TEST_F(ViewerWaylandScreenCaptureOutputs, TheSessionsEndIsWatchedForWithoutARequest) {
    session_.capture->watchSession([] {});
    EXPECT_EQ(session_.outputs->starts, 1);
}

TEST_F(ViewerWaylandScreenCaptureOutputs, TheCompositorsEndIsTheSessions) {
    session_.grant(GrantedWorld::bothStreams());
    int ends = 0;
    session_.capture->watchSession([&] { ++ends; });
    EXPECT_EQ(session_.outputs->starts, 1);
    session_.outputs->leave();
    EXPECT_TRUE(session_.listed()->empty());
    EXPECT_EQ(ends, 0);
    session_.outputs->endSession();
    EXPECT_EQ(ends, 1);
}

}  // namespace
}  // namespace velmora
