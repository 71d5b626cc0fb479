#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>

#include "app/ViewerAlertCatalogue.h"
#include "tests/acceptance/alerts/AlertX11Test.h"
#include "tests/support/host/HostTest.h"
#include "tests/support/x11/XInput.h"
#include "tests/support/x11/XPainter.h"

namespace velmora {

namespace {

bool isInside(const ViewerRectangle& part, const ViewerRectangle& whole) {
    return intersection(part, whole) == part && !part.isEmpty();
}

/// The windows of alerts.
class AlertWindow : public AlertX11Test {
  protected:
    /// How many pixels of the icon have a colour that `isMeant`.
    template <typename IsMeant>
    std::ptrdiff_t iconPixels(const SeenAlert& seen, IsMeant isMeant) {
        return std::ranges::count_if(
            XPainter(*server_).read(seen.iconPlaces.at(0)), [isMeant](std::uint32_t colour) {
                return isMeant(colour >> 16 & 0xff, colour >> 8 & 0xff, colour & 0xff);
            });
    }
};

TEST_F(AlertWindow, TheFirstButtonIsTheFirstAndAnotherIsAnother) {
    show(twoButtons());
    session_.press("First");
    EXPECT_EQ(answer(), true);
    show(twoButtons());
    session_.press("Second");
    EXPECT_EQ(answer(), false);
}

TEST_F(AlertWindow, ReturnPressesTheFirstButton) {
    show(twoButtons());
    EXPECT_EQ(answerTo(XInput::returnKey), true);
}

TEST_F(AlertWindow, EscapeIsNotTheFirstButton) {
    show(twoButtons());
    EXPECT_EQ(answerTo(XInput::escapeKey), false);
    show({ViewerAlertStyle::critical, "Title", "Only one button.", {"OK"}});
    EXPECT_EQ(answerTo(XInput::escapeKey), false);
}

TEST_F(AlertWindow, ShowsItsTextsAsTheyAre) {
    const ViewerAlert alert(ViewerAlertStyle::warning, "<b>Title</b> & more",
                            "<html>Not &amp; markup → \"quoted\"", {"&Open & close", "Закрыть"});
    const SeenAlert seen = show(alert);

    EXPECT_TRUE(seen.shows(alert)) << seen;
}

TEST_F(AlertWindow, ItsTextCanBeSelected) {
    const SeenAlert seen = show(twoButtons());
    XInput input(*server_);
    EXPECT_FALSE(input.isAnythingSelected());
    const ViewerRectangle& text = seen.textPlaces.at(1);

    EXPECT_TRUE(eventually([&] {
        input.doubleClick(text.x + 10, text.y + text.height / 2);
        return input.isAnythingSelected();
    }));
}

TEST_F(AlertWindow, TheIconIsThatOfItsStyle) {
    constexpr int some = 40;
    const auto isYellow = [](auto red, auto green, auto blue) {
        return red > 200 && green > 180 && blue < 100;
    };
    // Darker in Qt 6.4 than in 6.8.
    const auto isBlue = [](auto red, auto green, auto blue) {
        return blue > 150 && red < 100 && green < blue - 40;
    };
    const auto isRed = [](auto red, auto green, auto blue) {
        return red > 150 && green < 100 && blue < 100;
    };
    const SeenAlert warning = show(twoButtons(ViewerAlertStyle::warning));
    EXPECT_TRUE(eventually([&] { return iconPixels(warning, isYellow) > some; }));
    EXPECT_EQ(iconPixels(warning, isBlue) + iconPixels(warning, isRed), 0);
    const SeenAlert informational = show(twoButtons(ViewerAlertStyle::informational));
    EXPECT_TRUE(eventually([&] { return iconPixels(informational, isBlue) > some; }));
    EXPECT_EQ(iconPixels(informational, isYellow) + iconPixels(informational, isRed), 0);
    const SeenAlert critical = show(twoButtons(ViewerAlertStyle::critical));
    EXPECT_TRUE(eventually([&] { return iconPixels(critical, isRed) > some; }));
    EXPECT_EQ(iconPixels(critical, isYellow) + iconPixels(critical, isBlue), 0);
}

TEST_F(AlertWindow, ATextThatIsTooLongForTheScreenScrolls) {
    std::string text;
    for (int i = 0; i < 1000; ++i) {
        text += "more and ";
    }
    const SeenAlert seen = show({ViewerAlertStyle::critical, "Title", text, {"OK"}});

    EXPECT_TRUE(isInside(seen.place, {0, 0, 1280, 720}));
    EXPECT_TRUE(isInside(seen.buttonPlaces.at(0), seen.place));
    EXPECT_FALSE(isInside(seen.textPlaces.at(1), seen.place));
}

/// In pixels, in points, and pixels of the screen for one of the window's, in either direction.
struct Screen final {
    int width;
    int height;
    int fontSize;
    int scale;
};

class AlertWindowOn : public AlertWindow, public testing::WithParamInterface<Screen> {};

TEST_P(AlertWindowOn, TheWindowFitsAndHidesNoButton) {
    const Screen& screen = GetParam();
    useScreen(screen.width, screen.height);
    useFontSize(screen.fontSize);
    environment_.set("QT_SCALE_FACTOR", std::to_string(screen.scale));
    const SeenAlert seen = show(ViewerAlertCatalogue("ru", ViewerAlertWording::mac)
                                    .permissionMissing(ViewerCaptureAccess::requestable));
    // Places are told in the window's pixels.
    const ViewerRectangle whole{0, 0, screen.width / screen.scale, screen.height / screen.scale};

    EXPECT_TRUE(isInside(seen.place, whole));
    ASSERT_EQ(seen.buttonPlaces.size(), 2U);
    for (const ViewerRectangle& button : seen.buttonPlaces) {
        EXPECT_TRUE(isInside(button, seen.place));
    }
    EXPECT_TRUE(intersection(seen.buttonPlaces[0], seen.buttonPlaces[1]).isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Screens, AlertWindowOn,
                         testing::Values(Screen{320, 240, 9, 1}, Screen{640, 480, 40, 1},
                                         Screen{800, 600, 9, 2}));

}  // namespace

}  // namespace velmora
