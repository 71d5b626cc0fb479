#include <dirent.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/capture/linux/wayland/pipewire/CapturedNode.h"
#include "tests/support/pipewire/ScriptedPipeWireSource.h"

namespace velmora {
namespace {

constexpr std::uint32_t red = 0xff0000;

/// What the kernel tells of a thread of this process.
struct Thread final {
    std::string name;
    int policy = -1;
    std::string blockedSignals;
    std::string voluntarySwitches;
};

Thread threadAt(const std::filesystem::path& folder) {
    Thread result;
    std::ifstream(folder / "comm") >> result.name;
    result.policy = ::sched_getscheduler(std::stoi(folder.filename()));
    std::ifstream status(folder / "status");
    for (std::string key; status >> key;) {
        if (key == "SigBlk:") {
            status >> result.blockedSignals;
        } else if (key == "voluntary_ctxt_switches:") {
            status >> result.voluntarySwitches;
        }
    }
    return result;
}

std::vector<Thread> threads() {
    std::vector<Thread> result;
    for (const auto& each : std::filesystem::directory_iterator("/proc/self/task")) {
        result.push_back(threadAt(each.path()));
    }
    return result;
}

/// Those of a remote: its own, and where PipeWire gives it no other name, the one that the library
/// starts from there.
std::vector<Thread> ours() {
    std::vector<Thread> result;
    for (const Thread& each : threads()) {
        if (each.name == "pipewire") {
            result.push_back(each);
        }
    }
    return result;
}

/// How often each of them went to sleep.
std::vector<std::string> switches() {
    std::vector<std::string> result;
    for (const Thread& each : ours()) {
        result.push_back(each.voluntarySwitches);
    }
    return result;
}

std::size_t descriptors() {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

/// Looks again and again, as long as a test is patient.
bool becomesTrue(const std::function<bool()>& holds) {
    constexpr int betweenLooks = 10;
    const auto end = std::chrono::steady_clock::now() + StreamRecorder::patience;
    while (!holds() && std::chrono::steady_clock::now() < end) {
        ::poll(nullptr, 0, betweenLooks);
    }
    return holds();
}

TEST(ViewerPipeWireStreamResource, NothingIsReadBeforeTheStartAndAfterTheStop) {
    PipeWireServer server;
    ScriptedPipeWireSource screen(server);
    PipeWireClient watcher(server.connect());
    RemoteOnLoop remote(server);
    ASSERT_TRUE(remote.describe().has_value());
    const std::size_t before = watcher.count(PW_TYPE_INTERFACE_Node);
    CapturedNode node(remote, screen.node());
    EXPECT_EQ(screen.readers(), 0U);
    EXPECT_EQ(watcher.count(PW_TYPE_INTERFACE_Node), before);

    ASSERT_TRUE(node.start());
    ASSERT_TRUE(screen.awaitReader());
    EXPECT_EQ(watcher.count(PW_TYPE_INTERFACE_Node), before + 1);
    ASSERT_TRUE(node.stop());

    EXPECT_TRUE(screen.awaitNoReader());
    EXPECT_TRUE(becomesTrue([&] { return watcher.count(PW_TYPE_INTERFACE_Node) == before; }));
    EXPECT_TRUE(becomesTrue([&] { return watcher.count(PW_TYPE_INTERFACE_Link) == 0; }));
}

TEST(ViewerPipeWireStreamResource, NoThreadIsRealTimeAndOursIsSparedAllSignals) {
    PipeWireServer server;
    ScriptedPipeWireSource screen(server);
    RemoteOnLoop remote(server);
    CapturedNode node(remote, screen.node());
    ASSERT_TRUE(node.start());
    ASSERT_TRUE(screen.send(red));
    ASSERT_TRUE(node.recorder().waitForFrames(1));

    for (const Thread& each : threads()) {
        EXPECT_EQ(each.policy, SCHED_OTHER) << each.name;
    }
    ASSERT_FALSE(ours().empty());
    for (const Thread& each : ours()) {
        EXPECT_EQ(each.blockedSignals, "fffffffe7ffbfeff");
    }
    EXPECT_EQ(node.recorder().threads(), std::vector<std::string>{"pipewire"});
}

TEST(ViewerPipeWireStreamResource, WhileNothingIsCapturedItsThreadSleeps) {
    PipeWireServer server;
    ScriptedPipeWireSource screen(server);
    RemoteOnLoop remote(server);
    CapturedNode node(remote, screen.node());
    ASSERT_TRUE(node.start());
    ASSERT_TRUE(screen.send(red));
    ASSERT_TRUE(node.recorder().waitForFrames(1));
    ASSERT_TRUE(node.stop());
    ASSERT_TRUE(screen.awaitNoReader());
    // What was told of the stream's end has been heard once this is answered.
    PipeWireClient(server.connect()).count(PW_TYPE_INTERFACE_Node);
    ASSERT_TRUE(remote.describe().has_value());
    std::vector<std::string> settled;
    ASSERT_TRUE(becomesTrue([&] {
        const auto last = std::exchange(settled, switches());
        return last == settled;
    }));

    ::poll(nullptr, 0, 1000);

    EXPECT_EQ(switches(), settled);
}

TEST(ViewerPipeWireStreamResource, ManyCapturesLeaveNothingBehind) {
    PipeWireServer server;
    ScriptedPipeWireSource screen(server);
    RemoteOnLoop remote(server);
    const auto captureOnce = [&](std::uint32_t colour) {
        CapturedNode node(remote, screen.node());
        const bool isShown = node.start() && node.receivesNext(screen, colour);
        const bool isStopped = node.stop() && screen.awaitNoReader();
        const std::weak_ptr<StreamRecorder> receiver = node.drop();
        return isShown && isStopped && becomesTrue([&] { return receiver.expired(); });
    };
    ASSERT_TRUE(captureOnce(0));
    ASSERT_TRUE(captureOnce(0));
    const std::size_t before = descriptors();
    const std::size_t threadsBefore = threads().size();

    for (std::uint32_t round = 1; round <= 20; ++round) {
        ASSERT_TRUE(captureOnce(round));
    }

    EXPECT_TRUE(becomesTrue([&] { return descriptors() <= before; }));
    EXPECT_TRUE(becomesTrue([&] { return threads().size() <= threadsBefore; }));
}

TEST(ViewerPipeWireStreamResource, ARemoteThatIsGoneLeavesNothingBehind) {
    PipeWireServer server;
    ScriptedPipeWireSource screen(server);
    int shown = 0;
    const auto captureOnce = [&] {
        RemoteOnLoop remote(server);
        CapturedNode node(remote, screen.node());
        // On a busy machine PipeWire may not start a node whose last reader has just broken off.
        // Such a capture ends by itself.
        shown += node.start() && node.receivesNext(screen, red) ? 1 : 0;
        remote.drop();
        return node.endsOnce() && screen.awaitNoReader();
    };
    ASSERT_TRUE(captureOnce());
    ASSERT_TRUE(becomesTrue([] { return ours().empty(); }));
    const std::size_t before = descriptors();

    constexpr int rounds = 10;
    for (int round = 0; round < rounds; ++round) {
        ASSERT_TRUE(captureOnce());
    }
    EXPECT_GT(shown, rounds / 2);

    EXPECT_TRUE(becomesTrue([] { return ours().empty(); }));
    EXPECT_TRUE(becomesTrue([&] { return descriptors() <= before; }));
}

}  // namespace
}  // namespace velmora
