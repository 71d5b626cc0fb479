#include "app/linux/ViewerLinuxSignalSource.h"

#include <gtest/gtest.h>

#include <csignal>
#include <memory>
#include <vector>

namespace velmora {

namespace {

/// A loop that the test runs, and SIGTERM as the process had it before.
class ViewerLinuxSignalSourceTest : public testing::Test {
  public:
    ViewerLinuxSignalSourceTest() {
        ::sigaction(SIGTERM, nullptr, &disposition_);
        ::pthread_sigmask(SIG_BLOCK, nullptr, &mask_);
        ignoreSignal(SIGTERM);
    }
    ~ViewerLinuxSignalSourceTest() override {
        // What is pending goes before anything of it could be seen.
        (void)std::signal(SIGTERM, SIG_IGN);
        ::pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
        ::sigaction(SIGTERM, &disposition_, nullptr);
    }
    ViewerLinuxSignalSourceTest(const ViewerLinuxSignalSourceTest&) = delete;
    ViewerLinuxSignalSourceTest& operator=(const ViewerLinuxSignalSourceTest&) = delete;

  protected:
    std::shared_ptr<ViewerLinuxSignalSource> makeSource() {
        const auto source =
            std::make_shared<ViewerLinuxSignalSource>(loop_, SIGTERM, [this] { ++arrivals_; });
        source->resume();
        return source;
    }

    void signalProcess() { ASSERT_EQ(::kill(::getpid(), SIGTERM), 0); }

    /// Runs what is ready.
    void settle() {
        loop_.restart();
        while (loop_.poll() > 0) {
        }
    }

    boost::asio::io_context loop_{1};
    int arrivals_ = 0;

  private:
    struct sigaction disposition_ = {};
    sigset_t mask_ = {};
};

TEST_F(ViewerLinuxSignalSourceTest, EachArrivalRunsTheHandlerInTheLoop) {
    const auto source = makeSource();
    signalProcess();
    EXPECT_EQ(arrivals_, 0);
    settle();
    EXPECT_EQ(arrivals_, 1);
    signalProcess();
    settle();
    EXPECT_EQ(arrivals_, 2);
}

TEST_F(ViewerLinuxSignalSourceTest, ASignalFromBeforeTheSourceIsForgotten) {
    signalProcess();
    const auto source = makeSource();
    settle();

    EXPECT_EQ(arrivals_, 0);
}

TEST_F(ViewerLinuxSignalSourceTest, ACancelledSourceHearsNothingAndTheProcessLives) {
    const auto source = makeSource();
    signalProcess();
    source->cancel();
    source->cancel();
    signalProcess();
    settle();

    EXPECT_EQ(arrivals_, 0);
}

TEST_F(ViewerLinuxSignalSourceTest, ASourceThatIsDroppedHearsNothingAndTheProcessLives) {
    makeSource().reset();
    signalProcess();
    settle();

    EXPECT_EQ(arrivals_, 0);
}

TEST_F(ViewerLinuxSignalSourceTest, TheHandlerMayCancelAndDropItsOwnSource) {
    std::shared_ptr<ViewerLinuxSignalSource> source;
    const std::vector<int> one{1};
    source = std::make_shared<ViewerLinuxSignalSource>(loop_, SIGTERM, [&source, this, one] {
        source->cancel();
        source.reset();
        arrivals_ += one.front();
    });
    source->resume();
    signalProcess();
    settle();
    signalProcess();
    settle();

    EXPECT_EQ(arrivals_, 1);
}

TEST_F(ViewerLinuxSignalSourceTest, OnlyTheWatchedSignalIsHeard) {
    const auto source = makeSource();
    const auto before = std::signal(SIGUSR1, SIG_IGN);
    ASSERT_EQ(::kill(::getpid(), SIGUSR1), 0);
    settle();

    EXPECT_EQ(arrivals_, 0);
    (void)std::signal(SIGUSR1, before);
}

}  // namespace

}  // namespace velmora
