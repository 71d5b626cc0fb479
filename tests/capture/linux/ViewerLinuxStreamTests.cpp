#include "core/capture/linux/ViewerLinuxStream.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/capture/PaintedPicture.h"
#include "tests/support/runtime/BorrowedClock.h"
#include "tests/support/runtime/CallLog.h"
#include "tests/support/runtime/SimulatedWorld.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;
using Calls = std::vector<std::string>;

ViewerStreamSettings settings() {
    ViewerStreamSettings result;
    result.frameIntervalValue = 1;
    result.frameIntervalTimescale = 25;
    return result;
}

/// A stream whose capture is the test.
class ScriptedStream final : public ViewerLinuxStream {
  public:
    ScriptedStream(SimulatedWorld& world, CallLog calls,
                   const ViewerStreamSettings& given = settings())
        : ViewerLinuxStream(world.mainExecutor(), borrowedClock(world), given),
          calls_(std::move(calls)) {}

    using ViewerLinuxStream::end;
    using ViewerLinuxStream::frameInterval;
    using ViewerLinuxStream::isStopRequested;

    void deliver() {
        const PaintedPicture picture(200);
        ViewerLinuxStream::deliver(picture.buffer());
    }

  private:
    void begin(const std::string& queueLabel) override { calls_->push_back("begin " + queueLabel); }
    void giveUp() override { calls_->push_back("give up"); }

    const CallLog calls_;
};

/// Writes down what it is told.
class LoggingReceiver final : public ViewerStreamReceiver {
  public:
    explicit LoggingReceiver(CallLog calls) : calls_(std::move(calls)) {}

    void streamDidOutput(const ViewerStreamOutput& output) override {
        const bool isWhole = output.type == ViewerStreamOutputType::screen && output.isValid &&
                             output.hasAttachments &&
                             output.status == ViewerStreamOutput::completeStatus &&
                             output.pixels != nullptr;
        calls_->push_back(isWhole ? "picture" : "something else");
    }
    void streamDidStop() override {
        calls_->push_back("notice");
        whenTold();
    }

    std::function<void()> whenTold = [] {};

  private:
    const CallLog calls_;
};

/// A stream with a receiver; its course is written down in one log.
class ViewerLinuxStreamTest : public testing::Test {
  protected:
    ViewerLinuxStreamTest() { EXPECT_TRUE(stream_->addOutput(receiver_, "queue")); }

    ViewerDisplayStream::Completion tell(const std::string& what) {
        return [calls = calls_, what](bool succeeded) {
            calls->push_back(what + (succeeded ? " succeeded" : " failed"));
        };
    }
    void start() { stream_->start(tell("start")); }
    void stop() { stream_->stop(tell("stop")); }

    SimulatedWorld world_;
    const CallLog calls_ = makeCallLog();
    std::shared_ptr<LoggingReceiver> receiver_ = std::make_shared<LoggingReceiver>(calls_);
    std::shared_ptr<ScriptedStream> stream_ = std::make_shared<ScriptedStream>(world_, calls_);
};

TEST_F(ViewerLinuxStreamTest, AStartCompletesWithTheFirstPicture) {
    start();
    stream_->deliver();
    stream_->deliver();
    world_.advance(1s);

    EXPECT_EQ(*calls_, (Calls{"begin queue", "picture", "start succeeded", "picture"}));
}

TEST_F(ViewerLinuxStreamTest, AStartWithoutAPictureCompletesAfterATenthOfASecond) {
    start();
    world_.advance(99ms);
    EXPECT_EQ(*calls_, (Calls{"begin queue"}));
    world_.advance(1ms);
    stream_->deliver();

    EXPECT_EQ(*calls_, (Calls{"begin queue", "start succeeded", "picture"}));
}

TEST_F(ViewerLinuxStreamTest, AStreamStartsOnce) {
    start();
    stream_->deliver();

    start();
    EXPECT_FALSE(stream_->addOutput(receiver_, "late"));
    stream_->deliver();

    EXPECT_EQ(*calls_,
              (Calls{"begin queue", "picture", "start succeeded", "start failed", "picture"}));
}

TEST_F(ViewerLinuxStreamTest, WithoutAReceiverNothingStarts) {
    ScriptedStream bare(world_, calls_);

    bare.start(tell("start"));

    EXPECT_EQ(*calls_, (Calls{"start failed"}));
}

TEST_F(ViewerLinuxStreamTest, AStreamThatIsStoppedBeforeItsStartNeverStarts) {
    stop();
    start();

    EXPECT_EQ(*calls_, (Calls{"stop succeeded", "start failed"}));
}

