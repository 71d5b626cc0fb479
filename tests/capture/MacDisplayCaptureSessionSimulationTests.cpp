#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/capture/MacDisplayCaptureSession.h"
#include "core/runtime/ViewerTaskHandle.h"
#include "tests/capture/ChanceScreenCapture.h"
#include "tests/support/runtime/BorrowedClock.h"
#include "tests/support/runtime/SimulatedWorld.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;
using Session = std::shared_ptr<MacDisplayCaptureSession>;
using Instant = ViewerContinuousClock::Instant;

/// One frame request, and what was known of the platform when it was made.
struct Request final {
    std::shared_ptr<ViewerTaskHandle> task;
    Instant begun;
    std::size_t firstLiving = 0;
    int failuresBefore = 0;
    std::uint64_t newestBefore = 0;
    bool isAfterStop = false;
    bool isCancelled = false;

    bool hasEnded = false;
    Instant ended;
    int failuresAfter = 0;
    std::optional<ViewerHostFrame> frame;
};

/// What happened over all seeds: a simulation in which something never happens proves nothing of
/// it.
struct Tally final {
    int frames = 0;
    int timeouts = 0;
    int overdueStarts = 0;
    int deaths = 0;
    int silentStarts = 0;
    int stopsDuringRequests = 0;
};

std::uint64_t counterOf(const ViewerHostFrame& frame) {
    const std::string label(frame.sequence);
    return std::stoull(label.substr(label.rfind('-') + 1));
}

/// One session on a chance platform, asked for frames by chance.
class SimulatedSession final {
  public:
    explicit SimulatedSession(std::uint64_t seed)
        : world_(seed),
          platform_(std::make_shared<ChanceScreenCapture>(world_)),
          session_(std::make_shared<MacDisplayCaptureSession>(
              ViewerNativeDisplay{1, "A", 1920, 1080, true}, platform_, world_,
              borrowedClock(world_))) {}

    void run(Tally& tally) {
        for (int step = 0; step < 40; ++step) {
            takeStep();
        }
        awaitEveryCall();
        EXPECT_EQ(world_.pendingTimers(), platform_->pendingEvents()) << "no timer is left";
        const bool isStopped = stopBegun_.has_value();
        session_ = nullptr;
        world_.runToEnd();
        for (const auto& request : requests_) {
            check(*request);
        }
        for (const auto& stream : platform_->streams()) {
            EXPECT_TRUE(!stream->isRunning || stream->defiesStop)
                << "stream " << stream->number << " records for ever";
        }
        platform_->letGo();
        for (const auto& stream : platform_->streams()) {
            checkEnd(*stream, isStopped);
        }
        count(tally);
    }

  private:
    void takeStep() {
        switch (world_.choose(8)) {
            case 0:
                cancelByChance();
                break;
            case 1:
                world_.advance(platform_->delayBelow(5000));
                break;
            case 2:
                stopByChance();
                break;
            default:
                ask();
                world_.advance(platform_->delayBelow(300) * world_.choose(2));
                break;
        }
    }

    void ask() {
        const auto request = std::make_shared<Request>();
        request->begun = world_.now();
        request->firstLiving = platform_->firstLiving();
        request->failuresBefore = platform_->failures();
        request->newestBefore = newest_;
        request->isAfterStop = stopBegun_.has_value();
        requests_.push_back(request);
        request->task = startTask(world_.taskExecutor(), ask(this, session_, request));
    }

    static ViewerTask<void> ask(SimulatedSession* self, Session session,
                                std::shared_ptr<Request> request) {
        request->frame = co_await session->latestFrame();
        request->ended = self->world_.now();
        request->failuresAfter = self->platform_->failures();
        request->hasEnded = true;
        if (request->frame.has_value()) {
            self->newest_ = std::max(self->newest_, counterOf(*request->frame));
        }
    }

    void cancelByChance() {
        if (!requests_.empty()) {
            Request& request = *requests_[world_.choose(requests_.size())];
            request.isCancelled = request.isCancelled || !request.hasEnded;
            request.task->cancel();
        }
    }

