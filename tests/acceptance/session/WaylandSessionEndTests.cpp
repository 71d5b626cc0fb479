#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "tests/acceptance/wayland/WaylandHostTest.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

using WaylandSessionEnd = SwayHostTest;

TEST_F(WaylandSessionEnd, AMinuteAfterItsCompositorTheHostThatIsAskedAllTheTimeEnds) {
    ASSERT_NO_FATAL_FAILURE(serve());
    const std::string id = idOf(red);
    ASSERT_NE(id, "");
    desktop_.session().kill("sway");
    const auto begin = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() - begin < 55s) {
        ASSERT_TRUE(HTTPClient::get(frameTarget(id)).isWhole);
        ASSERT_EQ(host_.process().awaitEnd(1s), std::nullopt);
    }
    EXPECT_TRUE(nothingIsListed());
    EXPECT_EQ(host_.process().awaitEnd(), endedInOrder);
    EXPECT_FALSE(HTTPClient().isConnected());
}

}  // namespace

}  // namespace velmora
