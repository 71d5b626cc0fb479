#include <gtest/gtest.h>

#include <chrono>
#include <optional>

#include "tests/acceptance/wayland/WaylandHostTest.h"
#include "tests/support/bus/PrivateBus.h"
#include "tests/support/bus/ScriptedLoginManager.h"

namespace velmora {

namespace {

/// The session that the person has logged in to ends, and its compositor hangs on.
class WaylandLogin : public SwayHostTest {
  protected:
    const PrivateBus bus_;
    ScriptedLoginManager logins_{bus_.address()};
};

TEST_F(WaylandLogin, AHostEndsWithItsLoginThoughTheCompositorStays) {
    host_.useSystemBus(bus_.address());
    ASSERT_NO_FATAL_FAILURE(serve());
    ASSERT_NE(idOf(red), "");
    EXPECT_TRUE(eventually([this] {
        (void)logins_.process();
        return !logins_.asked.empty() && logins_.asked.back() == "State";
    }));
    logins_.endSession();
    std::optional<HostEnd> end;
    EXPECT_TRUE(eventually([&] {
        (void)logins_.process();
        end = host_.process().awaitEnd(std::chrono::milliseconds(1));
        return end.has_value();
    }));
    EXPECT_EQ(end, endedInOrder);
}

}  // namespace

}  // namespace velmora
