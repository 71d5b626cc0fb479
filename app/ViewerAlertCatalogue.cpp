#include "app/ViewerAlertCatalogue.h"

#include <string_view>
#include <utility>

namespace velmora {

namespace {

/// One text in both languages, UTF-8.
struct Text final {
    std::string_view english;
    std::string_view russian;

    std::string in(bool isRussian) const { return std::string(isRussian ? russian : english); }
};

/// A text that speaks of the machine and its system.
struct WordedText final {
    Text mac;
    Text linuxDesktop;

    const Text& in(ViewerAlertWording wording) const {
        return wording == ViewerAlertWording::mac ? mac : linuxDesktop;
    }
};

// Consent: may the displays be shown?

constexpr Text consentTitle{
    .english = "Allow Viewer Host to Share Displays?",
    .russian = "Разрешить Viewer Host показывать дисплеи?",
};

constexpr WordedText consentText{
    .mac =
        {
            .english = "Viewer Host sends reduced JPEG previews of this Mac's physical displays to "
                       "Velmora operators on the local network. Capture starts only when a frame "
                       "is requested. macOS will now show its standard Screen Recording permission "
                       "request.",
            .russian = "Viewer Host передаёт уменьшенные JPEG-превью физических дисплеев этого Mac "
                       "операторам Velmora в локальной сети. Захват начинается только после "
                       "запроса кадра. macOS сейчас покажет штатный запрос доступа к записи "
                       "экрана.",
        },
    .linuxDesktop =
        {
            .english = "Viewer Host sends reduced JPEG previews of this computer's physical "
                       "displays to Velmora operators on the local network. Capture starts only "
                       "when a frame is requested. Your desktop will now ask you which screens to "
                       "share: choose whole screens.",
            .russian = "Viewer Host передаёт уменьшенные JPEG-превью физических дисплеев этого "
                       "компьютера операторам Velmora в локальной сети. Захват начинается только "
                       "после запроса кадра. Сейчас рабочий стол сам спросит, какие экраны "
                       "показывать: выберите экраны целиком.",
        },
};

constexpr Text continueButton{.english = "Continue", .russian = "Продолжить"};
constexpr Text cancelButton{.english = "Cancel", .russian = "Отмена"};

// The permission is missing. The names of Velmora's menus stay English.

constexpr Text permissionMissingTitle{
    .english = "Viewer Host Does Not Have Screen Recording Access",
    .russian = "Viewer Host не получил доступ к записи экрана",
};

constexpr WordedText permissionMissingText{
    .mac =
        {
            .english = "Allow Velmora Viewer Host in System Settings → Privacy & Security → Screen "
                       "Recording, then choose Connection → Enable Viewer Host in Velmora again.",
            .russian = "Разрешите Velmora Viewer Host в Системных настройках → Конфиденциальность "
                       "и безопасность → Запись экрана, затем снова выберите Connection → Enable "
                       "Viewer Host в Velmora.",
        },
    .linuxDesktop =
        {
            .english = "Start Viewer Host again, or choose Connection → Enable Viewer Host in "
                       "Velmora again. When your desktop asks which screens to share, choose "
                       "them and then Share.",
            .russian = "Запустите Viewer Host заново или снова выберите Connection → Enable "
                       "Viewer Host в Velmora. Когда рабочий стол спросит, какие экраны "
                       "показывать, выберите их и разрешите показ.",
        },
};

// Why nobody can be asked for it.

constexpr Text sessionRefusesText{
    .english = "This session does not let Viewer Host read its screen.",
    .russian = "Этот сеанс не разрешает Viewer Host читать экран.",
};

constexpr Text remoteDisplayText{
    .english =
        "The display that DISPLAY names is reached over the network. Viewer Host shows only "
        "this computer's own displays.",
    .russian =
        "Дисплей из DISPLAY подключён по сети. Viewer Host показывает только дисплеи этого "
        "компьютера.",
};

constexpr Text waylandSessionText{
    .english =
        "This is a Wayland session, but its compositor does not answer. Start Viewer Host "
        "in that session.",
    .russian =
        "Это сеанс Wayland, но его композитор не отвечает. Запустите Viewer Host в этом "
        "сеансе.",
};

constexpr Text noAnswerText{
    .english = "The display server did not answer.",
    .russian = "Дисплейный сервер не отвечает.",
};

constexpr Text noWholeScreenText{
    .english =
        "What you shared has no whole screen in it. Start Viewer Host again and, when your "
        "desktop asks, choose whole screens: no window and no part of a screen.",
    .russian =
        "Среди того, что вы разрешили показывать, нет целого экрана. Запустите Viewer Host "
        "заново и, когда рабочий стол спросит, выберите экраны целиком, а не окно и не "
        "часть экрана.",
};

// The same where the service that asks is at fault. In place of `packageMark` stands the package
// of the user's desktop.

constexpr std::string_view packageMark = "%";

constexpr Text portalMissingText{
    .english =
        "The desktop portal, which asks you which screens to share, is missing. Install "
        "xdg-desktop-portal and %, log in again and start Viewer Host.",
    .russian =
        "Портал рабочего стола, который спрашивает, какие экраны показывать, отсутствует. "
        "Установите xdg-desktop-portal и %, войдите в систему снова и запустите Viewer "
        "Host.",
};

constexpr Text portalWithoutScreensText{
    .english =
        "The desktop portal cannot share screens. Install %. If it is installed, restart "
        "the portal (systemctl --user restart xdg-desktop-portal) or log in again. Then "
        "start Viewer Host.",
    .russian =
        "Портал рабочего стола не умеет показывать экраны. Установите %. Если он установлен, "
        "перезапустите портал (systemctl --user restart xdg-desktop-portal) или войдите в "
        "систему снова. Затем запустите Viewer Host.",
};

constexpr Text portalSilentText{
    .english =
        "The desktop portal fails or does not answer. Restart it (systemctl --user restart "
        "xdg-desktop-portal) or log in again, then start Viewer Host. It needs %.",
    .russian =
        "Портал рабочего стола не работает или не отвечает. Перезапустите его (systemctl --user "
        "restart "
        "xdg-desktop-portal) или войдите в систему снова, затем запустите Viewer Host. "
        "Порталу нужен %.",
};

constexpr Text unknownPackage{
    .english = "the package xdg-desktop-portal-… of your desktop",
    .russian = "пакет xdg-desktop-portal-… вашего рабочего стола",
};

/// The package with what the desktop's portal shows screens with.
std::string packageOf(ViewerAlertWording wording, bool isRussian) {
    switch (wording) {
        case ViewerAlertWording::gnome:
            return "xdg-desktop-portal-gnome";
        case ViewerAlertWording::kde:
            return "xdg-desktop-portal-kde";
        case ViewerAlertWording::wlroots:
            return "xdg-desktop-portal-wlr";
        case ViewerAlertWording::hyprland:
            return "xdg-desktop-portal-hyprland";
        case ViewerAlertWording::mac:
        case ViewerAlertWording::linuxDesktop:
            break;
    }
    return unknownPackage.in(isRussian);
}

const Text& missingText(ViewerCaptureAccess access, ViewerAlertWording wording) {
    switch (access) {
        case ViewerCaptureAccess::granted:
        case ViewerCaptureAccess::requestable:
        case ViewerCaptureAccess::declined:
            break;
        case ViewerCaptureAccess::sessionRefuses:
            return sessionRefusesText;
        case ViewerCaptureAccess::remoteDisplay:
            return remoteDisplayText;
        case ViewerCaptureAccess::waylandSession:
            return waylandSessionText;
        case ViewerCaptureAccess::noAnswer:
            return noAnswerText;
        case ViewerCaptureAccess::portalMissing:
            return portalMissingText;
        case ViewerCaptureAccess::portalWithoutScreens:
            return portalWithoutScreensText;
        case ViewerCaptureAccess::portalSilent:
            return portalSilentText;
        case ViewerCaptureAccess::noWholeScreen:
            return noWholeScreenText;
    }
    return permissionMissingText.in(wording);
}

constexpr Text openSettingsButton{
    .english = "Open System Settings",
    .russian = "Открыть Системные настройки",
};
constexpr Text closeButton{.english = "Close", .russian = "Закрыть"};

// The server did not start. What went wrong comes from the server and is not translated.

constexpr Text didNotStartTitle{
    .english = "Viewer Host Did Not Start",
    .russian = "Viewer Host не запущен",
};

constexpr Text okButton{.english = "OK", .russian = "OK"};

}  // namespace

ViewerAlert ViewerAlertCatalogue::consent() const {
    return {ViewerAlertStyle::informational,
            consentTitle.in(isRussian_),
            consentText.in(wording_).in(isRussian_),
            {continueButton.in(isRussian_), cancelButton.in(isRussian_)}};
}

ViewerAlert ViewerAlertCatalogue::permissionMissing(ViewerCaptureAccess access) const {
    std::string text = missingText(access, wording_).in(isRussian_);
    if (const std::size_t mark = text.find(packageMark); mark != std::string::npos) {
        text.replace(mark, packageMark.size(), packageOf(wording_, isRussian_));
    }
    ViewerAlert alert{ViewerAlertStyle::warning,
                      permissionMissingTitle.in(isRussian_),
                      std::move(text),
                      {closeButton.in(isRussian_)}};
    if (wording_ == ViewerAlertWording::mac) {
        alert.buttons.insert(alert.buttons.begin(), openSettingsButton.in(isRussian_));
    }
    return alert;
}

ViewerAlert ViewerAlertCatalogue::didNotStart(std::string errorDescription) const {
    return {ViewerAlertStyle::critical,
            didNotStartTitle.in(isRussian_),
            std::move(errorDescription),
            {okButton.in(isRussian_)}};
}

}  // namespace velmora
