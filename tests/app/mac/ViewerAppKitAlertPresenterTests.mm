#include <gmock/gmock.h>

#include <optional>

#include "tests/app/mac/ApplicationTest.h"
#include "tests/mac/frameworks/FrameworkCalls.h"

// What belongs to the alerts beside their panels.

namespace velmora {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using ViewerAppKitAlertPresenter = ApplicationTest;

TEST_F(ViewerAppKitAlertPresenter, ItComesBeforeAllOthers) {
    services_.alerts->bringToFront();
    EXPECT_THAT(FrameworkCalls::take(), ElementsAre("activateIgnoringOtherApps 1"));
}

TEST_F(ViewerAppKitAlertPresenter, APageIsOpenedWhereItsAddressIsOne) {
    services_.alerts->openPage(
        "x-apple.systempreferences:com.apple.preference.security?Privacy_ScreenCapture");
    EXPECT_THAT(FrameworkCalls::take(),
                ElementsAre("openURL x-apple.systempreferences:com.apple.preference.security?"
                            "Privacy_ScreenCapture"));
    services_.alerts->openPage("\xff");
    EXPECT_THAT(FrameworkCalls::take(), IsEmpty());
}

TEST_F(ViewerAppKitAlertPresenter, TheLanguageIsTheLocalesWhereItHasOne) {
    EXPECT_EQ(services_.alerts->languageCode(), std::nullopt);
    script_.languageCode = "ru";
    EXPECT_EQ(services_.alerts->languageCode(), "ru");
    script_.hasNumberAsLanguage = true;
    EXPECT_EQ(services_.alerts->languageCode(), std::nullopt);
    EXPECT_EQ(services_.alerts->wording(), ViewerAlertWording::mac);
}

}  // namespace
}  // namespace velmora
