#include "core/runtime/linux/ViewerEnvironmentLocale.h"

#include <cstdlib>

namespace velmora {

std::string ViewerEnvironmentLocale::name(const char* category) {
    for (const char* const variable : {"LC_ALL", category, "LANG"}) {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing changes the environment.
        const char* const value = std::getenv(variable);
        if (value == nullptr || *value == '\0') {
            continue;
        }
        const std::string locale(value);
        // The encoding and the modifier say nothing about what POSIX's own locale means.
        const std::string language = locale.substr(0, locale.find_first_of(".@"));
        return language == "C" || language == "POSIX" ? std::string() : locale;
    }
    return {};
}

}  // namespace velmora
