#include "app/linux/ViewerLocale.h"

#include "core/runtime/linux/ViewerEnvironmentLocale.h"

namespace velmora {

std::optional<std::string> ViewerLocale::languageOf(std::string_view localeName) {
    // Behind the language come territory, character set and modifier: ll_CC.charset@modifier.
    const std::string_view language = localeName.substr(0, localeName.find_first_of("_.@"));
    if (language.empty()) {
        return std::nullopt;
    }
    return std::string(language);
}

std::optional<std::string> ViewerLocale::languageCode() {
    return languageOf(ViewerEnvironmentLocale::name("LC_MESSAGES"));
}

}  // namespace velmora
