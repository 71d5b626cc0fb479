#pragma once

#include <string>

namespace velmora {

/// The locale that the environment names (locale(7)). Any thread, while nothing changes the
/// environment.
namespace ViewerEnvironmentLocale {

/// The value of the first of LC_ALL, `category` (such as "LC_COLLATE") and LANG that is not empty:
/// ll_CC.charset@modifier. Empty where none is set, and for "C" and "POSIX", which belong to no
/// language.
std::string name(const char* category);

}  // namespace ViewerEnvironmentLocale

}  // namespace velmora
