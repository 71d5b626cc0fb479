#include <gtest/gtest.h>

#include <csignal>
#include <memory>
#include <string>

#include "core/protocol/ViewerHostProtocolV1.h"
#include "tests/acceptance/Watcher.h"
#include "tests/acceptance/wayland/CapturedNodes.h"
#include "tests/acceptance/wayland/WaylandHostTest.h"

namespace velmora {

namespace {

/// What a desktop is made of dies while clients poll.
class WaylandDeath : public SwayHostTest {
  protected:
    void serveAndWatch() {
        ASSERT_NO_FATAL_FAILURE(serve());
        left_ = idOf(red);
        right_ = idOf(green);
        ASSERT_NE(left_, "");
        ASSERT_NE(right_, "");
        watchers_.push_back(std::make_unique<Watcher>(left_, red));
        watchers_.push_back(std::make_unique<Watcher>(right_, green));
    }
    void expectNoFrames() {
        EXPECT_TRUE(eventually([&] {
            const int status = HTTPClient::get(frameTarget(left_)).status();
            return status == 404 || status == 503;
        }));
    }
    /// Every answer was a proper one, no slot is lost, and the host ends as always.
    void expectWhole() {
        for (const auto& watcher : watchers_) {
            EXPECT_EQ(watcher->strangeFrames(), 0U);
            EXPECT_EQ(watcher->strangeAnswers(), 0U);
        }
        std::vector<HTTPClient> clients(2 * ViewerHostProtocolV1::maxConcurrentConnections);
        for (HTTPClient& client : clients) {
            client.send("GET " + frameTarget(left_) + " HTTP/1.1\r\n\r\n");
        }
        for (HTTPClient& client : clients) {
            EXPECT_TRUE(client.receive().isWhole);
        }
        EXPECT_EQ(HTTPClient::get("/").status(), 404);
        watchers_.clear();
        EXPECT_EQ(host_.end(SIGTERM), endedInOrder);
    }

