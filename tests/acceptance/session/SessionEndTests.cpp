#include <gtest/gtest.h>
#include <xcb/xproto.h>

#include <chrono>
#include <fstream>
#include <optional>
#include <string>
#include <thread>

#include "core/capture/ViewerScreenCapture.h"
#include "tests/support/host/HostTest.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

/// The real minute: these wait, and need the machine for nothing.
class SessionEnd : public HostTest {
  protected:
    /// How often the host's main thread has waited for something.
    long waits() const {
        std::ifstream status("/proc/" + std::to_string(host_->id()) + "/status");
        const std::string key = "voluntary_ctxt_switches:";
        std::string line;
        while (std::getline(status, line)) {
            if (line.starts_with(key)) {
                return std::stol(line.substr(key.size()));
            }
        }
        return -1;
    }
};

TEST_F(SessionEnd, AMinuteAfterItsXServerTheHostThatNobodyAskedEndsAndThePortIsFree) {
    serve();
    server_.kill();
    EXPECT_EQ(host_->awaitEnd(55s), std::nullopt);
    EXPECT_EQ(host_->awaitEnd(), endedInOrder);

    server_.restart();
    serve();
}

TEST_F(SessionEnd, AMinuteAfterItsXServerTheHostThatIsAskedAllTheTimeEnds) {
    serve();
    const std::string id = idOf("screen");
    ASSERT_TRUE(frameOf(id).has_value());
    server_.kill();
    const auto begin = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() - begin < 55s) {
        ASSERT_TRUE(HTTPClient::get(frameTarget(id)).isWhole);
        ASSERT_EQ(host_->awaitEnd(1s), std::nullopt);
    }
    EXPECT_EQ(host_->awaitEnd(), endedInOrder);
}

TEST_F(SessionEnd, AHostThatNobodyAskedIsNotWokenByWhatHappensOnTheScreen) {
    serve();
    const auto client = server_.connect();
    EXPECT_TRUE(eventually([&] {
        const long before = waits();
        for (int i = 0; i < 100; ++i) {
            painter_.fill({i, i, 100, 100}, 0x405060);
        }
        server_.setMonitor("new", {0, 0, 100, 100});
        xcb_change_property(client->connection(), XCB_PROP_MODE_REPLACE, client->root(),
                            XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, 4, "name");
        client->finish();
        return before > 0 && waits() == before;
    }));
}

TEST_F(SessionEnd, AHostThatNobodyAsksAnyMoreIsNotWokenForAMinute) {
    serve();
    ASSERT_TRUE(frameOf(idOf("screen")).has_value());
    ASSERT_TRUE(eventually([&] { return host_->threads() == 1; }));
    // The loop's timer may still be set for the limit of the last stop, which has been met.
    std::this_thread::sleep_for(ViewerScreenCapture::answerLimit + 1s);
    const long before = waits();
    std::this_thread::sleep_for(1min);
    EXPECT_EQ(waits(), before);
}

}  // namespace

}  // namespace velmora
