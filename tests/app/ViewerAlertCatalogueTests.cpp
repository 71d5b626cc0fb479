#include "app/ViewerAlertCatalogue.h"

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace velmora {

namespace {

using Access = ViewerCaptureAccess;
using Wording = ViewerAlertWording;

constexpr std::array linuxWordings{Wording::linuxDesktop, Wording::gnome, Wording::kde,
                                   Wording::wlroots, Wording::hyprland};

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
                  "requested. Your desktop will now ask you which screens to share: choose whole "
                  "screens.",
                  {"Continue", "Cancel"}));
}

TEST(ViewerAlertCatalogue, TheConsentAlertOfALinuxMachineInRussian) {
    EXPECT_EQ(ViewerAlertCatalogue("ru", Wording::linuxDesktop).consent(),
              informational(
                  "Разрешить Viewer Host показывать дисплеи?",
                  "Viewer Host передаёт уменьшенные JPEG-превью физических дисплеев этого "
                  "компьютера операторам Velmora в локальной сети. Захват начинается только после "
                  "запроса кадра. Сейчас рабочий стол сам спросит, какие экраны показывать: "
                  "выберите экраны целиком.",
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
                "Start Viewer Host again, or choose Connection → Enable Viewer Host in Velmora "
                "again. When your desktop asks which screens to share, choose them and then Share.",
                {"Close"}));
}

TEST(ViewerAlertCatalogue, ThePermissionMissingAlertOfALinuxMachineInRussian) {
    EXPECT_EQ(
        ViewerAlertCatalogue("ru", Wording::linuxDesktop).permissionMissing(Access::requestable),
        warning(
            "Viewer Host не получил доступ к записи экрана",
            "Запустите Viewer Host заново или снова выберите Connection → Enable Viewer Host в "
            "Velmora. Когда рабочий стол спросит, какие экраны показывать, выберите их и разрешите "
            "показ.",
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
                 "This is a Wayland session, but its compositor does not answer. Start Viewer Host "
                 "in that session.",
                 "Это сеанс Wayland, но его композитор не отвечает. Запустите Viewer Host в этом "
                 "сеансе.");
    expectReason(Access::noAnswer, "The display server did not answer.",
                 "Дисплейный сервер не отвечает.");
}

TEST(ViewerAlertCatalogue, WhatThePersonDeclinedIsNoOtherAlertThanAMissingGrant) {
    for (const Wording wording : linuxWordings) {
        const ViewerAlertCatalogue catalogue("en", wording);
        EXPECT_EQ(catalogue.permissionMissing(Access::declined),
                  ViewerAlertCatalogue("en", Wording::linuxDesktop)
                      .permissionMissing(Access::requestable));
    }
}

TEST(ViewerAlertCatalogue, ThePermissionMissingAlertSaysToChooseWholeScreens) {
    expectReason(
        Access::noWholeScreen,
        "What you shared has no whole screen in it. Start Viewer Host again and, when your "
        "desktop asks, choose whole screens: no window and no part of a screen.",
        "Среди того, что вы разрешили показывать, нет целого экрана. Запустите Viewer "
        "Host заново и, когда рабочий стол спросит, выберите экраны целиком, а не окно и "
        "не часть экрана.");
}

std::string portalText(Access access, const char* language, Wording wording) {
    return ViewerAlertCatalogue(language, wording).permissionMissing(access).informativeText;
}

TEST(ViewerAlertCatalogue, APortalThatIsMissingIsNamedByTheDesktop) {
    EXPECT_EQ(portalText(Access::portalMissing, "en", Wording::gnome),
              "The desktop portal, which asks you which screens to share, is missing. Install "
              "xdg-desktop-portal and xdg-desktop-portal-gnome, log in again and start Viewer "
              "Host.");
    EXPECT_EQ(portalText(Access::portalMissing, "ru", Wording::gnome),
              "Портал рабочего стола, который спрашивает, какие экраны показывать, отсутствует. "
              "Установите xdg-desktop-portal и xdg-desktop-portal-gnome, войдите в систему снова и "
              "запустите Viewer Host.");
    EXPECT_EQ(portalText(Access::portalMissing, "en", Wording::linuxDesktop),
              "The desktop portal, which asks you which screens to share, is missing. Install "
              "xdg-desktop-portal and the package xdg-desktop-portal-… of your desktop, log in "
              "again and start Viewer Host.");
    EXPECT_EQ(portalText(Access::portalMissing, "ru", Wording::linuxDesktop),
              "Портал рабочего стола, который спрашивает, какие экраны показывать, отсутствует. "
              "Установите xdg-desktop-portal и пакет xdg-desktop-portal-… вашего рабочего стола, "
              "войдите в систему снова и запустите Viewer Host.");
}

TEST(ViewerAlertCatalogue, APortalThatHasNoScreensOrIsSilentIsToBeInstalledOrRestarted) {
    EXPECT_EQ(portalText(Access::portalWithoutScreens, "en", Wording::kde),
              "The desktop portal cannot share screens. Install xdg-desktop-portal-kde. If it is "
              "installed, restart the portal (systemctl --user restart xdg-desktop-portal) or log "
              "in again. Then start Viewer Host.");
    EXPECT_EQ(portalText(Access::portalWithoutScreens, "ru", Wording::kde),
              "Портал рабочего стола не умеет показывать экраны. Установите "
              "xdg-desktop-portal-kde. Если он установлен, перезапустите портал (systemctl --user "
              "restart xdg-desktop-portal) или войдите в систему снова. Затем запустите Viewer "
              "Host.");
    EXPECT_EQ(portalText(Access::portalSilent, "en", Wording::kde),
              "The desktop portal fails or does not answer. Restart it (systemctl --user restart "
              "xdg-desktop-portal) or log in again, then start Viewer Host. It needs "
              "xdg-desktop-portal-kde.");
    EXPECT_EQ(portalText(Access::portalSilent, "ru", Wording::kde),
              "Портал рабочего стола не работает или не отвечает. Перезапустите его (systemctl "
              "--user restart "
              "xdg-desktop-portal) или войдите в систему снова, затем запустите Viewer Host. "
              "Порталу нужен xdg-desktop-portal-kde.");
}

TEST(ViewerAlertCatalogue, EachKnownDesktopHasAPackageOfItsOwn) {
    for (const auto& [wording, package] :
         {std::pair(Wording::gnome, "xdg-desktop-portal-gnome"),
          std::pair(Wording::kde, "xdg-desktop-portal-kde"),
          std::pair(Wording::wlroots, "xdg-desktop-portal-wlr"),
          std::pair(Wording::hyprland, "xdg-desktop-portal-hyprland")}) {
        for (const char* const language : {"en", "ru"}) {
            for (const Access access :
                 {Access::portalMissing, Access::portalWithoutScreens, Access::portalSilent}) {
                EXPECT_NE(portalText(access, language, wording).find(package), std::string::npos)
                    << portalText(access, language, wording);
            }
        }
    }
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
    for (const Wording wording : linuxWordings) {
        for (const char* const code : {"en", "ru"}) {
            const ViewerAlertCatalogue alerts(code, wording);
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
}

}  // namespace

}  // namespace velmora
