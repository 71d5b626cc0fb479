#include "core/runtime/linux/ViewerEnvironmentLocale.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <utility>

#include "tests/support/system/BorrowedEnvironment.h"

namespace velmora {
namespace {

/// The locale for one category in an environment with these variables alone.
std::string localeIn(std::initializer_list<std::pair<const char*, const char*>> variables) {
    BorrowedEnvironment environment;
    for (const char* const name : {"LC_ALL", "LC_COLLATE", "LC_CTYPE", "LANG"}) {
        environment.set(name, std::nullopt);
    }
    for (const auto& [name, value] : variables) {
        environment.set(name, value);
    }
    return ViewerEnvironmentLocale::name("LC_COLLATE");
}

TEST(ViewerEnvironmentLocale, TheFirstVariableWithAValueNamesTheLocale) {
    EXPECT_EQ(localeIn({{"LC_ALL", "ru_RU"}, {"LC_COLLATE", "de_DE"}, {"LANG", "sv_SE"}}), "ru_RU");
    EXPECT_EQ(localeIn({{"LC_ALL", ""}, {"LC_COLLATE", "de_DE"}, {"LANG", "sv_SE"}}), "de_DE");
    EXPECT_EQ(localeIn({{"LC_CTYPE", "fr_FR"}, {"LANG", "sv_SE.UTF-8"}}), "sv_SE.UTF-8");
    EXPECT_EQ(localeIn({{"LC_ALL", "C"}, {"LANG", "sv_SE"}}), "") << "C is a value";
}

TEST(ViewerEnvironmentLocale, POSIXsOwnLocaleIsNone) {
    EXPECT_EQ(localeIn({}), "");
    EXPECT_EQ(localeIn({{"LANG", ""}}), "");
    for (const char* locale : {"C", "POSIX", "C.UTF-8", "C.utf8", "POSIX@x"}) {
        EXPECT_EQ(localeIn({{"LC_ALL", locale}}), "") << locale;
    }
    EXPECT_EQ(localeIn({{"LANG", "Catalan"}}), "Catalan");
}

}  // namespace
}  // namespace velmora
