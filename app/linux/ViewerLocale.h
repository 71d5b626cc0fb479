#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace velmora {

/// The user's language as the environment tells it, also where the C library lacks that locale.
/// Any thread, while nothing changes the environment.
namespace ViewerLocale {

/// The language of a locale's name (locale(7)): "ru" of "ru_RU.UTF-8"; nothing for "C" and "POSIX",
/// which belong to no language.
std::optional<std::string> languageOf(std::string_view localeName);

/// The language that messages are in: of the first of LC_ALL, LC_MESSAGES and LANG that is not
/// empty.
std::optional<std::string> languageCode();

}  // namespace ViewerLocale

}  // namespace velmora
