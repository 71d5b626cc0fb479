#include "core/capture/linux/wayland/pipewire/ViewerPipeWireLibrary.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <future>

#include "core/capture/linux/wayland/pipewire/ViewerPipeWireConnection.h"
#include "core/capture/linux/wayland/pipewire/ViewerPipeWireThread.h"

namespace velmora {
namespace {

// In a program that is not linked with the library, and in which nothing else needs it: it is
// looked for once.
TEST(ViewerPipeWireLibrary, WithoutItAConnectionIsALossAndKeepsNoDescriptor) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends), 0);
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const int next = ::dup(ends[0]);
    ::close(next);
    // One for what wakes the thread, none for the library's file.
    const rlimit oneMore{static_cast<rlim_t>(next) + 1, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &oneMore), 0);

    std::promise<void> lost;
    const auto thread = ViewerPipeWireThread::start(ends[0], [&] { lost.set_value(); });
    lost.get_future().wait();

    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(ViewerPipeWireLibrary::ofProcess(), nullptr);
    EXPECT_FALSE(thread->post([](ViewerPipeWireConnection&) { FAIL() << "nobody does it"; }));
    char byte = 0;
    EXPECT_EQ(::read(ends[1], &byte, sizeof byte), 0) << "nobody has the other end";
    ::close(ends[1]);
}

}  // namespace
}  // namespace velmora
