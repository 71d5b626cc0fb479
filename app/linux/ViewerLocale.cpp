#include "app/linux/ViewerLocale.h"

#include <cstdlib>

namespace velmora {

std::optional<std::string> ViewerLocale::languageOf(std::string_view localeName) {
    // Behind the language come territory, character set and modifier: ll_CC.charset@modifier.
    const std::string_view language = localeName.substr(0, localeName.find_first_of("_.@"));
    if (language.empty() || language == "C" || language == "POSIX") {
        return std::nullopt;
    }
    return std::string(language);
}

std::optional<std::string> ViewerLocale::languageCode() {
    for (const char* const name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing changes the environment.
        const char* const value = std::getenv(name);
        if (value != nullptr && *value != '\0') {
            return languageOf(value);
        }
    }
    return std::nullopt;
}

}  // namespace velmora
