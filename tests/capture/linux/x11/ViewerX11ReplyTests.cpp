#include "core/capture/linux/x11/ViewerX11Reply.h"

#include <gtest/gtest.h>
#include <xcb/xproto.h>

#include <array>
#include <cstdint>

namespace velmora {
namespace {

TEST(ViewerX11Reply, HoldsAsMuchAsItSays) {
    // Its first 32 bytes and two units of four.
    alignas(xcb_get_property_reply_t) std::array<std::uint8_t, 64> bytes{};
    auto& reply = reinterpret_cast<xcb_get_property_reply_t&>(bytes);
    reply.length = 2;

    EXPECT_TRUE(holds(reply, bytes.data(), 40));
    EXPECT_FALSE(holds(reply, bytes.data(), 41));
    EXPECT_TRUE(holds(reply, bytes.data() + 32, 8));
    EXPECT_FALSE(holds(reply, bytes.data() + 32, 9));
    EXPECT_TRUE(holds(reply, bytes.data() + 40, 0));
    EXPECT_FALSE(holds(reply, bytes.data() + 41, 0));
}

}  // namespace
}  // namespace velmora
