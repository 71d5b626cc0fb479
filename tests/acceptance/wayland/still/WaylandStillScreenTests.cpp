#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/acceptance/wayland/CapturedNodes.h"
#include "tests/acceptance/wayland/WaylandHostTest.h"

namespace velmora {

namespace {

constexpr std::uint32_t colours[] = {red, green, 0x2040c0, 0xc0c020};

/// As many as are captured at once.
std::vector<DesktopOutput> fourOutputs() {
    std::vector<DesktopOutput> outputs;
    for (const std::uint32_t colour : colours) {
        DesktopOutput output;
        // Of different sizes, so that no desktop takes one for another.
        output.width = 640 + 20 * static_cast<int>(outputs.size());
        output.height = 360;
        output.x = outputs.empty() ? 0 : outputs.back().x + outputs.back().width;
        output.colour = colour;
        outputs.push_back(output);
    }
    return outputs;
}

/// On a still screen of each: its first frame, and again after each of 20 times at which its
/// capture ended because nobody asked. Those take 5 real seconds, so four displays have them at
/// once.
template <typename Test>
void expectFramesAfterEveryIdleStop(Test& test, DesktopSession& session,
                                    const std::vector<std::uint32_t>& shown) {
    constexpr std::size_t idleStops = 20;
    std::vector<std::string> ids;
    for (const std::uint32_t colour : shown) {
        ids.push_back(idOf(colour));
        ASSERT_NE(ids.back(), "") << std::hex << colour;
    }
    for (std::size_t stops = 0; stops < idleStops; stops += shown.size()) {
        ASSERT_TRUE(eventually([&] { return CapturedNodes::of(session).links == 0; }));
        for (std::size_t i = 0; i < shown.size(); ++i) {
            EXPECT_TRUE(shows(ids[i], shown[i])) << "after " << stops << " stops";
        }
    }
    EXPECT_EQ(test.end(), endedInOrder);
}

class WaylandStillScreenOnSway : public SwayHostTest {
  public:
    std::optional<HostEnd> end() { return host_.end(SIGTERM); }

  protected:
    WaylandStillScreenOnSway() : SwayHostTest(fourOutputs()) {}
};

TEST_F(WaylandStillScreenOnSway, IsServedAtOnceAfterEveryOf20IdleStops) {
    ASSERT_NO_FATAL_FAILURE(serve());
    expectFramesAfterEveryIdleStop(*this, desktop_.session(),
                                   {std::begin(colours), std::end(colours)});
}

class WaylandStillScreenOnMutter : public MutterHostTest {
  public:
    std::optional<HostEnd> end() { return host_.end(SIGTERM); }

  protected:
    WaylandStillScreenOnMutter() : MutterHostTest(fourOutputs()) {}
};

TEST_F(WaylandStillScreenOnMutter, IsServedAtOnceAfterEveryOf20IdleStops) {
    ASSERT_NO_FATAL_FAILURE(serve());
    expectFramesAfterEveryIdleStop(*this, desktop_.session(),
                                   {std::begin(colours), std::end(colours)});
}

}  // namespace

}  // namespace velmora
