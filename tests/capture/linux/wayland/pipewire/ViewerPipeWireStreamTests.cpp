#include "core/capture/linux/wayland/pipewire/ViewerPipeWireStream.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <boost/asio/io_context.hpp>
#include <cstdint>
#include <future>
#include <memory>
#include <string>

#include "core/capture/linux/wayland/pipewire/ViewerPipeWireThread.h"
#include "tests/capture/linux/wayland/pipewire/CapturedNode.h"
#include "tests/support/pipewire/ScriptedPipeWireSource.h"

namespace velmora {
namespace {

using Options = ScriptedPipeWireSource::Options;
using Picture = ScriptedPipeWireSource::Picture;
using Seen = StreamRecorder::Picture;

constexpr std::uint32_t red = 0xff0000;
constexpr std::uint32_t green = 0x00ff00;
constexpr std::uint32_t blue = 0x0000ff;

StreamRecorder::Judgement isAll(std::uint32_t colour) {
    return [colour](const Seen& picture) { return picture.isAll(colour); };
}

/// A colour that is another one for each pixel of a small picture.
std::uint32_t mixed(std::int64_t x, std::int64_t y) {
    return static_cast<std::uint32_t>(x * 3 % 256 << 16 | y * 4 % 256 << 8 | x * y % 256);
}

bool isMixed(const Seen& picture, std::int64_t width, std::int64_t height) {
    bool result = picture.width == width && picture.height == height;
    for (std::int64_t y = 0; result && y < height; ++y) {
        for (std::int64_t x = 0; result && x < width; ++x) {
            result = picture.at(x, y) == mixed(x, y);
        }
    }
    return result;
}

/// A screen, and the capture of it.
struct Cast final {
    explicit Cast(Options options) : screen(server, std::move(options)) {}

