#pragma once

#include <string_view>

namespace velmora {

/// The language that the program speaks: English or Russian. A plain value; any thread.
class ViewerLanguage final {
  public:
    static constexpr ViewerLanguage english() { return ViewerLanguage(false); }
    static constexpr ViewerLanguage russian() { return ViewerLanguage(true); }
    /// As the first of LC_ALL, LC_MESSAGES and LANG that is set says (locale(7)). While nothing
    /// changes the environment.
    static ViewerLanguage ofEnvironment();
    /// Of a locale's name: Russian for "ru" and "ru_RU.UTF-8", else English.
    static ViewerLanguage ofLocale(std::string_view name);

    friend bool operator==(ViewerLanguage, ViewerLanguage) = default;

    /// The one of two texts that is in this language.
    constexpr std::string_view pick(std::string_view inEnglish, std::string_view inRussian) const {
        return isRussian_ ? inRussian : inEnglish;
    }

  private:
    explicit constexpr ViewerLanguage(bool isRussian) : isRussian_(isRussian) {}

    bool isRussian_;
};

}  // namespace velmora
