#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <future>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "core/coordination/ViewerCaptureCoordinator.h"
#include "core/runtime/ViewerIsolation.h"
#include "core/runtime/ViewerTaskHandle.h"
#include "tests/support/runtime/ManualClock.h"
#include "tests/support/runtime/PooledExecutors.h"

namespace velmora {
namespace {

using Frame = std::optional<ViewerHostFrame>;

constexpr std::int64_t sessionLimit = 4;
constexpr std::size_t viewers = 8;
constexpr int requestsPerViewer = 200;

/// A capture on a queue of its own, so that every request for a frame and every stop leaves the
/// coordinator and comes back.
class QueuedSession final : public ViewerHostCaptureSession,
                            public std::enable_shared_from_this<QueuedSession> {
  public:
    QueuedSession(ViewerExecutor queue, std::string display)
        : isolation_(std::move(queue)), display_(std::move(display)) {}

    ViewerTask<Frame> latestFrame() override { return isolation_.run(answer(shared_from_this())); }
    ViewerTask<void> stop() override { return isolation_.run(end(shared_from_this())); }

    std::atomic<int> stops{0};

  private:
    using Self = std::shared_ptr<QueuedSession>;

    static ViewerTask<Frame> answer(Self self) {
        co_return ViewerHostFrame(ViewerBytes("JPEG"), self->display_);
    }
    static ViewerTask<void> end(Self self) {
        ++self->stops;
        co_return;
    }

    const ViewerIsolation isolation_;
    const std::string display_;
};

/// Makes captures of any display. Its list is unguarded: only the coordinator's isolation keeps two
/// threads from being here at once.
class UnguardedSource final : public ViewerHostCaptureSource {
  public:
    explicit UnguardedSource(PooledExecutors& executors) : executors_(executors) {}

    ViewerTask<ViewerHostDisplays> displays() override { co_return ViewerHostDisplays(); }
    std::shared_ptr<ViewerHostCaptureSession> makeSession(const std::string& display) override {
        sessions.push_back(
            std::make_shared<QueuedSession>(executors_.makeSerialExecutor("session"), display));
        return sessions.back();
    }

    std::vector<std::shared_ptr<QueuedSession>> sessions;

  private:
    PooledExecutors& executors_;
};

/// Asks for one display after another, in an order of its own, and counts the frames.
ViewerTask<void> view(std::shared_ptr<ViewerCaptureCoordinator> coordinator, std::uint32_t seed,
                      std::promise<int>* done) {
    constexpr std::array ids{"1", "2", "3", "4", "5", "6"};
    std::mt19937 random(seed);
    int frames = 0;
    for (int request = 0; request < requestsPerViewer; ++request) {
        std::string id = ids.at(random() % ids.size());
        const auto frame = co_await coordinator->frame(id);
        if (frame) {
            EXPECT_EQ(frame->sequence, id);
            ++frames;
        }
    }
    done->set_value(frames);
}

ViewerTask<void> shutDown(std::shared_ptr<ViewerCaptureCoordinator> coordinator,
                          std::promise<void>* done) {
    co_await coordinator->shutdown();
    done->set_value();
}

TEST(ViewerCaptureCoordinator, ServesExpiresAndShutsDownOnSeveralThreads) {
    PooledExecutors executors;
    const auto clock = std::make_shared<ManualClock>();
    const auto source = std::make_shared<UnguardedSource>(executors);
    // The clock stands still: a capture has been idle for long enough as soon as its timer rings.
    const auto coordinator = std::make_shared<ViewerCaptureCoordinator>(
        source, sessionLimit, std::chrono::seconds(0), executors, clock);
    std::array<std::promise<int>, viewers> done;
    for (std::uint32_t viewer = 0; viewer < viewers; ++viewer) {
        (void)startTask(executors.taskExecutor(), view(coordinator, viewer, &done.at(viewer)));
    }
    int frames = 0;
    for (auto& viewer : done) {
        auto outcome = viewer.get_future();
        while (outcome.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
            clock->ring();
            std::this_thread::yield();
        }
        frames += outcome.get();
    }
    std::promise<void> isShutDown;
    (void)startTask(executors.taskExecutor(), shutDown(coordinator, &isShutDown));
    isShutDown.get_future().wait();
    executors.join();

    EXPECT_GT(frames, 0);
    // How many captures expired before the last request is the scheduler's choice.
    EXPECT_FALSE(source->sessions.empty());
    EXPECT_EQ(clock->pendingTimers(), 0U);
    for (const auto& session : source->sessions) {
        EXPECT_EQ(session->stops, 1);
    }
}

}  // namespace
}  // namespace velmora
