#include "core/capture/linux/wayland/pipewire/ViewerPipeWireRemote.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <future>

#include "core/capture/linux/wayland/pipewire/ViewerPipeWireConnection.h"
#include "core/capture/linux/wayland/pipewire/ViewerPipeWireThread.h"
#include "tests/capture/linux/wayland/pipewire/CapturedNode.h"
#include "tests/support/pipewire/ScriptedPipeWireSource.h"

namespace velmora {
namespace {

const ViewerStreamNode* find(const std::vector<ViewerStreamNode>& nodes, std::uint32_t id) {
    const auto found = std::ranges::find(nodes, id, &ViewerStreamNode::id);
    return found == nodes.end() ? nullptr : &*found;
}

TEST(ViewerPipeWireRemote, TellsTheNodesWithTheirSerialNumbersAndMediaNames) {
    PipeWireServer server;
    ScriptedPipeWireSource::Options options;
    options.mediaName = "kwin-screencast-HDMI-A-1";
    ScriptedPipeWireSource first(server, options);
    options.mediaName = "kwin-screencast-DP-2";
    ScriptedPipeWireSource second(server, options);
    RemoteOnLoop remote(server);

    const auto nodes = remote.describe();

    ASSERT_TRUE(nodes.has_value());
    ASSERT_NE(find(*nodes, first.node()), nullptr);
    ASSERT_NE(find(*nodes, second.node()), nullptr);
    EXPECT_EQ(find(*nodes, first.node())->mediaName, "kwin-screencast-HDMI-A-1");
    EXPECT_EQ(find(*nodes, second.node())->mediaName, "kwin-screencast-DP-2");
    EXPECT_TRUE(find(*nodes, first.node())->serial.has_value());
    EXPECT_NE(find(*nodes, first.node())->serial, find(*nodes, second.node())->serial);
}

TEST(ViewerPipeWireRemote, ANodeThatWentIsNotToldAnyMore) {
    PipeWireServer server;
    ScriptedPipeWireSource screen(server);
    RemoteOnLoop remote(server);
    ASSERT_TRUE(remote.describe().has_value());

    screen.remove();
    CapturedNode later(remote, screen.node());
    while (later.start()) {
        ASSERT_TRUE(later.endsOnce());
    }

    const auto nodes = remote.describe();
    ASSERT_TRUE(nodes.has_value());
    EXPECT_EQ(find(*nodes, screen.node()), nullptr);
}

TEST(ViewerPipeWireRemote, AStreamCanBeAskedForByTheSerialNumber) {
    PipeWireServer server;
    ScriptedPipeWireSource screen(server);
    RemoteOnLoop remote(server);
    const auto nodes = remote.describe();
    ASSERT_TRUE(nodes.has_value() && find(*nodes, screen.node()) != nullptr);
    ViewerGrantedStream granted;
    granted.serial = find(*nodes, screen.node())->serial;
    CapturedNode node(remote, granted);

    ASSERT_TRUE(node.start());
    ASSERT_TRUE(screen.send(0xff0000));

    EXPECT_TRUE(node.recorder().waitForFrames(1));
}

TEST(ViewerPipeWireRemote, EndsItsStreamsForGoodAndStillTellsTheConnectionsEnd) {
    PipeWireServer server;
    ScriptedPipeWireSource screen(server);
    RemoteOnLoop remote(server);
    CapturedNode running(remote, screen.node());
    std::future<bool> isStarted = std::async(std::launch::async, [&] { return running.start(); });
    ASSERT_TRUE(screen.send(0x00ff00));
    ASSERT_TRUE(isStarted.get());
    CapturedNode later(remote, screen.node());

    remote.endStreams();

    EXPECT_TRUE(running.endsOnce());
    EXPECT_TRUE(screen.awaitNoReader());
    EXPECT_FALSE(later.start());
    EXPECT_EQ(remote.losses(), 0U);
    server.kill();
    EXPECT_TRUE(remote.waitForLoss());
}

/// Of a remote that has asked for a new object before.
bool isDescribedAfterRequest(const char* factory, const char* type, std::uint32_t version) {
    PipeWireServer server;
    const auto thread = ViewerPipeWireThread::start(server.connect(), [] {});
    std::promise<bool> answer;
    const bool isPosted = thread->post([&](ViewerPipeWireConnection& connection) {
        void* const made =
            pw_core_create_object(connection.core(), factory, type, version, nullptr, 0);
        // A refusal comes before this answer.
        connection.describe([&answer, &connection, made](const auto& nodes) {
            connection.library().proxyDestroy(static_cast<pw_proxy*>(made));
            answer.set_value(nodes.has_value());
        });
    });
    const bool isDescribed = isPosted && answer.get_future().get();
    thread->quit();
    return isDescribed;
}

TEST(ViewerPipeWireRemote, ARequestThatPipeWireRefusesIsNoLoss) {
    EXPECT_TRUE(
        isDescribedAfterRequest("no factory at all", PW_TYPE_INTERFACE_Node, PW_VERSION_NODE));
    // Without what it is to link.
    EXPECT_TRUE(isDescribedAfterRequest("link-factory", PW_TYPE_INTERFACE_Link, PW_VERSION_LINK));
}

TEST(ViewerPipeWireRemote, AHungPipeWireIsAnsweredWithNothing) {
    PipeWireServer server;
    RemoteOnLoop remote(server);
    server.hang();

    EXPECT_FALSE(remote.describe().has_value());

    server.resume();
    EXPECT_TRUE(remote.describe().has_value());
    EXPECT_EQ(remote.losses(), 0U);
}

TEST(ViewerPipeWireRemote, AKilledPipeWireIsAnsweredWithNothing) {
    PipeWireServer server;
    RemoteOnLoop remote(server);
    ASSERT_TRUE(remote.describe().has_value());

    server.kill();

    EXPECT_TRUE(remote.waitForLoss());
    EXPECT_FALSE(remote.describe().has_value());
}

}  // namespace
}  // namespace velmora
