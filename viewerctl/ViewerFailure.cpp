#include "viewerctl/ViewerFailure.h"

namespace velmora {

namespace {

struct Wording final {
    std::string_view word;
    std::string_view english;
    std::string_view russian;
};

Wording wordingOf(ViewerFailure failure) {
    switch (failure) {
        case ViewerFailure::noSuchName:
            return {"no-such-name", "no such name", "нет такого имени"};
        case ViewerFailure::nameServerSilent:
            return {"name-server-silent", "the name server does not answer",
                    "сервер имён не отвечает"};
        case ViewerFailure::refused:
            return {"refused", "refused: nothing listens there",
                    "отказано: там никто не принимает соединения"};
        case ViewerFailure::noRoute:
            return {"no-route", "no route to it", "нет маршрута"};
        case ViewerFailure::timedOut:
            return {"timed-out", "timed out", "время ожидания истекло"};
        case ViewerFailure::brokeOff:
            return {"broke-off", "the connection ended before the answer",
                    "соединение закрылось до ответа"};
        case ViewerFailure::notAViewerHost:
            return {"not-a-viewer-host", "not a Viewer Host", "это не Viewer Host"};
        case ViewerFailure::otherVersion:
            return {"other-version", "another version of the protocol", "другая версия протокола"};
        case ViewerFailure::badPicture:
            return {"bad-picture", "sent a picture that cannot be shown safely",
                    "прислал картинку, которую небезопасно показывать"};
        case ViewerFailure::noSuchDisplay:
            return {"no-such-display", "no such display", "нет такого дисплея"};
        case ViewerFailure::noPicture:
            return {"no-picture", "no picture now", "сейчас нет изображения"};
        case ViewerFailure::interrupted:
            return {"interrupted", "interrupted", "прервано"};
    }
    return {};
}

}  // namespace

std::string_view wordOf(ViewerFailure failure) {
    return wordingOf(failure).word;
}

std::string_view textOf(ViewerFailure failure, ViewerLanguage language) {
    const Wording wording = wordingOf(failure);
    return language.pick(wording.english, wording.russian);
}

}  // namespace velmora
