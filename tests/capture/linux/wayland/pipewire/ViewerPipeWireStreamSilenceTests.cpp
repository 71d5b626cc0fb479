#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <future>
#include <memory>
#include <semaphore>

#include "core/capture/linux/wayland/pipewire/ViewerPipeWireCapture.h"
#include "tests/capture/linux/wayland/pipewire/CapturedNode.h"
#include "tests/support/pipewire/ScriptedPipeWireSource.h"

namespace velmora {
namespace {

using StillPicture = RemoteOnLoop::StillPicture;

constexpr std::uint32_t red = 0xff0000;
constexpr std::uint32_t blue = 0x0000ff;

StreamRecorder::Judgement isAll(std::uint32_t colour) {
    return [colour](const StreamRecorder::Picture& picture) { return picture.isAll(colour); };
}

/// A copy of an output of 1280 × 720 that is all of one colour.
bool handCopy(const std::function<void(const ViewerPixelBuffer&)>& receive, std::uint32_t colour) {
    const std::vector<std::uint32_t> pixels(std::size_t{1280} * 720, colour);
    ViewerPixelBuffer copy;
    copy.width = 1280;
    copy.height = 720;
    copy.pixels = reinterpret_cast<const std::uint8_t*>(pixels.data());
    copy.bytesPerRow = std::size_t{1280} * sizeof(std::uint32_t);
    receive(copy);
    return true;
}

/// A node, and how often a copy of it was asked for.
struct Cast final {
    CapturedNode& capture(const StillPicture& still) {
        const StillPicture counted =
            [count = asked, still](const std::function<void(const ViewerPixelBuffer&)>& receive) {
                ++*count;
                return still(receive);
            };
        node.emplace(remote, screen.node(), counted);
        EXPECT_TRUE(node->start());
        return *node;
    }

    PipeWireServer server;
    ScriptedPipeWireSource screen{server};
    RemoteOnLoop remote{server};
    const std::shared_ptr<std::atomic<int>> asked = std::make_shared<std::atomic<int>>(0);
    std::optional<CapturedNode> node;
};

/// A copy that comes when the test wants it.
class LateCopy final {
  public:
    StillPicture asked() {
        return [course = course_](const auto& receive) {
            thread_local ThreadsEnd end;
            end.course = course;
            course->isAsked.set_value();
            course->mayGoOn.get_future().wait();
            return handCopy(receive, red);
        };
    }
    void waitUntilAsked() { course_->isAsked.get_future().wait(); }
    /// Returns once it has been handed over.
    void come() {
        course_->mayGoOn.set_value();
        course_->isHandedOver.get_future().wait();
    }

  private:
    struct Course final {
        std::promise<void> isAsked;
        std::promise<void> mayGoOn;
        std::promise<void> isHandedOver;
    };
    /// Tells that a copy's thread has handed it over, which it does last.
    struct ThreadsEnd final {
        ~ThreadsEnd() { course->isHandedOver.set_value(); }
        std::shared_ptr<Course> course;
    };

