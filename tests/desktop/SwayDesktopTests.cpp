#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tuple>

#include "tests/support/desktop/ReferenceClient.h"
#include "tests/support/desktop/SwayDesktop.h"

namespace velmora {

namespace {

using testing::HasSubstr;

constexpr std::uint32_t red = 0xc02020;
constexpr std::uint32_t green = 0x20c020;
constexpr std::uint32_t blue = 0x3060c0;

DesktopOutput output(int width, int height, int x, std::uint32_t colour) {
    DesktopOutput made;
    made.width = width;
    made.height = height;
    made.x = x;
    made.colour = colour;
    return made;
}

SeenAnswer ask(SwayDesktop& desktop, std::size_t shownOutputs) {
    return askAsAnotherProgram(desktop.session(), [&] {
        for (std::size_t i = 0; i < shownOutputs; ++i) {
            desktop.painter(i).repeat();
        }
    });
}

TEST(SwayDesktop, GrantsTheOutputThatWasChosenInItsOwnColour) {
    SwayDesktop desktop({output(1280, 720, 0, red), output(800, 600, 1280, green)});
    for (const auto& [index, colour, width] : {std::tuple{0U, red, 1280}, {1U, green, 800}}) {
        desktop.choose(SwayDesktop::connector(index));
        const SeenAnswer seen = ask(desktop, 2);

        ASSERT_EQ(seen.status, 0);
        ASSERT_EQ(seen.streams.size(), 1U);
        EXPECT_EQ(seen.streams[0].width, width);
        EXPECT_TRUE(seen.streams[0].isAll(colour)) << seen.streams[0];
    }
}

TEST(SwayDesktop, GrantsSeveralOutputsWhereAScriptAnswers) {
    DesktopOutput doubled = output(1024, 768, 1280, blue);
    doubled.scale = 2;
    DesktopOutput turned = output(800, 600, 1792, green);
    turned.transform = "90";
    SwayDesktop desktop({output(1280, 720, 0, red), doubled, turned},
                        SwayDesktop::Answers::scripted);
    const SeenAnswer seen = ask(desktop, 3);

    ASSERT_EQ(seen.status, 0);
    ASSERT_EQ(seen.streams.size(), 3U);
    EXPECT_TRUE(seen.streams[0].isAll(red)) << seen.streams[0];
    EXPECT_TRUE(seen.streams[1].isAll(blue)) << seen.streams[1];
    EXPECT_TRUE(seen.streams[2].isAll(green)) << seen.streams[2];
    EXPECT_EQ(seen.streams[1].width, 1024);
    EXPECT_THAT(seen.streams[1].facts, HasSubstr(R"("size":[512,384])"));
    EXPECT_THAT(seen.streams[2].facts, HasSubstr(R"("position":[1792,0])"));
    EXPECT_THAT(seen.streams[2].facts, HasSubstr(R"("size":[600,800])"));
}

TEST(SwayDesktop, AnOutputThatWasSwitchedOffIsBackInItsOwnColour) {
    SwayDesktop desktop({output(1280, 720, 0, red), output(800, 600, 1280, green)},
                        SwayDesktop::Answers::scripted);
    desktop.disable(1);
    const SeenAnswer without = ask(desktop, 1);
    ASSERT_EQ(without.streams.size(), 1U);
    EXPECT_TRUE(without.streams[0].isAll(red)) << without.streams[0];
    desktop.enable(1);
    desktop.painter(1).fill(blue);
    const SeenAnswer with = ask(desktop, 2);
    ASSERT_EQ(with.streams.size(), 2U);
    EXPECT_TRUE(with.streams[0].isAll(red)) << with.streams[0];
    EXPECT_TRUE(with.streams[1].isAll(blue)) << with.streams[1];
}

TEST(SwayDesktop, EachMemberEndsAloneAndCanBeStartedAgain) {
    SwayDesktop desktop({output(640, 360, 0, red)});
    DesktopSession& session = desktop.session();
    session.freeze("sway");
    session.thaw("sway");
    session.killPortal();
    for (const std::string member : {"wireplumber", "pipewire", "backend"}) {
        session.kill(member);
        EXPECT_EQ(session.processOf(member), 0);
    }
    session.startPipeWire();
    desktop.startPortal();
    const SeenAnswer seen = ask(desktop, 1);

    ASSERT_EQ(seen.streams.size(), 1U);
    EXPECT_TRUE(seen.streams[0].isAll(red)) << seen.streams[0];
}

}  // namespace

}  // namespace velmora
