#include "core/capture/linux/wayland/pipewire/ViewerPipeWireConnection.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/pipewire/ScriptedPipeWire.h"

namespace velmora {
namespace {

using Nodes = std::optional<std::vector<ViewerStreamNode>>;

ViewerGrantedStream grantOf(std::uint32_t node) {
    ViewerGrantedStream result;
    result.node = node;
    return result;
}

/// Counts what it is told of nodes.
class CountingWatcher final : public ViewerPipeWireConnection::Watcher {
  public:
    void nodeIsGone(std::uint64_t) override {}
    void nodeIsToResize(std::uint64_t, ViewerWaylandOutput::PixelSize) override { ++resizes; }
    void connectionIsOver() override {}

    int resizes = 0;
};

/// Watches no more as soon as it is told that it is over.
class LeavingWatcher final : public ViewerPipeWireConnection::Watcher {
  public:
    explicit LeavingWatcher(ViewerPipeWireConnection& connection) : connection_(connection) {
        connection_.watch(*this);
    }

    void nodeIsGone(std::uint64_t) override {}
    void nodeIsToResize(std::uint64_t, ViewerWaylandOutput::PixelSize) override {}
    void connectionIsOver() override {
        ++ends;
        connection_.unwatch(*this);
    }

    int ends = 0;

  private:
    ViewerPipeWireConnection& connection_;
};

/// A connection that was made, and what it has answered.
struct Connected final {
    Connected() : Connected(ScriptedPipeWire::Refusals()) {}
    explicit Connected(ScriptedPipeWire::Refusals refusals) : pipeWire(refusals) {}

    /// Asks for the nodes; they are told when PipeWire answers.
    void ask() {
        connection.describe([this](Nodes told) {
            ++answers;
            nodes = std::move(told);
        });
    }
    /// The nodes once PipeWire has told everything.
    Nodes describe() {
        ask();
        pipeWire.answer(pipeWire.lastSync());
        return nodes;
    }

    ScriptedPipeWire pipeWire;
    ViewerPipeWireConnection connection{pipeWire.library(), pipeWire.loop(), -1};
    int answers = 0;
    Nodes nodes;
};

/// One whose first nodes are known.
struct Listed final {
    Listed() : Listed(ScriptedPipeWire::Refusals()) {}
    explicit Listed(ScriptedPipeWire::Refusals refusals) : connected(refusals) {
        connected.pipeWire.answer(connected.pipeWire.lastSync());
    }

