#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/acceptance/Watcher.h"
#include "tests/acceptance/wayland/WaylandHostTest.h"

namespace velmora {

namespace {

using Dialect = PortalBackend::Dialect;

struct Desktop final {
    const char* name;
    Dialect dialect;
    bool isReversed;

    friend std::ostream& operator<<(std::ostream& stream, const Desktop& desktop) {
        return stream << desktop.name;
    }
};

bool bothShowSomething() {
    const auto displays = listDisplays();
    return displays && displays->size() == 2 && frameOf(displays->front().id) &&
           frameOf(displays->back().id);
}

/// Two equal monitors are two displays, and each shows its own monitor only.
void expectTwoEqualDisplays() {
    const auto displays = listDisplays();
    ASSERT_TRUE(displays.has_value());
    ASSERT_EQ(displays->size(), 2U);
    const std::string leftId = idOf(red);
    const std::string rightId = idOf(green);
    ASSERT_NE(leftId, "");
    ASSERT_NE(rightId, "");
    const Watcher left(leftId, red);
    const Watcher right(rightId, green);

    constexpr std::size_t many = 20;
    EXPECT_TRUE(eventually([&] { return left.frames() >= many && right.frames() >= many; }));
    EXPECT_EQ(left.strangeFrames() + right.strangeFrames(), 0U);
    for (const ViewerHostDisplay& display : *displays) {
        EXPECT_EQ(display.width, 1280);
        EXPECT_EQ(display.height, 720);
    }
}

/// Two equal monitors, of which each desktop tells something else.
class WaylandDialect : public MutterHostTest, public testing::WithParamInterface<Desktop> {
  protected:
    WaylandDialect() {
        backend_.speak(GetParam().dialect);
        if (GetParam().isReversed) {
            backend_.reverseOrder();
        }
    }
};

TEST_P(WaylandDialect, TwoEqualMonitorsAreTwoDisplaysAndEachShowsOneColourOnly) {
    ASSERT_NO_FATAL_FAILURE(serve());
    expectTwoEqualDisplays();
}

INSTANTIATE_TEST_SUITE_P(Desktops, WaylandDialect,
                         testing::Values(Desktop{"Full", Dialect::full, false},
                                         Desktop{"GNOME43", Dialect::gnome43, false},
                                         Desktop{"GNOME45Reversed", Dialect::gnome45, true},
                                         Desktop{"KDE527", Dialect::kde527, false}),
                         testing::PrintToStringParamName());

std::vector<DesktopOutput> differentMonitors() {
    auto monitors = equalMonitors();
    monitors[1].width = 800;
    monitors[1].height = 600;
    return monitors;
}

/// Monitors that their size tells apart.
class WaylandDialectOfSizes : public MutterHostTest {
  protected:
    WaylandDialectOfSizes() : MutterHostTest(differentMonitors()) {}
};

TEST_F(WaylandDialectOfSizes, WhereOnlySizesAreToldTheMainDisplayIsStillFirst) {
    backend_.speak(Dialect::kde527);
    backend_.reverseOrder();
    ASSERT_NO_FATAL_FAILURE(serve());
    const auto displays = listDisplays();

    ASSERT_TRUE(displays.has_value());
    ASSERT_EQ(displays->size(), 2U);
    EXPECT_EQ(displays->at(0).width, 1280);
    EXPECT_EQ(displays->at(0).id, idOf(red));
    EXPECT_EQ(displays->at(1).width, 800);
    EXPECT_EQ(displays->at(1).height, 600);
    EXPECT_EQ(displays->at(1).id, idOf(green));
}

/// Outputs of a compositor whose portal calls each of them a window at 0,0.
class WaylandDialectOfWlroots : public SwayHostTest {
  protected:
    explicit WaylandDialectOfWlroots(const std::vector<DesktopOutput>& outputs = equalMonitors())
        : SwayHostTest(outputs) {
        backend_.speak(Dialect::wlr07);
        backend_.reverseOrder();
        // What a backend has to offer the portal asks once.
        desktop_.session().killPortal();
        desktop_.session().startPortal();
    }
};

TEST_F(WaylandDialectOfWlroots, TwoEqualMonitorsAreTwoDisplaysAndEachShowsOneColourOnly) {
    ASSERT_NO_FATAL_FAILURE(serve());
    // Now and then the one picture that this portal casts of a still output never arrives, and of
    // equal outputs nobody knows which to copy instead.
    ASSERT_TRUE(eventually([&] {
        desktop_.painter(0).repeat();
        desktop_.painter(1).repeat();
        return bothShowSomething();
    }));
    expectTwoEqualDisplays();
}

class WaylandDialectOfWlrootsSizes : public WaylandDialectOfWlroots {
  protected:
    WaylandDialectOfWlrootsSizes() : WaylandDialectOfWlroots(differentMonitors()) {}
};

TEST_F(WaylandDialectOfWlrootsSizes, TheSizeTellsAndTheMainDisplayIsFirst) {
    ASSERT_NO_FATAL_FAILURE(serve());
    const auto displays = listDisplays();

    ASSERT_TRUE(displays.has_value());
    ASSERT_EQ(displays->size(), 2U);
    EXPECT_EQ(displays->at(0).width, 1280);
    EXPECT_EQ(displays->at(0).id, idOf(red));
    EXPECT_EQ(displays->at(1).width, 800);
    EXPECT_EQ(displays->at(1).id, idOf(green));
}

}  // namespace

}  // namespace velmora
