#include "core/capture/linux/wayland/pipewire/ViewerPipeWireStream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "tests/capture/linux/wayland/pipewire/CapturedNode.h"
#include "tests/support/pipewire/ScriptedPipeWireSource.h"

namespace velmora {
namespace {

constexpr std::uint32_t red = 0xff0000;
constexpr std::uint32_t blue = 0x0000ff;

StreamRecorder::Judgement isAll(std::uint32_t colour) {
    return [colour](const StreamRecorder::Picture& picture) { return picture.isAll(colour); };
}

TEST(ViewerPipeWireStream, DeliversWhatTheNodeShows) {
    PipeWireServer server;
    ScriptedPipeWireSource screen(server);
    RemoteOnLoop remote(server);
    CapturedNode node(remote, screen.node());

    ASSERT_TRUE(node.start());
    ASSERT_TRUE(screen.send(red));

    ASSERT_TRUE(node.recorder().waitForPicture(isAll(red)));
    EXPECT_EQ(node.recorder().latest().width, 64);
    EXPECT_EQ(node.recorder().latest().height, 48);
    ASSERT_TRUE(screen.send(blue));
    EXPECT_TRUE(node.recorder().waitForPicture(isAll(blue)));
}

}  // namespace
}  // namespace velmora