    Connected connected;
    ScriptedPipeWire& pipeWire = connected.pipeWire;
    ViewerPipeWireConnection& connection = connected.connection;
};

ViewerStreamNode nodeOf(std::uint32_t id, std::uint64_t serial) {
    ViewerStreamNode result;
    result.id = id;
    result.serial = serial;
    return result;
}

TEST(ViewerPipeWireConnection, ANodeThatHasNoSerialNumberIsNoNode) {
    Listed listed;
    const std::array items{spa_dict_item{PW_KEY_NODE_NAME, "a screen"}};
    const spa_dict nameAlone{0, static_cast<std::uint32_t>(items.size()), items.data()};

    listed.pipeWire.addNodeWith(1, &nameAlone);
    listed.pipeWire.addNodeWith(2, nullptr);
    listed.pipeWire.addNode(3, "");
    listed.pipeWire.addNode(4, "12x");
    listed.pipeWire.addNode(5, "18446744073709551616");
    listed.pipeWire.addNode(6, "18446744073709551615");

    EXPECT_EQ(listed.connected.describe(), (std::vector{nodeOf(6, 18'446'744'073'709'551'615U)}));
}

TEST(ViewerPipeWireConnection, WithoutARegistryItIsLost) {
    const Connected connected({.registry = true});
    EXPECT_TRUE(connected.connection.isLost());
    EXPECT_EQ(connected.pipeWire.lastSync(), 0);
}

TEST(ViewerPipeWireConnection, WhoAsksOneThatIsLostIsAnsweredAtOnce) {
    ViewerPipeWireConnection none;
    bool isAnswered = false;

    none.describe([&](const Nodes& nodes) { isAnswered = !nodes.has_value(); });

    EXPECT_TRUE(isAnswered);
}

TEST(ViewerPipeWireConnection, WhoHasAskedForNodesHearsOfTheLoss) {
    Listed listed;
    listed.pipeWire.addNode(1, "10");
    listed.connected.nodes.emplace();
    listed.connected.ask();

    listed.pipeWire.fail();

    EXPECT_EQ(listed.connected.answers, 1);
    EXPECT_FALSE(listed.connected.nodes.has_value());
}

TEST(ViewerPipeWireConnection, WhoWaitsForTheFirstNodesHearsOfTheLossAndFindsNone) {
    Connected connected;
    connected.pipeWire.addNode(1, "10");
    int calls = 0;
    std::optional<std::uint64_t> serial;
    connected.connection.whenListed([&] {
        ++calls;
        serial = connected.connection.serialOf(grantOf(1));
    });

    connected.pipeWire.fail();

    EXPECT_EQ(calls, 1);
    EXPECT_EQ(serial, std::nullopt);
}

TEST(ViewerPipeWireConnection, TheFirstNodesAreKnownOnceTheCoreSaysSo) {
    Connected connected;
    connected.pipeWire.addNode(1, "10");
    std::vector<std::optional<std::uint64_t>> serials;
    connected.connection.whenListed(
        [&] { serials.push_back(connected.connection.serialOf(grantOf(1))); });

    connected.pipeWire.answer(PW_ID_CLIENT, connected.pipeWire.lastSync());
    connected.pipeWire.answer(connected.pipeWire.lastSync() + 1);
    EXPECT_TRUE(serials.empty());
    connected.pipeWire.answer(connected.pipeWire.lastSync());

    EXPECT_EQ(serials, (std::vector<std::optional<std::uint64_t>>{10}));
}

TEST(ViewerPipeWireConnection, TheSizeOfAnOutputWithoutANodeIsToldToNobody) {
    Listed listed;
    listed.pipeWire.addNode(1, "10");
    CountingWatcher watcher;
    listed.connection.watch(watcher);

    listed.connection.outputHasResized(grantOf(2), {80, 20});
    EXPECT_EQ(watcher.resizes, 0);
    listed.connection.outputHasResized(grantOf(1), {80, 20});

    EXPECT_EQ(watcher.resizes, 1);
}

TEST(ViewerPipeWireConnection, ANodeThatCannotBeAskedIsToldWithoutAName) {
    Listed listed({.nodes = true});
    listed.pipeWire.addNode(1, "10");

    EXPECT_EQ(listed.connected.describe(), (std::vector{nodeOf(1, 10)}));
}

TEST(ViewerPipeWireConnection, ANodeThatTellsNothingOfItselfIsToldWithoutAName) {
    Listed listed;
    listed.pipeWire.addNode(1, "10");
    listed.connected.ask();

    listed.pipeWire.describeNode(pw_node_info());
    listed.pipeWire.answer(listed.pipeWire.lastSync());

    EXPECT_EQ(listed.connected.nodes, (std::vector{nodeOf(1, 10)}));
}

TEST(ViewerPipeWireConnection, ANodeThatGoesBeforeTheAnswerIsNotTold) {
    Listed listed;
    listed.pipeWire.addNode(1, "10");
    listed.pipeWire.addNode(2, "20");
    listed.connected.ask();

    listed.pipeWire.removeNode(1);
    listed.pipeWire.answer(listed.pipeWire.lastSync());

    EXPECT_EQ(listed.connected.nodes, (std::vector{nodeOf(2, 20)}));
}

TEST(ViewerPipeWireConnection, WhoAsksAfterTheLossIsAnsweredWithNothing) {
    Listed listed;
    listed.pipeWire.addNode(1, "10");
    listed.pipeWire.fail();
    listed.connected.nodes.emplace();

    listed.connected.ask();

    EXPECT_EQ(listed.connected.answers, 1);
    EXPECT_FALSE(listed.connected.nodes.has_value());
    EXPECT_TRUE(listed.connection.isLost());
}

TEST(ViewerPipeWireConnection, WhatHappensToAnotherObjectIsNoLoss) {
    Listed listed;

    listed.pipeWire.fail(PW_ID_CLIENT, -EPIPE);
    listed.pipeWire.fail(PW_ID_CORE, -ENOENT);

    EXPECT_FALSE(listed.connection.isLost());
}

TEST(ViewerPipeWireConnection, WhatIsNoNodeMayGo) {
    Listed listed;
    listed.pipeWire.addNode(1, "10");

    listed.pipeWire.removeNode(2);

    EXPECT_EQ(listed.connected.describe(), (std::vector{nodeOf(1, 10)}));
}

TEST(ViewerPipeWireConnection, EachWhoWatchesHearsOnceThatTheStreamsAreOver) {
    Listed listed;
    LeavingWatcher first(listed.connection);
    LeavingWatcher second(listed.connection);

    listed.connection.endStreams();

    EXPECT_EQ(first.ends, 1);
    EXPECT_EQ(second.ends, 1);
}

TEST(ViewerPipeWireConnection, WhatWasAskedOfTheNodesIsReleasedWithTheAnswer) {
    Listed listed;
    listed.pipeWire.addNode(1, "10");
    listed.pipeWire.addNode(2, "20");

    (void)listed.connected.describe();

    EXPECT_EQ(listed.pipeWire.released(), (std::vector<std::string>{"node", "node"}));
}

TEST(ViewerPipeWireConnection, ReleasesAllThatItHasMade) {
    ScriptedPipeWire pipeWire;
    {
        const ViewerPipeWireConnection connection(pipeWire.library(), pipeWire.loop(), -1);
    }
    EXPECT_EQ(pipeWire.released(), (std::vector<std::string>{"registry", "core", "context"}));
}

TEST(ViewerPipeWireConnection, WithoutALoopOrAContextItIsLostAndKeepsNoDescriptor) {
    ScriptedPipeWire pipeWire({.context = true});
    for (pw_loop* const loop : {static_cast<pw_loop*>(nullptr), pipeWire.loop()}) {
        int ends[2] = {-1, -1};
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends), 0);

        const ViewerPipeWireConnection connection(pipeWire.library(), loop, ends[0]);

        EXPECT_TRUE(connection.isLost());
        char byte = 0;
        EXPECT_EQ(::read(ends[1], &byte, sizeof byte), 0) << "nobody has the other end";
        ::close(ends[1]);
    }
    EXPECT_TRUE(pipeWire.released().empty());
}

}  // namespace
}  // namespace velmora