    PipeWireServer server;
    ScriptedPipeWireSource screen;
    RemoteOnLoop remote{server};
    CapturedNode node{remote, screen.node()};
};

TEST(ViewerPipeWireStream, DeliversWhatTheNodeShows) {
    Cast cast({});
    ASSERT_TRUE(cast.node.start());

    ASSERT_TRUE(cast.screen.send(red));
    ASSERT_TRUE(cast.node.recorder().waitForPicture(isAll(red)));
    ASSERT_TRUE(cast.screen.send(blue));
    EXPECT_TRUE(cast.node.recorder().waitForPicture(isAll(blue)));
    EXPECT_TRUE(cast.node.recorder().isClean());
}

class EveryFormat : public testing::TestWithParam<std::uint32_t> {};

TEST_P(EveryFormat, ShowsTheSameColours) {
    Options options;
    options.format = GetParam();
    Cast cast(options);
    ASSERT_TRUE(cast.node.start());

    ASSERT_TRUE(cast.screen.send(Picture{mixed}));

    EXPECT_TRUE(cast.node.recorder().waitForPicture(
        [](const Seen& picture) { return isMixed(picture, 64, 48); }));
}

INSTANTIATE_TEST_SUITE_P(ViewerPipeWireStream, EveryFormat,
                         testing::Values(SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_RGBx,
                                         SPA_VIDEO_FORMAT_BGRA, SPA_VIDEO_FORMAT_RGBA,
                                         SPA_VIDEO_FORMAT_xRGB_210LE, SPA_VIDEO_FORMAT_xBGR_210LE,
                                         SPA_VIDEO_FORMAT_ARGB_210LE, SPA_VIDEO_FORMAT_ABGR_210LE,
                                         SPA_VIDEO_FORMAT_RGBx_102LE, SPA_VIDEO_FORMAT_BGRx_102LE,
                                         SPA_VIDEO_FORMAT_RGBA_102LE, SPA_VIDEO_FORMAT_BGRA_102LE));

TEST(ViewerPipeWireStream, ALargeScreenIsReducedByArea) {
    Options options;
    options.width = 1920;
    options.height = 1080;
    for (const std::uint32_t format : {SPA_VIDEO_FORMAT_RGBx, SPA_VIDEO_FORMAT_xRGB_210LE}) {
        options.format = format;
        Cast cast(options);
        ASSERT_TRUE(cast.node.start());

        // One pixel of each nine is white.
        ASSERT_TRUE(cast.screen.send(Picture{[](std::int64_t x, std::int64_t y) {
            return x % 3 == 1 && y % 3 == 1 ? 0xffffffU : 0U;
        }}));

        ASSERT_TRUE(cast.node.recorder().waitForFrames(1));
        EXPECT_EQ(cast.node.recorder().latest().width, 640);
        EXPECT_EQ(cast.node.recorder().latest().height, 360);
        EXPECT_TRUE(cast.node.recorder().latest().isAll(0x1c1c1c));
    }
}

TEST(ViewerPipeWireStream, RowsMayBeLongerThanThePictureAndBeginLater) {
    Options options;
    options.rowPadding = 52;
    options.offset = 4 * 1024 + 36;
    Cast cast(options);
    ASSERT_TRUE(cast.node.start());

    ASSERT_TRUE(cast.screen.send(Picture{mixed}));

    EXPECT_TRUE(cast.node.recorder().waitForPicture(
        [](const Seen& picture) { return isMixed(picture, 64, 48); }));
}

TEST(ViewerPipeWireStream, OfACroppedPictureOnlyTheShownPartIsDelivered) {
    Cast cast({});
    ASSERT_TRUE(cast.node.start());
    Picture picture{[](std::int64_t x, std::int64_t y) { return mixed(x - 5, y - 7); }};
    picture.crop = ViewerRectangle{5, 7, 30, 20};

    ASSERT_TRUE(cast.screen.send(picture));

    EXPECT_TRUE(cast.node.recorder().waitForPicture(
        [](const Seen& seen) { return isMixed(seen, 30, 20); }));
}

/// Where in the buffer the corners of the picture lie that are at the top left and the top right.
struct Corners final {
    bool isFirstRight;
    bool isFirstBottom;
    bool isSecondRight;
    bool isSecondBottom;
};

TEST(ViewerPipeWireStream, ATurnedOrMirroredPictureIsDeliveredAsItIsSeen) {
    constexpr std::array<Corners, 8> transforms{{{false, false, true, false},
                                                 {false, true, false, false},
                                                 {true, true, false, true},
                                                 {true, false, true, true},
                                                 {true, false, false, false},
                                                 {false, false, false, true},
                                                 {false, true, true, true},
                                                 {true, true, true, false}}};
    Cast cast({});
    ASSERT_TRUE(cast.node.start());
    for (std::uint32_t transform = 0; transform < transforms.size(); ++transform) {
        const Corners corners = transforms.at(transform);
        Picture picture{[corners](std::int64_t x, std::int64_t y) {
            const bool isRight = x >= 32;
            const bool isBottom = y >= 24;
            const bool isFirst =
                isRight == corners.isFirstRight && isBottom == corners.isFirstBottom;
            const bool isSecond =
                isRight == corners.isSecondRight && isBottom == corners.isSecondBottom;
            return isFirst ? red : isSecond ? green : blue;
        }};
        picture.transform = transform;
        const bool isTurned = transform % 2 == 1;

        ASSERT_TRUE(cast.screen.send(picture));

        EXPECT_TRUE(cast.node.recorder().waitForPicture([&](const Seen& seen) {
            return seen.width == (isTurned ? 48 : 64) && seen.height == (isTurned ? 64 : 48) &&
                   seen.at(0, 0) == red && seen.at(seen.width - 1, 0) == green &&
                   seen.at(0, seen.height - 1) == blue &&
                   seen.at(seen.width - 1, seen.height - 1) == blue;
        })) << "transform "
            << transform;
    }
}

TEST(ViewerPipeWireStream, ATurnedScreenIsReducedAsItIsSeen) {
    Options options;
    options.width = 1920;
    options.height = 1080;
    Cast cast(options);
    ASSERT_TRUE(cast.node.start());
    Picture picture{ScriptedPipeWireSource::all(green)};
    picture.transform = 1;

    ASSERT_TRUE(cast.screen.send(picture));

    ASSERT_TRUE(cast.node.recorder().waitForPicture(isAll(green)));
    EXPECT_EQ(cast.node.recorder().latest().width, 202);
    EXPECT_EQ(cast.node.recorder().latest().height, 360);
}

TEST(ViewerPipeWireStream, AFormatThatChangesIsFollowed) {
    Cast cast({});
    ASSERT_TRUE(cast.node.start());
    ASSERT_TRUE(cast.screen.send(red));
    ASSERT_TRUE(cast.node.recorder().waitForPicture(isAll(red)));

    cast.screen.renegotiate(SPA_VIDEO_FORMAT_RGBA, 80, 20);
    ASSERT_TRUE(cast.node.receivesNext(cast.screen, Picture{mixed}));

    EXPECT_TRUE(cast.node.recorder().waitForPicture(
        [](const Seen& picture) { return isMixed(picture, 80, 20); }));
    EXPECT_EQ(cast.node.recorder().stops(), 0U);
}

TEST(ViewerPipeWireStream, AFormatThatChangesDuringABriefPauseIsFollowed) {
    // A busy machine makes a pause a long one, which ends the stream.
    constexpr int attempts = 3;
    bool isFollowed = false;
    for (int attempt = 0; attempt < attempts && !isFollowed; ++attempt) {
        Cast cast({});
        ASSERT_TRUE(cast.node.start());
        ASSERT_TRUE(cast.screen.send(red));
        ASSERT_TRUE(cast.node.recorder().waitForPicture(isAll(red)));

        cast.screen.pause();
        ASSERT_TRUE(cast.screen.awaitNoReader());
        cast.screen.renegotiate(SPA_VIDEO_FORMAT_BGRx, 48, 64);
        cast.screen.resume();

        isFollowed = cast.node.receivesNext(cast.screen, Picture{mixed}) &&
                     cast.node.recorder().waitForPicture(
                         [](const Seen& picture) { return isMixed(picture, 48, 64); });
        ASSERT_LE(cast.node.recorder().stops(), isFollowed ? 0U : 1U);
    }
    EXPECT_TRUE(isFollowed);
}

TEST(ViewerPipeWireStream, AnEqualPictureIsNoFrame) {
    Cast cast({});
    ASSERT_TRUE(cast.node.start());
    ASSERT_TRUE(cast.screen.send(red));
    ASSERT_TRUE(cast.node.recorder().waitForPicture(isAll(red)));

    ASSERT_TRUE(cast.screen.send(red));
    ASSERT_TRUE(cast.screen.send(red));
    ASSERT_TRUE(cast.screen.send(blue));

    ASSERT_TRUE(cast.node.recorder().waitForPicture(isAll(blue)));
    EXPECT_EQ(cast.node.recorder().frames(), 2U);
}

TEST(ViewerPipeWireStream, ASecondStreamOfANodeShowsItAnew) {
    Cast cast({});
    ASSERT_TRUE(cast.node.start());
    ASSERT_TRUE(cast.screen.send(red));
    ASSERT_TRUE(cast.node.recorder().waitForPicture(isAll(red)));
    ASSERT_TRUE(cast.node.stop());

    CapturedNode again(cast.remote, cast.screen.node());
    ASSERT_TRUE(again.start());
    ASSERT_TRUE(cast.screen.send(blue));

    EXPECT_TRUE(again.recorder().waitForPicture(isAll(blue)));
}

TEST(ViewerPipeWireStream, OneThatIsStoppedBeforePipeWireAnswersReadsNothing) {
    PipeWireServer server;
    ScriptedPipeWireSource screen(server);
    PipeWireClient watcher(server.connect());
    const std::size_t before = watcher.count(PW_TYPE_INTERFACE_Node);
    const int connection = server.connect();
    server.hang();
    RemoteOnLoop remote(connection);
    CapturedNode node(remote, screen.node());

    ASSERT_TRUE(node.start());
    ASSERT_TRUE(node.stop());
    server.resume();

    ASSERT_TRUE(remote.describe().has_value());
    EXPECT_EQ(watcher.count(PW_TYPE_INTERFACE_Node), before);
}

TEST(ViewerPipeWireStream, AStopWhoseConnectionGoesMeanwhileCompletes) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends), 0);
    std::promise<void> lost;
    const auto thread = ViewerPipeWireThread::start(ends[0], [&] { lost.set_value(); });
    boost::asio::io_context idle;  // so that its start has no limit
    RecordedStream stream(std::make_shared<ViewerPipeWireStream>(
        idle.get_executor(), nullptr, thread, ViewerGrantedStream(), RecordedStream::settings(),
        ViewerPipeWireStream::StillPicture()));
    bool isStarted = true;

    // A stop completes the start first.
    stream.stream().start([&](bool succeeded) {
        isStarted = succeeded;
        ::close(ends[1]);
        lost.get_future().wait();
    });
    EXPECT_TRUE(stream.stop());

    EXPECT_FALSE(isStarted);
    EXPECT_EQ(stream.recorder().stops(), 0U);
}

}  // namespace
}  // namespace velmora
