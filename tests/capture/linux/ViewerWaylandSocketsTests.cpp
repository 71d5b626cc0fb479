#include "core/capture/linux/ViewerWaylandSockets.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <thread>

#include "tests/capture/linux/AnsweringCompositor.h"
#include "tests/support/system/TemporaryFolder.h"

namespace velmora {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Something at a socket that is no compositor: it lets others in, and says what it is given to say
/// to the first one.
class Listener final {
  public:
    explicit Listener(const std::filesystem::path& path)
        : descriptor_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.native().copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(::bind(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address),
                  0);
        EXPECT_EQ(::listen(descriptor_, 1), 0);
    }
    ~Listener() { ::close(descriptor_); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    template <std::size_t count>
    void say(const std::array<std::uint32_t, count>& words) const {
        const int client = ::accept4(descriptor_, nullptr, nullptr, SOCK_CLOEXEC);
        EXPECT_EQ(::send(client, words.data(), sizeof words, MSG_NOSIGNAL),
                  static_cast<ssize_t>(sizeof words));
        ::close(client);
    }

  private:
    const int descriptor_;
};

TEST(ViewerWaylandSockets, ACompositorAnswers) {
    const AnsweringCompositor compositor;

    EXPECT_THAT(ViewerWaylandSockets::answering({compositor.displayName()}),
                ElementsAre(compositor.displayName()));
}

TEST(ViewerWaylandSockets, OneThatHangsDoesNotAnswerBesideOneThatDoes) {
    const AnsweringCompositor compositor;
    const TemporaryFolder folder;
    const Listener hanging(folder.path() / "wayland-0");
    const std::string hangingName = folder.path() / "wayland-0";

    EXPECT_THAT(ViewerWaylandSockets::answering({hangingName, compositor.displayName()}),
                ElementsAre(compositor.displayName()));
}

TEST(ViewerWaylandSockets, WhatAnotherProgramSaysIsNoAnswer) {
    const TemporaryFolder folder;
    const Listener other(folder.path() / "wayland-0");
    std::thread program([&] { other.say(std::array<std::uint32_t, 3>{1, 12U << 16U, 2}); });

    EXPECT_THAT(ViewerWaylandSockets::answering({folder.path() / "wayland-0"}), IsEmpty());
    program.join();
}

TEST(ViewerWaylandSockets, WhatIsLeftOfACompositorDoesNotAnswer) {
    AnsweringCompositor compositor;
    compositor.kill();

    ASSERT_TRUE(std::filesystem::is_socket(compositor.displayName()));
    EXPECT_THAT(ViewerWaylandSockets::answering({compositor.displayName()}), IsEmpty());
}

TEST(ViewerWaylandSockets, APathThatNoSocketCanHaveDoesNotAnswer) {
    EXPECT_THAT(
        ViewerWaylandSockets::answering({"/nonexistent", "", "/", "/" + std::string(1000, 'x')}),
        IsEmpty());
    EXPECT_THAT(ViewerWaylandSockets::answering({}), IsEmpty());
}

}  // namespace

}  // namespace velmora
