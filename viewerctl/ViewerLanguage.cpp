#include "viewerctl/ViewerLanguage.h"

#include <cstdlib>

namespace velmora {

ViewerLanguage ViewerLanguage::ofLocale(std::string_view name) {
    // Behind the language come territory, character set and modifier: ll_CC.charset@modifier.
    return name.substr(0, name.find_first_of("_.@")) == "ru" ? russian() : english();
}

ViewerLanguage ViewerLanguage::ofEnvironment() {
    for (const char* const variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing changes the environment.
        const char* const value = std::getenv(variable);
        if (value != nullptr && *value != '\0') {
            return ofLocale(value);
        }
    }
    return english();
}

}  // namespace velmora
