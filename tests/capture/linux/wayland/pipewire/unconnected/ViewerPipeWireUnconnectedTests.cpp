#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>

#include "tests/capture/linux/wayland/pipewire/CapturedNode.h"
#include "tests/support/system/BorrowedEnvironment.h"
#include "tests/support/system/TemporaryFolder.h"

namespace velmora {
namespace {

TEST(ViewerPipeWireUnconnected, APipeWireThatLacksItsProtocolIsALossAndKeepsNoDescriptor) {
    const TemporaryFolder configuration;
    std::ofstream(configuration.path() / "client.conf") << "context.modules = [ ]\n";
    BorrowedEnvironment environment;
    environment.set("PIPEWIRE_CONFIG_DIR", configuration.path().string());
    int ends[2] = {-1, -1};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends), 0);

    const RemoteOnLoop remote(ends[0]);

    EXPECT_TRUE(remote.waitForLoss());
    char byte = 0;
    EXPECT_EQ(::read(ends[1], &byte, sizeof byte), 0) << "nobody has the other end";
    ::close(ends[1]);
}

}  // namespace
}  // namespace velmora
