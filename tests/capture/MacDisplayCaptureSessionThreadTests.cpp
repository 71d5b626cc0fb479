#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "core/capture/MacDisplayCaptureSession.h"
#include "core/runtime/ViewerTaskHandle.h"
#include "core/runtime/linux/ViewerBoottimeClock.h"
#include "core/runtime/linux/ViewerLoopExecutors.h"
#include "tests/support/capture/PaintedPicture.h"

namespace velmora {
namespace {

constexpr int streamCount = 30;
constexpr int picturesOfAStream = 20;

/// A stream with a thread of its own, which answers the start when it has delivered the first of
/// some pictures, and dies after the last.
class ShortLivedStream final : public ViewerDisplayStream {
  public:
    ShortLivedStream() = default;
    ShortLivedStream(const ShortLivedStream&) = delete;
    ShortLivedStream& operator=(const ShortLivedStream&) = delete;
    ~ShortLivedStream() override { thread_.join(); }

    bool addOutput(std::shared_ptr<ViewerStreamReceiver> receiver, std::string) override {
        receiver_ = std::move(receiver);
        return true;
    }
    void start(Completion completion) override {
        thread_ = std::thread([receiver = receiver_, answer = std::move(completion)] {
            for (int picture = 1; picture <= picturesOfAStream; ++picture) {
                const PaintedPicture painted(static_cast<std::uint8_t>(picture * 8));
                receiver->streamDidOutput(painted.complete());
                if (picture == 1) {
                    answer(true);
                }
            }
            receiver->streamDidStop();
        });
    }
    void stop(Completion completion) override { completion(true); }

  private:
    std::shared_ptr<ViewerStreamReceiver> receiver_;
    std::thread thread_;
};

class ShortLivedCapture final : public ViewerScreenCapture {
  public:
    bool preflightAccess() override { return true; }
    void lookAtAccess(AccessCompletion completion) override {
        completion(ViewerCaptureAccess::granted);
    }
    void requestAccess(RequestCompletion completion) override { completion(true); }
    void shareableDisplays(DisplaysCompletion completion) override { completion(nullptr); }
    std::shared_ptr<ViewerDisplayStream> makeStream(const ViewerNativeDisplay&,
                                                    const ViewerStreamSettings&) override {
        ++streams;
        return std::make_shared<ShortLivedStream>();
    }

    int streams = 0;
};

ViewerTask<void> askUntilEnoughStreamsDied(boost::asio::io_context* loop,
                                           std::shared_ptr<ShortLivedCapture> capture,
                                           std::shared_ptr<MacDisplayCaptureSession> session,
                                           std::vector<std::string>* labels) {
    while (capture->streams < streamCount) {
        const auto frame = co_await session->latestFrame();
        if (frame.has_value()) {
            labels->emplace_back(frame->sequence);
        }
    }
    co_await session->stop();
    loop->stop();
}

std::uint64_t counterOf(const std::string& label) {
    return std::stoull(label.substr(label.rfind('-') + 1));
}

TEST(MacDisplayCaptureSession, SurvivesStreamsThatDeliverAndDieOnThreadsOfTheirOwn) {
    boost::asio::io_context loop;
    ViewerLoopExecutors executors(loop.get_executor());
    const auto capture = std::make_shared<ShortLivedCapture>();
    std::vector<std::string> labels;
    {
        auto session = std::make_shared<MacDisplayCaptureSession>(
            ViewerNativeDisplay{1, "A", 1920, 1080, true}, capture, executors,
            std::make_shared<ViewerBoottimeClock>(loop));
        (void)startTask(executors.taskExecutor(),
                        askUntilEnoughStreamsDied(&loop, capture, std::move(session), &labels));
        loop.run();
    }
    EXPECT_EQ(capture->streams, streamCount);
    EXPECT_GE(labels.size(), static_cast<std::size_t>(streamCount) / 2);
    for (std::size_t later = 1; later < labels.size(); ++later) {
        EXPECT_GE(counterOf(labels[later]), counterOf(labels[later - 1]));
    }
}

}  // namespace
}  // namespace velmora
