#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace velmora {

/// The user's language as the environment tells it, also where the C library lacks that locale.
/// Any thread, while nothing changes the environment.
namespace ViewerLocale {

/// The language of a locale's name (locale(7)): "ru" of "ru_RU.UTF-8"; nothing where the name has
/// none.
std::optional<std::string> languageOf(std::string_view localeName);

/// The language that messages are in; nothing where the environment names none.
std::optional<std::string> languageCode();

}  // namespace ViewerLocale

}  // namespace velmora