    std::string left_;
    std::string right_;
    std::vector<std::unique_ptr<Watcher>> watchers_;
};

TEST_F(WaylandDeath, OfTheCompositor) {
    ASSERT_NO_FATAL_FAILURE(serveAndWatch());
    desktop_.session().kill("sway");
    expectNoFrames();
    EXPECT_TRUE(eventually(nothingIsListed));
    expectWhole();
}

TEST_F(WaylandDeath, OfPipeWire) {
    ASSERT_NO_FATAL_FAILURE(serveAndWatch());
    desktop_.session().kill("pipewire");
    expectNoFrames();
    expectWhole();
}

TEST_F(WaylandDeath, OfTheSessionManager) {
    ASSERT_NO_FATAL_FAILURE(serveAndWatch());
    desktop_.session().kill("wireplumber");
    expectWhole();
}

TEST_F(WaylandDeath, OfTheBackendThatCasts) {
    ASSERT_NO_FATAL_FAILURE(serveAndWatch());
    desktop_.session().kill("backend");
    expectNoFrames();
    expectWhole();
}

TEST_F(WaylandDeath, OfThePortal) {
    ASSERT_NO_FATAL_FAILURE(serveAndWatch());
    desktop_.session().kill("portal");
    expectNoFrames();
    expectWhole();
}

TEST_F(WaylandDeath, OfTheSessionBus) {
    ASSERT_NO_FATAL_FAILURE(serveAndWatch());
    desktop_.session().killBus();
    expectNoFrames();
    EXPECT_TRUE(eventually(nothingIsListed));
    expectWhole();
}

TEST_F(WaylandDeath, OfAnOutput) {
    ASSERT_NO_FATAL_FAILURE(serveAndWatch());
    desktop_.disable(1);

    EXPECT_TRUE(eventually([&] {
        const auto displays = listDisplays();
        return displays && displays->size() <= 1;
    }));
    EXPECT_NE(HTTPClient::get(frameTarget(right_)).status(), 200);
    expectWhole();
}

TEST_F(WaylandDeath, OfALinkIsFollowedByAnother) {
    ASSERT_NO_FATAL_FAILURE(serveAndWatch());
    for (int round = 0; round < 3; ++round) {
        CapturedNodes::unlink(desktop_.session());
        for (const auto& watcher : watchers_) {
            const std::size_t before = watcher->frames();
            EXPECT_TRUE(eventually([&] { return watcher->frames() > before; }));
        }
        EXPECT_TRUE(eventually([&] { return CapturedNodes::of(desktop_.session()).links >= 2; }));
    }
    expectWhole();
}

TEST_F(WaylandDeath, OfAnythingThatOnlyHangsLeavesOtherRequestsAlone) {
    ASSERT_NO_FATAL_FAILURE(serveAndWatch());
    for (const std::string member : {"sway", "pipewire", "portal", "backend"}) {
        desktop_.session().freeze(member);
        for (int i = 0; i < 20; ++i) {
            EXPECT_EQ(HTTPClient::get("/").status(), 404);
        }
        desktop_.session().thaw(member);
    }
    for (const auto& watcher : watchers_) {
        const std::size_t before = watcher->frames();
        EXPECT_TRUE(eventually([&] { return watcher->frames() > before; }));
    }
    expectWhole();
}

using WaylandDeathOnMutter = MutterHostTest;

TEST_F(WaylandDeathOnMutter, OfTheCompositor) {
    ASSERT_NO_FATAL_FAILURE(serve());
    const std::string left = idOf(red);
    const std::string right = idOf(green);
    ASSERT_NE(left, "");
    ASSERT_NE(right, "");
    const Watcher leftWatcher(left, red);
    const Watcher rightWatcher(right, green);
    desktop_.session().kill("mutter");

    EXPECT_TRUE(eventually(nothingIsListed));
    EXPECT_NE(HTTPClient::get(frameTarget(left)).status(), 200);
    EXPECT_NE(HTTPClient::get(frameTarget(right)).status(), 200);
    for (const Watcher* const watcher : {&leftWatcher, &rightWatcher}) {
        EXPECT_EQ(watcher->strangeFrames(), 0U);
        EXPECT_EQ(watcher->strangeAnswers(), 0U);
    }
    EXPECT_EQ(host_.end(SIGTERM), endedInOrder);
}

TEST_F(WaylandDeathOnMutter, APipeWireWhoseLossIsSeenFirstIsServedAgainOnceItIsBack) {
    ASSERT_NO_FATAL_FAILURE(serve());
    const std::string id = idOf(red);
    ASSERT_NE(id, "");
    ASSERT_TRUE(backend_.await("asked").has_value());
    // So the session's end comes after the loss, and the one attempt, before which the lock is
    // asked, after the new PipeWire.
    desktop_.session().freeze("script");
    desktop_.session().kill("wireplumber");
    desktop_.session().kill("pipewire");
    desktop_.session().startPipeWire();
    desktop_.session().thaw("script");

    EXPECT_TRUE(eventually([&] { return shows(id, red); }));
    EXPECT_EQ(backend_.count("asked"), 0U);
    EXPECT_EQ(host_.end(SIGTERM), endedInOrder);
}

TEST_F(WaylandDeathOnMutter, APipeWireThatIsBackIsServedAgainWithoutAQuestion) {
    ASSERT_NO_FATAL_FAILURE(serve());
    const std::string id = idOf(red);
    ASSERT_NE(id, "");
    ASSERT_TRUE(backend_.await("asked").has_value());
    desktop_.session().kill("wireplumber");
    desktop_.session().kill("pipewire");
    desktop_.session().startPipeWire();

    EXPECT_TRUE(eventually([&] { return shows(id, red); }));
    EXPECT_EQ(backend_.count("asked"), 0U);
    EXPECT_EQ(host_.end(SIGTERM), endedInOrder);
}

TEST_F(WaylandDeathOnMutter, AMonitorThatGoesIsNotListedAnyMore) {
    ASSERT_NO_FATAL_FAILURE(serve());
    const std::string left = idOf(red);
    const std::string right = idOf(green);
    ASSERT_NE(left, "");
    ASSERT_NE(right, "");
    const Watcher watcher(right, green);
    ASSERT_TRUE(backend_.await("asked").has_value());
    backend_.arrange("one");

    EXPECT_TRUE(eventually([&] { return HTTPClient::get(frameTarget(right)).status() == 404; }));
    EXPECT_EQ(watcher.strangeFrames(), 0U);
    EXPECT_EQ(watcher.strangeAnswers(), 0U);
    EXPECT_EQ(host_.end(SIGTERM), endedInOrder);
}

}  // namespace

}  // namespace velmora
