#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <vector>

#include "tests/capture/linux/wayland/pipewire/CapturedNode.h"
#include "tests/support/pipewire/ScriptedPipeWireSource.h"

namespace velmora {
namespace {

using Options = ScriptedPipeWireSource::Options;
using Picture = ScriptedPipeWireSource::Picture;

constexpr std::uint32_t red = 0xff0000;
constexpr std::uint32_t blue = 0x0000ff;

StreamRecorder::Judgement isAll(std::uint32_t colour) {
    return [colour](const StreamRecorder::Picture& picture) { return picture.isAll(colour); };
}

/// A red screen whose first picture was delivered.
struct Cast final {
    Cast() : Cast(Options()) {}
    explicit Cast(Options options) : screen(server, std::move(options)) {
        EXPECT_TRUE(node.start());
        EXPECT_TRUE(screen.send(red));
        EXPECT_TRUE(node.recorder().waitForPicture(isAll(red)));
    }

    PipeWireServer server;
    ScriptedPipeWireSource screen;
    RemoteOnLoop remote{server};
    CapturedNode node{remote, screen.node()};
};

TEST(ViewerPipeWireStreamMisfortune, ANodeThatGoesGivesOneStopNotice) {
    Cast cast;

    cast.screen.remove();

    EXPECT_TRUE(cast.node.endsOnce());
    EXPECT_EQ(cast.remote.losses(), 0U);
}

TEST(ViewerPipeWireStreamMisfortune, ANodeWhosePicturesCannotBeReadGivesOneStopNotice) {
    PipeWireServer server;
    Options options;
    options.format = SPA_VIDEO_FORMAT_I420;
    ScriptedPipeWireSource screen(server, options);
    RemoteOnLoop remote(server);
    CapturedNode node(remote, screen.node());
    const bool isStarted = node.start();

    // It may fail before its start counts as over.
    EXPECT_TRUE(!isStarted || node.endsOnce());
    EXPECT_EQ(node.recorder().stops(), isStarted ? 1U : 0U);
    EXPECT_EQ(node.recorder().frames(), 0U);
}

TEST(ViewerPipeWireStreamMisfortune, APauseThatLastsGivesOneStopNotice) {
    Cast cast;

    cast.screen.pause();

    EXPECT_TRUE(cast.node.endsOnce());
}

TEST(ViewerPipeWireStreamMisfortune, ABriefPauseIsNoStop) {
    // A busy machine makes a pause a long one, which is.
    constexpr int attempts = 3;
    bool isShown = false;
    for (int attempt = 0; attempt < attempts && !isShown; ++attempt) {
        Cast cast;

        cast.screen.pause();
        ASSERT_TRUE(cast.screen.awaitNoReader());
        cast.screen.resume();

        isShown = cast.node.receivesNext(cast.screen, blue) &&
                  cast.node.recorder().waitForPicture(isAll(blue));
        ASSERT_LE(cast.node.recorder().stops(), isShown ? 0U : 1U);
    }
    EXPECT_TRUE(isShown);
}

TEST(ViewerPipeWireStreamMisfortune, AnotherFormatWithoutAPictureGivesOneStopNotice) {
    Cast cast;

    cast.screen.renegotiate(SPA_VIDEO_FORMAT_BGRx, 80, 20);

    EXPECT_TRUE(cast.node.endsOnce());
}

TEST(ViewerPipeWireStreamMisfortune, ANodeThatDoesNotFollowItsOutputsSizeGivesOneStopNotice) {
    Cast cast;

    cast.remote.resizeOutput(cast.screen.node(), {80, 20});

    EXPECT_TRUE(cast.node.endsOnce());
}

TEST(ViewerPipeWireStreamMisfortune, APictureOfTheOldSizeDoesNotFollowTheOutputs) {
    Cast cast;

    cast.remote.resizeOutput(cast.screen.node(), {80, 20});
    ASSERT_TRUE(cast.node.receivesNext(cast.screen, blue));

    EXPECT_TRUE(cast.node.endsOnce());
}

TEST(ViewerPipeWireStreamMisfortune,
     ANodeThatMissesASizeOfItsOutputAndTheWayBackGivesOneStopNotice) {
    Cast cast;

    cast.remote.resizeOutput(cast.screen.node(), {80, 20});
    cast.remote.resizeOutput(cast.screen.node(), {64, 48});

    EXPECT_TRUE(cast.node.endsOnce());
}

TEST(ViewerPipeWireStreamMisfortune, ANodeThatMissesASizeOfItsOutputAndShowsTheNextIsNotStopped) {
    // On a busy machine the picture may come too late.
    constexpr int attempts = 3;
    bool isShown = false;
    for (int attempt = 0; attempt < attempts && !isShown; ++attempt) {
        Cast cast;
        ScriptedPipeWireSource other(cast.server);
        CapturedNode otherNode(cast.remote, other.node());
        ASSERT_TRUE(cast.remote.describe().has_value());  // so that it knows the node
        ASSERT_TRUE(otherNode.start());

        cast.remote.resizeOutput(cast.screen.node(), {80, 20});
        cast.remote.resizeOutput(cast.screen.node(), {64, 48});
        const bool isInTime = cast.node.receivesNext(cast.screen, blue);

        // It has as long as the other, whose time is over before.
        cast.remote.resizeOutput(other.node(), {80, 20});
        EXPECT_TRUE(otherNode.endsOnce());
        isShown = isInTime && cast.node.recorder().stops() == 0;
    }
    EXPECT_TRUE(isShown);
}

TEST(ViewerPipeWireStreamMisfortune, ANodeThatFollowsItsOutputsSizeIsNotStopped) {
    Cast cast;
    ScriptedPipeWireSource other(cast.server);
    ScriptedPipeWireSource ahead(cast.server, {.width = 80, .height = 20});
    CapturedNode otherNode(cast.remote, other.node());
    CapturedNode aheadNode(cast.remote, ahead.node());
    ASSERT_TRUE(cast.remote.describe().has_value());  // so that it knows the nodes
    ASSERT_TRUE(otherNode.start());
    ASSERT_TRUE(aheadNode.start());
    ASSERT_TRUE(aheadNode.receivesNext(ahead, red));

    cast.remote.resizeOutput(cast.screen.node(), {20, 80});
    cast.remote.resizeOutput(ahead.node(), {80, 20});
    cast.screen.renegotiate(SPA_VIDEO_FORMAT_BGRx, 80, 20);
    Picture turned{ScriptedPipeWireSource::all(blue)};
    turned.transform = 1;
    ASSERT_TRUE(cast.node.receivesNext(cast.screen, turned));

    // It has as long as the others, whose time is over before.
    cast.remote.resizeOutput(other.node(), {80, 20});
    EXPECT_TRUE(otherNode.endsOnce());
    EXPECT_EQ(cast.node.recorder().stops(), 0U);
    EXPECT_EQ(aheadNode.recorder().stops(), 0U);
}

TEST(ViewerPipeWireStreamMisfortune, AKilledPipeWireGivesOneStopNoticeAndALoss) {
    Cast cast;

    cast.server.kill();

    EXPECT_TRUE(cast.node.endsOnce());
    EXPECT_TRUE(cast.remote.waitForLoss());
    CapturedNode later(cast.remote, cast.screen.node());
    EXPECT_FALSE(later.start());
    EXPECT_EQ(later.recorder().stops(), 0U);
    EXPECT_EQ(cast.remote.losses(), 1U);
}

TEST(ViewerPipeWireStreamMisfortune, ADroppedRemoteEndsItsStreams) {
    Cast cast;

    cast.remote.drop();

    EXPECT_TRUE(cast.node.endsOnce());
    EXPECT_EQ(cast.remote.losses(), 0U);
}

TEST(ViewerPipeWireStreamMisfortune, OnAHungPipeWireStartAndStopAreAnswered) {
    PipeWireServer server;
    ScriptedPipeWireSource screen(server);
    RemoteOnLoop remote(server);
    ASSERT_TRUE(remote.describe());
    CapturedNode node(remote, screen.node());

    server.hang();
    EXPECT_TRUE(node.start());
    EXPECT_TRUE(node.stop());
    EXPECT_EQ(node.recorder().stops(), 0U);
    server.resume();
}

TEST(ViewerPipeWireStreamMisfortune, AStreamThatNobodyLinksGivesOneStopNotice) {
    PipeWireServer server;
    ScriptedPipeWireSource screen(server);
    RemoteOnLoop remote(server);
    CapturedNode node(remote, screen.node());
    server.killSessionManager();

    EXPECT_TRUE(node.start());

    EXPECT_TRUE(node.endsOnce());
    EXPECT_EQ(node.recorder().frames(), 0U);
}

TEST(ViewerPipeWireStreamMisfortune, ANodeThatIsNotThereCannotBeStarted) {
    PipeWireServer server;
    RemoteOnLoop remote(server);
    CapturedNode byNumber(remote, 4711);
    ViewerGrantedStream gone;
    gone.serial = 4711;
    CapturedNode bySerial(remote, gone);

    EXPECT_FALSE(byNumber.start());
    EXPECT_FALSE(bySerial.start());
    EXPECT_EQ(byNumber.recorder().stops() + bySerial.recorder().stops(), 0U);
}

TEST(ViewerPipeWireStreamMisfortune, ANumberThatIsGivenOutAgainShowsNothingOfTheNewNode) {
    PipeWireServer server;
    RemoteOnLoop remote(server);
    auto granted = std::make_unique<ScriptedPipeWireSource>(server);
    const std::uint32_t number = granted->node();
    ASSERT_TRUE(remote.describe());
    granted.reset();

    std::vector<std::unique_ptr<ScriptedPipeWireSource>> others;
    constexpr std::size_t enough = 20;
    while (others.size() < enough && (others.empty() || others.back()->node() != number)) {
        others.push_back(std::make_unique<ScriptedPipeWireSource>(server));
    }
    ASSERT_EQ(others.back()->node(), number);

    CapturedNode node(remote, number);
    EXPECT_FALSE(node.start());
    EXPECT_EQ(others.back()->readers(), 0U);
}

TEST(ViewerPipeWireStreamMisfortune, TheEndOfOneNodeShowsNothingOfAnotherUnderItsName) {
    PipeWireServer server;
    ScriptedPipeWireSource first(server);
    ScriptedPipeWireSource second(server);
    RemoteOnLoop remote(server);
    CapturedNode node(remote, first.node(), {}, isAll(red));
    CapturedNode other(remote, second.node(), {}, isAll(blue));
    ASSERT_TRUE(node.start() && other.start());
    ASSERT_TRUE(first.send(red) && second.send(blue));
    ASSERT_TRUE(node.recorder().waitForFrames(1) && other.recorder().waitForFrames(1));

    first.remove();

    EXPECT_TRUE(node.recorder().waitForStop());
    EXPECT_TRUE(second.send(blue));
    EXPECT_TRUE(node.stop());
    EXPECT_TRUE(node.recorder().isClean());
    EXPECT_TRUE(other.recorder().isClean());
    EXPECT_EQ(node.recorder().stops(), 1U);
    EXPECT_EQ(other.recorder().stops(), 0U);
    EXPECT_EQ(second.readers(), 1U);
}

/// What a broken compositor may say of a buffer.
class EveryLie : public testing::TestWithParam<std::function<void(spa_chunk&)>> {};

TEST_P(EveryLie, IsNotFollowed) {
    Cast cast;
    Picture lie{ScriptedPipeWireSource::all(0x123456)};
    lie.spoil = GetParam();

    ASSERT_TRUE(cast.screen.send(lie));
    ASSERT_TRUE(cast.screen.send(blue));

    EXPECT_TRUE(cast.node.recorder().waitForPicture(isAll(blue)));
    EXPECT_EQ(cast.node.recorder().frames(), 2U);
    EXPECT_EQ(cast.node.recorder().stops(), 0U);
}

INSTANTIATE_TEST_SUITE_P(
    ViewerPipeWireStreamMisfortune, EveryLie,
    testing::Values([](spa_chunk& chunk) { chunk.size = 0; },
                    [](spa_chunk& chunk) { chunk.flags = SPA_CHUNK_FLAG_CORRUPTED; },
                    [](spa_chunk& chunk) { --chunk.size; },
                    [](spa_chunk& chunk) { chunk.offset = 1; },
                    [](spa_chunk& chunk) {
                        chunk.offset = std::numeric_limits<std::uint32_t>::max();
                        chunk.size = std::numeric_limits<std::uint32_t>::max();
                    },
                    [](spa_chunk& chunk) { chunk.stride = 0; },
                    [](spa_chunk& chunk) { chunk.stride = -chunk.stride; },
                    [](spa_chunk& chunk) { --chunk.stride; },
                    [](spa_chunk& chunk) {
                        chunk.stride = std::numeric_limits<std::int32_t>::max();
                        chunk.size = std::numeric_limits<std::uint32_t>::max();
                    }));

TEST(ViewerPipeWireStreamMisfortune, ACropOutsideThePictureIsNotFollowed) {
    Cast cast;
    Picture lie{ScriptedPipeWireSource::all(0x123456)};
    lie.crop = ViewerRectangle{1, 0, 64, 48};

    ASSERT_TRUE(cast.screen.send(lie));
    ASSERT_TRUE(cast.screen.send(blue));

    EXPECT_TRUE(cast.node.recorder().waitForPicture(isAll(blue)));
    EXPECT_EQ(cast.node.recorder().frames(), 2U);
}

TEST(ViewerPipeWireStreamMisfortune, MemoryThatBecameShorterIsNotRead) {
    Cast cast;

    cast.screen.truncateMemory();
    ASSERT_TRUE(cast.screen.sendUnpainted());

    EXPECT_TRUE(cast.node.recorder().staysStill(std::chrono::milliseconds(200)));
    EXPECT_TRUE(cast.node.stop());
}

TEST(ViewerPipeWireStreamMisfortune, MemoryThatIsShorterThanItSaysIsNotRead) {
    PipeWireServer server;
    Options options;
    options.missingBytes = 64 * 1024;
    ScriptedPipeWireSource screen(server, options);
    RemoteOnLoop remote(server);
    CapturedNode node(remote, screen.node());
    ASSERT_TRUE(node.start());

    ASSERT_TRUE(screen.send(red));
    ASSERT_TRUE(screen.send(blue));

    EXPECT_TRUE(node.recorder().staysStill(std::chrono::milliseconds(200)));
    EXPECT_TRUE(node.stop());
}

TEST(ViewerPipeWireStreamMisfortune, APipeWireThatNeverWasIsALoss) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends), 0);
    ::close(ends[1]);

    RemoteOnLoop remote(ends[0]);

    EXPECT_TRUE(remote.waitForLoss());
    EXPECT_FALSE(remote.describe().has_value());
    CapturedNode node(remote, 1);
    EXPECT_FALSE(node.start());
    EXPECT_EQ(remote.losses(), 1U);
}

TEST(ViewerPipeWireStreamMisfortune, AConnectionThatBreaksButDoesNotEndIsALoss) {
    // What is no socket takes nothing, and tells so by another error than an end.
    const int noSocket = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    ASSERT_GE(noSocket, 0);

    RemoteOnLoop remote(noSocket);

    EXPECT_TRUE(remote.waitForLoss());
    EXPECT_FALSE(remote.describe().has_value());
    CapturedNode node(remote, 1);
    EXPECT_FALSE(node.start());
    EXPECT_EQ(remote.losses(), 1U);
}

}  // namespace
}  // namespace velmora
