#include "app/ViewerAlertCatalogue.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace velmora {

namespace {

using Access = ViewerCaptureAccess;
using Wording = ViewerAlertWording;

ViewerAlert informational(const char* title, const char* text, std::vector<std::string> buttons) {
    return {ViewerAlertStyle::informational, title, text, std::move(buttons)};
}

ViewerAlert warning(const char* title, const char* text, std::vector<std::string> buttons) {
    return {ViewerAlertStyle::warning, title, text, std::move(buttons)};
}

TEST(ViewerAlertCatalogue, TheConsentAlertOfAMacInEnglish) {
    EXPECT_EQ(
        ViewerAlertCatalogue("en", Wording::mac).consent(),
        informational(
            "Allow Viewer Host to Share Displays?",
            "Viewer Host sends reduced JPEG previews of this Mac's physical displays to Velmora "
            "operators on the local network. Capture starts only when a frame is requested. macOS "
            "will now show its standard Screen Recording permission request.",
            {"Continue", "Cancel"}));
}

TEST(ViewerAlertCatalogue, TheConsentAlertOfAMacInRussian) {
    EXPECT_EQ(
        ViewerAlertCatalogue("ru", Wording::mac).consent(),
        informational("Разрешить Viewer Host показывать дисплеи?",
                      "Viewer Host передаёт уменьшенные JPEG-превью физических дисплеев этого Mac "
                      "операторам Velmora в локальной сети. Захват начинается только после запроса "
                      "кадра. macOS сейчас покажет штатный запрос доступа к записи экрана.",
                      {"Продолжить", "Отмена"}));
}

TEST(ViewerAlertCatalogue, TheConsentAlertOfALinuxMachineInEnglish) {
    EXPECT_EQ(ViewerAlertCatalogue("en", Wording::linuxDesktop).consent(),
              informational(
                  "Allow Viewer Host to Share Displays?",
                  "Viewer Host sends reduced JPEG previews of this computer's physical displays to "
                  "Velmora operators on the local network. Capture starts only when a frame is "
                  "requested. The system will now show its request for access to the screen.",
                  {"Continue", "Cancel"}));
}

TEST(ViewerAlertCatalogue, TheConsentAlertOfALinuxMachineInRussian) {
    EXPECT_EQ(ViewerAlertCatalogue("ru", Wording::linuxDesktop).consent(),
              informational(
                  "Разрешить Viewer Host показывать дисплеи?",
                  "Viewer Host передаёт уменьшенные JPEG-превью физических дисплеев этого "
                  "компьютера операторам Velmora в локальной сети. Захват начинается только после "
                  "запроса кадра. Сейчас система покажет запрос на доступ к экрану.",
                  {"Продолжить", "Отмена"}));
}

TEST(ViewerAlertCatalogue, ThePermissionMissingAlertOfAMacInEnglish) {
    EXPECT_EQ(ViewerAlertCatalogue("en", Wording::mac).permissionMissing(Access::requestable),
              warning("Viewer Host Does Not Have Screen Recording Access",
                      "Allow Velmora Viewer Host in System Settings → Privacy & Security → Screen "
                      "Recording, then choose Connection → Enable Viewer Host in Velmora again.",
                      {"Open System Settings", "Close"}));
}

TEST(ViewerAlertCatalogue, ThePermissionMissingAlertOfAMacInRussian) {
    EXPECT_EQ(ViewerAlertCatalogue("ru", Wording::mac).permissionMissing(Access::requestable),
              warning("Viewer Host не получил доступ к записи экрана",
                      "Разрешите Velmora Viewer Host в Системных настройках → Конфиденциальность и "
                      "безопасность → Запись экрана, затем снова выберите Connection → Enable "
                      "Viewer Host в Velmora.",
                      {"Открыть Системные настройки", "Закрыть"}));
}

TEST(ViewerAlertCatalogue, ThePermissionMissingAlertOfALinuxMachineInEnglish) {
    EXPECT_EQ(
        ViewerAlertCatalogue("en", Wording::linuxDesktop).permissionMissing(Access::requestable),
        warning("Viewer Host Does Not Have Screen Recording Access",
                "Allow Velmora Viewer Host to share this computer's screen when the system asks "
                "for permission, then choose Connection → Enable Viewer Host in Velmora again.",
                {"Close"}));
}

TEST(ViewerAlertCatalogue, ThePermissionMissingAlertOfALinuxMachineInRussian) {
    EXPECT_EQ(
        ViewerAlertCatalogue("ru", Wording::linuxDesktop).permissionMissing(Access::requestable),
        warning(
            "Viewer Host не получил доступ к записи экрана",
            "Разрешите Velmora Viewer Host показывать экран этого компьютера, когда система "
            "запросит разрешение, затем снова выберите Connection → Enable Viewer Host в Velmora.",
            {"Закрыть"}));
}

/// The texts of the alert that tells a reason, the same for every machine.
void expectReason(Access access, const std::string& english, const std::string& russian) {
    for (const Wording wording : {Wording::mac, Wording::linuxDesktop}) {
        for (const bool isRussian : {false, true}) {
            const ViewerAlertCatalogue catalogue(isRussian ? "ru" : "en", wording);
            ViewerAlert expected = catalogue.permissionMissing(Access::requestable);
            expected.informativeText = isRussian ? russian : english;
            EXPECT_EQ(catalogue.permissionMissing(access), expected);
        }
    }
}

TEST(ViewerAlertCatalogue, ThePermissionMissingAlertTellsTheReasonWhereNobodyCanBeAsked) {
    expectReason(Access::sessionRefuses, "This session does not let Viewer Host read its screen.",
                 "Этот сеанс не разрешает Viewer Host читать экран.");
    expectReason(Access::remoteDisplay,
                 "The display that DISPLAY names is reached over the network. Viewer Host shows "
                 "only this computer's own displays.",
                 "Дисплей из DISPLAY подключён по сети. Viewer Host показывает только дисплеи "
                 "этого компьютера.");
    expectReason(Access::waylandSession,
                 "This is a Wayland session. Viewer Host needs an X11 (Xorg) session.",
                 "Это сеанс Wayland. Viewer Host работает в сеансе X11 (Xorg).");
    expectReason(Access::noAnswer, "The X server did not answer.", "X-сервер не отвечает.");
}

TEST(ViewerAlertCatalogue, TheDidNotStartAlertTellsTheReasonAsItIsInBothLanguages) {
    const std::vector<std::string> ok{"OK"};
    for (const Wording wording : {Wording::mac, Wording::linuxDesktop}) {
        EXPECT_EQ(ViewerAlertCatalogue("en", wording).didNotStart("port \"9090\"\n<b>"),
                  ViewerAlert(ViewerAlertStyle::critical, "Viewer Host Did Not Start",
                              "port \"9090\"\n<b>", ok));
        EXPECT_EQ(ViewerAlertCatalogue("ru", wording).didNotStart(""),
                  ViewerAlert(ViewerAlertStyle::critical, "Viewer Host не запущен", "", ok));
    }
}

/// Whether all three alerts are in that language, in either wording.
bool isWhollyRussian(const std::optional<std::string>& code) {
    int russian = 0;
    for (const Wording wording : {Wording::mac, Wording::linuxDesktop}) {
        const ViewerAlertCatalogue alerts(code, wording);
        const ViewerAlertCatalogue inRussian("ru", wording);
        russian += alerts.consent() == inRussian.consent() ? 1 : 0;
        russian += alerts.permissionMissing(Access::requestable) ==
                           inRussian.permissionMissing(Access::requestable)
                       ? 1
                       : 0;
        russian += alerts.didNotStart("x") == inRussian.didNotStart("x") ? 1 : 0;
    }
    EXPECT_TRUE(russian == 0 || russian == 6);
    return russian == 6;
}

TEST(ViewerAlertCatalogue, OnlyTheLanguageRussianIsInRussian) {
    EXPECT_TRUE(isWhollyRussian("ru"));
    for (const char* const code : {"en", "de", "uk", "rus", "RU", "ru_RU", "r", ""}) {
        EXPECT_FALSE(isWhollyRussian(code)) << code;
    }
}

TEST(ViewerAlertCatalogue, WithoutALanguageTheAlertsAreInEnglish) {
    EXPECT_FALSE(isWhollyRussian(std::nullopt));
}

TEST(ViewerAlertCatalogue, NothingSpeaksOfAMacToSomeoneAtALinuxMachine) {
    for (const char* const code : {"en", "ru"}) {
        const ViewerAlertCatalogue alerts(code, Wording::linuxDesktop);
        for (const ViewerAlert& alert :
             {alerts.consent(), alerts.permissionMissing(Access::requestable)}) {
            for (const char* const word : {"Mac", "macOS", "System Settings", "Системн"}) {
                EXPECT_EQ(alert.title.find(word), std::string::npos) << alert.title;
                EXPECT_EQ(alert.informativeText.find(word), std::string::npos)
                    << alert.informativeText;
            }
        }
    }
}

}  // namespace

}  // namespace velmora
