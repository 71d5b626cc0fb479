#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "tests/support/desktop/MutterDesktop.h"
#include "tests/support/desktop/ReferenceClient.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;
using Answer = PortalBackend::Answer;
using Dialect = PortalBackend::Dialect;

constexpr std::uint32_t red = 0xc02020;
constexpr std::uint32_t green = 0x20c020;

DesktopOutput monitor(int width, int height, std::uint32_t colour) {
    DesktopOutput made;
    made.width = width;
    made.height = height;
    made.colour = colour;
    return made;
}

/// Two equal monitors beside each other.
class MutterDesktopTest : public testing::Test {
  protected:
    SeenAnswer ask() { return askAsAnotherProgram(desktop_.session()); }

    MutterDesktop desktop_{{monitor(1280, 720, red), monitor(1280, 720, green)}};
    PortalBackend& backend_ = desktop_.backend();
};

TEST_F(MutterDesktopTest, GrantsEachMonitorInItsOwnColour) {
    const SeenAnswer seen = ask();

    ASSERT_EQ(seen.status, 0);
    ASSERT_EQ(seen.streams.size(), 2U);
    EXPECT_TRUE(seen.streams[0].isAll(red)) << seen.streams[0];
    EXPECT_TRUE(seen.streams[1].isAll(green)) << seen.streams[1];
    EXPECT_EQ(seen.streams[1].width, 1280);
    EXPECT_EQ(seen.streams[1].height, 720);
    EXPECT_THAT(seen.streams[1].facts, HasSubstr(R"("position":[1280,0])"));
    EXPECT_THAT(seen.streams[1].facts, HasSubstr(R"("mapping_id":"Meta-1")"));
}

TEST_F(MutterDesktopTest, TellsWhatEachDesktopTells) {
    backend_.speak(Dialect::gnome43);
    const std::string gnome43 = ask().streams.at(1).facts;
    EXPECT_THAT(gnome43, HasSubstr(R"("position":[1280,0])"));
    EXPECT_THAT(gnome43, Not(HasSubstr("mapping_id")));
    backend_.speak(Dialect::gnome45);
    EXPECT_THAT(ask().streams.at(1).facts, HasSubstr(R"("mapping_id":"00000000)"));
    backend_.speak(Dialect::kde527);
    EXPECT_EQ(ask().streams.at(1).facts, R"({"source_type":1,"size":[1280,720]})");
    backend_.speak(Dialect::wlr07);
    EXPECT_EQ(ask().streams.at(1).facts, R"({"source_type":2,"size":[1280,720],"position":[0,0]})");
}

TEST_F(MutterDesktopTest, GrantsOneMonitorAWindowOrTheWholeWorkspaceAndInAnyOrder) {
    backend_.pick("1");
    const SeenAnswer one = ask();
    ASSERT_EQ(one.streams.size(), 1U);
    EXPECT_TRUE(one.streams[0].isAll(green)) << one.streams[0];
    backend_.pick("window");
    const SeenAnswer window = ask();
    ASSERT_EQ(window.streams.size(), 1U);
    EXPECT_EQ(window.streams[0].width, 320);
    EXPECT_THAT(window.streams[0].facts, HasSubstr(R"("source_type":2)"));
    backend_.pick("workspace");
    const SeenAnswer workspace = ask();
    ASSERT_EQ(workspace.streams.size(), 1U);
    EXPECT_EQ(workspace.streams[0].width, 2560);
    backend_.pick("all");
    backend_.reverseOrder();
    const SeenAnswer reversed = ask();
    ASSERT_EQ(reversed.streams.size(), 2U);
    EXPECT_TRUE(reversed.streams[0].isAll(green)) << reversed.streams[0];
}

TEST_F(MutterDesktopTest, CancelsAndFails) {
    backend_.answer(Answer::cancel);
    EXPECT_EQ(ask().status, 1);
    backend_.answer(Answer::fail);
    EXPECT_EQ(ask().status, 2);
}

}  // namespace

}  // namespace velmora