    void stopByChance() {
        if (world_.choose(6) != 0) {
            return;
        }
        for (const auto& request : requests_) {
            requestsAtStop_ += !stopBegun_ && !request->hasEnded ? 1 : 0;
        }
        ++stopsUnderWay_;
        world_.spawn(stop(this, session_, world_.now()));
        world_.settle();
        stopBegun_ = stopBegun_.value_or(world_.now());
    }

    static ViewerTask<void> stop(SimulatedSession* self, Session session, Instant begun) {
        co_await session->stop();
        --self->stopsUnderWay_;
        EXPECT_LE(self->world_.now() - begun, 4s);
    }

    void awaitEveryCall() {
        const auto isUnderWay = [](const auto& request) { return !request->hasEnded; };
        const Instant limit = world_.now() + 10s;
        while ((stopsUnderWay_ > 0 || std::ranges::any_of(requests_, isUnderWay)) &&
               world_.now() < limit) {
            world_.advance(100ms);
        }
        EXPECT_EQ(stopsUnderWay_, 0);
        EXPECT_EQ(std::ranges::count_if(requests_, isUnderWay), 0);
    }

    void check(const Request& request) const {
        const auto duration = request.ended - request.begun;
        // A start and the search for a first frame, or a start and the stop of what it started.
        EXPECT_LE(duration, stopBegun_ ? 8s : 6s);
        if (request.frame.has_value()) {
            EXPECT_FALSE(request.isAfterStop);
            EXPECT_GE(platform_->streamOf(request.frame->jpeg), request.firstLiving)
                << "a stale frame of a dead stream";
            EXPECT_GE(counterOf(*request.frame), request.newestBefore);
        } else {
            EXPECT_TRUE(duration >= 2s || request.isCancelled || stopBegun_ ||
                        request.failuresAfter > request.failuresBefore)
                << "an empty answer has a reason";
        }
    }

    static void checkEnd(const ChanceStreamCourse& stream, bool isStopped) {
        SCOPED_TRACE(stream.number);
        EXPECT_FALSE(stream.isRunning);
        EXPECT_TRUE(stream.isDestroyed);
        if (isStopped && stream.hasRun && !stream.hasDied) {
            EXPECT_TRUE(stream.wasStoppedRunning);
        }
    }

    void count(Tally& tally) const {
        for (const auto& request : requests_) {
            tally.frames += request->frame.has_value() ? 1 : 0;
            tally.timeouts += request->ended - request->begun >= 4s ? 1 : 0;
        }
        for (const auto& stream : platform_->streams()) {
            tally.overdueStarts += stream->hasRun && stream->startedLate ? 1 : 0;
            tally.deaths += stream->hasDied ? 1 : 0;
            tally.silentStarts += stream->ranInSilence ? 1 : 0;
        }
        tally.stopsDuringRequests += requestsAtStop_;
    }

    SimulatedWorld world_;
    const std::shared_ptr<ChanceScreenCapture> platform_;
    Session session_;
    std::vector<std::shared_ptr<Request>> requests_;
    std::uint64_t newest_ = 0;
    std::optional<Instant> stopBegun_;
    int stopsUnderWay_ = 0;
    int requestsAtStop_ = 0;
};

TEST(MacDisplayCaptureSession, KeepsItsPromisesWhateverThePlatformDoes) {
    Tally tally;
    for (std::uint64_t seed = 1; seed <= 400; ++seed) {
        SCOPED_TRACE(seed);
        SimulatedSession session(seed);
        session.run(tally);
        if (testing::Test::HasFailure()) {
            break;
        }
    }
    EXPECT_GT(tally.frames, 1000);
    EXPECT_GT(tally.timeouts, 50);
    EXPECT_GT(tally.overdueStarts, 30);
    EXPECT_GT(tally.deaths, 200);
    EXPECT_GT(tally.silentStarts, 10);
    EXPECT_GT(tally.stopsDuringRequests, 50);
}

}  // namespace
}  // namespace velmora
