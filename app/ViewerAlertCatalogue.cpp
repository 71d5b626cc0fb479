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
                       "when a frame is requested. The system will now show its request for "
                       "access to the screen.",
            .russian = "Viewer Host передаёт уменьшенные JPEG-превью физических дисплеев этого "
                       "компьютера операторам Velmora в локальной сети. Захват начинается только "
                       "после запроса кадра. Сейчас система покажет запрос на доступ к экрану.",
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
            .english = "Allow Velmora Viewer Host to share this computer's screen when the "
                       "system asks for permission, then choose Connection → Enable Viewer Host "
                       "in Velmora again.",
            .russian = "Разрешите Velmora Viewer Host показывать экран этого компьютера, когда "
                       "система запросит разрешение, затем снова выберите Connection → Enable "
                       "Viewer Host в Velmora.",
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
    .english = "This is a Wayland session. Viewer Host needs an X11 (Xorg) session.",
    .russian = "Это сеанс Wayland. Viewer Host работает в сеансе X11 (Xorg).",
};

constexpr Text noAnswerText{
    .english = "The X server did not answer.",
    .russian = "X-сервер не отвечает.",
};

const Text& missingText(ViewerCaptureAccess access, ViewerAlertWording wording) {
    switch (access) {
        case ViewerCaptureAccess::granted:
        case ViewerCaptureAccess::requestable:
        case ViewerCaptureAccess::declined:
        case ViewerCaptureAccess::portalMissing:
        case ViewerCaptureAccess::portalWithoutScreens:
        case ViewerCaptureAccess::portalSilent:
        case ViewerCaptureAccess::noWholeScreen:
            break;
        case ViewerCaptureAccess::sessionRefuses:
            return sessionRefusesText;
        case ViewerCaptureAccess::remoteDisplay:
            return remoteDisplayText;
        case ViewerCaptureAccess::waylandSession:
            return waylandSessionText;
        case ViewerCaptureAccess::noAnswer:
            return noAnswerText;
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
    ViewerAlert alert{ViewerAlertStyle::warning,
                      permissionMissingTitle.in(isRussian_),
                      missingText(access, wording_).in(isRussian_),
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