TEST_F(ViewerLinuxStreamTest, AStopCompletesWhenTheCaptureHasEnded) {
    start();
    stream_->deliver();
    EXPECT_FALSE(stream_->isStopRequested());
    stop();
    EXPECT_TRUE(stream_->isStopRequested());
    stop();
    calls_->clear();

    stream_->end();
    stop();

    EXPECT_EQ(*calls_, (Calls{"stop succeeded", "stop succeeded", "stop succeeded"}));
}

TEST_F(ViewerLinuxStreamTest, AStopFailsAStartBeforeTheCaptureIsGivenUp) {
    start();
    stop();
    stream_->end();
    world_.advance(1s);

    EXPECT_EQ(*calls_, (Calls{"begin queue", "start failed", "give up", "stop succeeded"}));
}

TEST_F(ViewerLinuxStreamTest, ACaptureThatEndsBeforeItsFirstPictureFailsTheStart) {
    start();
    stream_->end();
    world_.advance(1s);

    EXPECT_EQ(*calls_, (Calls{"begin queue", "start failed"}));
}

TEST_F(ViewerLinuxStreamTest, ACaptureThatEndsAfterTheStartGivesOneNotice) {
    start();
    world_.advance(100ms);
    stream_->end();
    stream_->end();
    stop();

    EXPECT_EQ(*calls_, (Calls{"begin queue", "start succeeded", "notice", "stop succeeded"}));
}

TEST_F(ViewerLinuxStreamTest, AStopDuringTheNoticeCompletesAfterIt) {
    start();
    stream_->deliver();
    calls_->clear();
    receiver_->whenTold = [this] {
        stop();
        calls_->push_back("told");
    };

    stream_->end();

    EXPECT_EQ(*calls_, (Calls{"notice", "told", "stop succeeded"}));
}

TEST_F(ViewerLinuxStreamTest, AnEndDuringTheNoticeGivesNoOther) {
    start();
    stream_->deliver();
    calls_->clear();
    receiver_->whenTold = [this] {
        if (calls_->size() == 1) {
            stream_->end();
        }
    };

    stream_->end();

    EXPECT_EQ(*calls_, (Calls{"notice"}));
}

TEST_F(ViewerLinuxStreamTest, AStreamIsStoppedWhenTheLastCopyOfWhatWasHandedOutGoes) {
    std::shared_ptr<ViewerDisplayStream> handedOut = ViewerLinuxStream::handedOut(stream_);
    std::shared_ptr<ViewerDisplayStream> copy = handedOut;
    handedOut->start(tell("start"));
    stream_->deliver();
    calls_->clear();

    handedOut.reset();
    EXPECT_EQ(*calls_, Calls());
    copy.reset();

    EXPECT_EQ(*calls_, (Calls{"give up"}));
    stream_->end();
    EXPECT_EQ(*calls_, (Calls{"give up"}));
}

TEST_F(ViewerLinuxStreamTest, WhatWasHandedOutMayGoWithoutAStart) {
    ViewerLinuxStream::handedOut(stream_).reset();
    EXPECT_TRUE(stream_->isStopRequested());
    start();

    EXPECT_EQ(*calls_, (Calls{"start failed"}));
}

TEST_F(ViewerLinuxStreamTest, TheTimeBetweenPicturesIsThatOfTheSettings) {
    EXPECT_EQ(stream_->frameInterval(), 40ms);
    ViewerStreamSettings given = settings();
    given.frameIntervalValue = 0;
    EXPECT_EQ(ScriptedStream(world_, calls_, given).frameInterval(), 0ms);
    given.frameIntervalValue = 2;
    given.frameIntervalTimescale = 1;
    EXPECT_EQ(ScriptedStream(world_, calls_, given).frameInterval(), 2s);
}

TEST(ViewerLinuxStreamDeathTest, NeedsATimeBetweenItsPictures) {
    SimulatedWorld world;
    const auto make = [&](std::int64_t value, std::int32_t timescale) {
        ViewerStreamSettings wrong = settings();
        wrong.frameIntervalValue = value;
        wrong.frameIntervalTimescale = timescale;
        ScriptedStream(world, makeCallLog(), wrong);
    };
    EXPECT_DEATH(make(-1, 25), "a stream has a time between its pictures");
    EXPECT_DEATH(make(1, 0), "a stream has a time between its pictures");
}

}  // namespace
}  // namespace velmora