    const std::shared_ptr<Course> course_ = std::make_shared<Course>();
};

TEST(ViewerPipeWireStreamSilence, ASilentNodeIsCopiedOnceAndReduced) {
    Cast cast;

    CapturedNode& node = cast.capture([](const auto& receive) { return handCopy(receive, red); });

    ASSERT_TRUE(node.recorder().waitForPicture(isAll(red)));
    EXPECT_EQ(node.recorder().latest().width, 640);
    EXPECT_EQ(node.recorder().latest().height, 360);
    EXPECT_TRUE(node.recorder().staysStill(std::chrono::milliseconds(500)));
    EXPECT_EQ(*cast.asked, 1);
}

TEST(ViewerPipeWireStreamSilence, AfterACopyTheNodesOwnPicturesAreShown) {
    Cast cast;
    CapturedNode& node = cast.capture([](const auto& receive) { return handCopy(receive, red); });
    ASSERT_TRUE(node.recorder().waitForPicture(isAll(red)));

    ASSERT_TRUE(cast.screen.send(blue));

    EXPECT_TRUE(node.recorder().waitForPicture(isAll(blue)));
}

TEST(ViewerPipeWireStreamSilence, ARefusedCopyDeliversNothing) {
    Cast cast;
    const auto isAsked = std::make_shared<std::counting_semaphore<>>(0);

    CapturedNode& node = cast.capture([isAsked](const auto& receive) {
        (void)handCopy(receive, red);
        isAsked->release();
        return false;
    });

    isAsked->acquire();
    EXPECT_TRUE(node.recorder().staysStill(std::chrono::milliseconds(200)));
    EXPECT_EQ(node.recorder().frames(), 0U);
    EXPECT_EQ(node.recorder().stops(), 0U);
}

TEST(ViewerPipeWireStreamSilence, ARefusedCopyIsAskedForAgainWhileTheNodeIsSilent) {
    Cast cast;

    CapturedNode& node = cast.capture(
        [asked = cast.asked](const auto& receive) { return *asked > 2 && handCopy(receive, red); });

    EXPECT_TRUE(node.recorder().waitForPicture(isAll(red)));
    EXPECT_TRUE(node.recorder().staysStill(std::chrono::milliseconds(1500)));
    EXPECT_EQ(*cast.asked, 3);
}

TEST(ViewerPipeWireStreamSilence, ANodeThatNeverShowsAnythingIsGivenUp) {
    Cast cast;

    CapturedNode& node = cast.capture([](const auto&) { return false; });

    EXPECT_TRUE(node.recorder().waitForStop());
    EXPECT_EQ(*cast.asked, ViewerPipeWireCapture::mostSilences);
}

TEST(ViewerPipeWireStreamSilence, ANodeThatNeverShowsAnythingAndHasNoCopyIsGivenUp) {
    Cast cast;
    CapturedNode node(cast.remote, cast.screen.node());
    ASSERT_TRUE(node.start());

    EXPECT_TRUE(node.recorder().waitForStop());
}

TEST(ViewerPipeWireStreamSilence, ARefusedCopyIsNotAskedForAgainOnceTheNodeShowsSomething) {
    Cast cast;
    CapturedNode& node = cast.capture([](const auto&) { return false; });
    ASSERT_TRUE(node.receivesNext(cast.screen, blue));
    const int asked = *cast.asked;

    EXPECT_TRUE(node.recorder().staysStill(std::chrono::milliseconds(1500)));
    EXPECT_LE(*cast.asked, asked + 1);
}

TEST(ViewerPipeWireStreamSilence, ANodeThatShowsSomethingIsNotCopied) {
    // On a busy machine its picture may come too late, but not every time.
    constexpr int attempts = 10;
    bool isLeftAlone = false;
    for (int attempt = 0; attempt < attempts && !isLeftAlone; ++attempt) {
        Cast cast;
        CapturedNode& node = cast.capture([](const auto&) { return false; });
        ASSERT_TRUE(node.receivesNext(cast.screen, blue));

        EXPECT_TRUE(node.recorder().staysStill(std::chrono::milliseconds(500)));
        isLeftAlone = *cast.asked == 0;
    }
    EXPECT_TRUE(isLeftAlone);
}

TEST(ViewerPipeWireStreamSilence, AReaderThatIsLateLeavesTheSourceABuffer) {
    Cast cast;
    const auto mayGoOn = std::make_shared<std::promise<void>>();
    const std::shared_future<void> goesOn = mayGoOn->get_future().share();
    CapturedNode node(
        cast.remote, cast.screen.node(), [](const auto&) { return false; },
        [goesOn](const StreamRecorder::Picture&) {
            goesOn.wait();
            return true;
        });
    std::future<bool> isStarted = std::async(std::launch::async, [&] { return node.start(); });
    ASSERT_TRUE(cast.screen.send(blue));
    ASSERT_TRUE(isStarted.get());
    constexpr int many = 50;
    for (int i = 0; i < many; ++i) {
        ASSERT_TRUE(cast.screen.send(blue));
    }
    ASSERT_TRUE(cast.screen.send(red));
    mayGoOn->set_value();

    EXPECT_TRUE(node.recorder().waitForPicture(isAll(red)));
}

TEST(ViewerPipeWireStreamSilence, ACopyThatTakesLongHoldsNothingUpAndIsNotShownAfterwards) {
    Cast cast;
    const auto isAsked = std::make_shared<std::promise<void>>();
    const auto mayGoOn = std::make_shared<std::promise<void>>();
    const auto isDone = std::make_shared<std::promise<void>>();
    CapturedNode& node = cast.capture([isAsked, mayGoOn, isDone](const auto& receive) {
        isAsked->set_value();
        mayGoOn->get_future().wait();
        const bool result = handCopy(receive, red);
        isDone->set_value();
        return result;
    });
    isAsked->get_future().wait();

    ASSERT_TRUE(cast.screen.send(blue));
    EXPECT_TRUE(node.recorder().waitForPicture(isAll(blue)));
    mayGoOn->set_value();
    isDone->get_future().wait();

    EXPECT_TRUE(node.recorder().staysStill(std::chrono::milliseconds(200)));
    EXPECT_TRUE(node.recorder().latest().isAll(blue));
}

TEST(ViewerPipeWireStreamSilence, ACopyThatComesAfterTheStopIsNotShown) {
    Cast cast;
    LateCopy copy;
    CapturedNode& node = cast.capture(copy.asked());
    copy.waitUntilAsked();

    EXPECT_TRUE(node.stop());
    copy.come();

    EXPECT_TRUE(cast.remote.describe().has_value()) << "it does one thing after the other";
    EXPECT_EQ(node.recorder().frames(), 0U);
}

TEST(ViewerPipeWireStreamSilence, ACopyThatComesAfterTheNodeWentIsNotShown) {
    Cast cast;
    LateCopy copy;
    CapturedNode& node = cast.capture(copy.asked());
    copy.waitUntilAsked();

    cast.screen.remove();
    EXPECT_TRUE(node.recorder().waitForStop());
    copy.come();

    EXPECT_TRUE(cast.remote.describe().has_value()) << "it does one thing after the other";
    EXPECT_EQ(node.recorder().frames(), 0U);
}

TEST(ViewerPipeWireStreamSilence, ACopyThatComesWhileAStopIsRequestedIsNotShown) {
    Cast cast;
    std::promise<void> isBusy;
    std::promise<void> mayGoOn;
    ScriptedPipeWireSource other(cast.server);
    CapturedNode otherNode(cast.remote, other.node(), {}, [&](const auto& picture) {
        if (picture.isAll(blue)) {
            isBusy.set_value();
            mayGoOn.get_future().wait();
        }
        return true;
    });
    ASSERT_TRUE(cast.remote.describe().has_value());  // so that it knows the node
    ASSERT_TRUE(otherNode.start());
    ASSERT_TRUE(otherNode.receivesNext(other, red));
    LateCopy copy;
    CapturedNode& node = cast.capture(copy.asked());
    copy.waitUntilAsked();
    // The connection's thread takes long over the other stream's picture meanwhile.
    ASSERT_TRUE(other.send(blue));
    isBusy.get_future().wait();

    copy.come();
    std::promise<void> isStopped;
    node.stream().stop([&](bool) { isStopped.set_value(); });
    mayGoOn.set_value();

    isStopped.get_future().wait();
    EXPECT_EQ(node.recorder().frames(), 0U);
}

}  // namespace
}  // namespace velmora
