#include "core/capture/linux/wayland/pipewire/ViewerPipeWireThread.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <memory>

#include "core/capture/linux/wayland/pipewire/ViewerPipeWireConnection.h"

namespace velmora {
namespace {

/// While this lives the process gets no more descriptors.
class NoDescriptors final {
  public:
    NoDescriptors() {
        EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &before_), 0);
        const rlimit none{0, before_.rlim_max};
        EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    }
    ~NoDescriptors() { EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &before_), 0); }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

  private:
    rlimit before_{};
};

/// While this lives the process gets no more threads: there is no address space for their stacks.
class NoThreads final {
  public:
    NoThreads() {
        constexpr std::size_t tooMuch = std::size_t{1} << 56;
        EXPECT_EQ(::pthread_getattr_default_np(&before_), 0);
        pthread_attr_t huge;
        EXPECT_EQ(::pthread_getattr_default_np(&huge), 0);
        EXPECT_EQ(::pthread_attr_setstacksize(&huge, tooMuch), 0);
        EXPECT_EQ(::pthread_setattr_default_np(&huge), 0);
        ::pthread_attr_destroy(&huge);
    }
    ~NoThreads() {
        EXPECT_EQ(::pthread_setattr_default_np(&before_), 0);
        ::pthread_attr_destroy(&before_);
    }
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;

  private:
    pthread_attr_t before_{};
};

/// A connection's end, and what comes of a thread for it where something is lacking.
class ViewerPipeWireThreadTest : public testing::Test {
  protected:
    ViewerPipeWireThreadTest() {
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends_), 0);
    }
    void TearDown() override { ::close(ends_[1]); }

    template <typename Lack>
    void startLacking() {
        const Lack lack;
        thread_ = ViewerPipeWireThread::start(ends_[0], [this] { ++losses_; });
    }
    void expectLossAtOnce() {
        EXPECT_EQ(losses_, 1);
        EXPECT_FALSE(thread_->post([](ViewerPipeWireConnection&) { FAIL() << "nobody does it"; }));
        char byte = 0;
        EXPECT_EQ(::read(ends_[1], &byte, sizeof byte), 0) << "nobody has the other end";
    }

  private:
    int ends_[2] = {-1, -1};
    int losses_ = 0;
    std::shared_ptr<ViewerPipeWireThread> thread_;
};

TEST_F(ViewerPipeWireThreadTest, WithoutADescriptorToWakeItTheConnectionIsLostAtOnce) {
    startLacking<NoDescriptors>();
    expectLossAtOnce();
}

TEST_F(ViewerPipeWireThreadTest, WithoutAThreadTheConnectionIsLostAtOnce) {
    startLacking<NoThreads>();
    expectLossAtOnce();
}

}  // namespace
}  // namespace velmora
