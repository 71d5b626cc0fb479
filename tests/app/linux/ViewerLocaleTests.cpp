#include "app/linux/ViewerLocale.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "tests/support/system/BorrowedEnvironment.h"

namespace velmora {

namespace {

/// An environment that tells no locale.
class ViewerLocaleTest : public testing::Test {
  protected:
    ViewerLocaleTest() {
        for (const char* const name : {"LC_ALL", "LC_MESSAGES", "LANG", "LANGUAGE"}) {
            environment_.set(name, std::nullopt);
        }
    }

    void set(const std::string& name, const std::string& value) { environment_.set(name, value); }

  private:
    BorrowedEnvironment environment_;
};

TEST_F(ViewerLocaleTest, TheLanguageStandsBeforeTerritoryCharacterSetAndModifier) {
    EXPECT_EQ(ViewerLocale::languageOf("ru"), "ru");
    EXPECT_EQ(ViewerLocale::languageOf("ru_RU"), "ru");
    EXPECT_EQ(ViewerLocale::languageOf("ru_UA.UTF-8"), "ru");
    EXPECT_EQ(ViewerLocale::languageOf("ru.KOI8-R"), "ru");
    EXPECT_EQ(ViewerLocale::languageOf("ru@dict"), "ru");
    EXPECT_EQ(ViewerLocale::languageOf("en_GB.UTF-8@euro"), "en");
    EXPECT_EQ(ViewerLocale::languageOf("rue_UA.UTF-8"), "rue");
}

TEST_F(ViewerLocaleTest, SomeLocalesHaveNoLanguage) {
    for (const char* const name : {"", "_RU", ".UTF-8", "@ru"}) {
        EXPECT_EQ(ViewerLocale::languageOf(name), std::nullopt) << name;
    }
}

TEST_F(ViewerLocaleTest, AnEnvironmentThatTellsNoLocaleHasNoLanguage) {
    EXPECT_EQ(ViewerLocale::languageCode(), std::nullopt);
    set("LANGUAGE", "ru");
    EXPECT_EQ(ViewerLocale::languageCode(), std::nullopt);
}

TEST_F(ViewerLocaleTest, TheFirstOfLC_ALLAndLC_MESSAGESAndLANGCounts) {
    set("LANG", "ru_RU.UTF-8");
    EXPECT_EQ(ViewerLocale::languageCode(), "ru");
    set("LC_MESSAGES", "de_DE.UTF-8");
    EXPECT_EQ(ViewerLocale::languageCode(), "de");
    set("LC_ALL", "fr_FR.UTF-8");
    EXPECT_EQ(ViewerLocale::languageCode(), "fr");
    set("LC_ALL", "C");
    EXPECT_EQ(ViewerLocale::languageCode(), std::nullopt);
}

TEST_F(ViewerLocaleTest, OneThatIsEmptyDoesNotCount) {
    set("LC_ALL", "");
    set("LC_MESSAGES", "");
    set("LANG", "ru_RU.UTF-8");
    EXPECT_EQ(ViewerLocale::languageCode(), "ru");
}

TEST_F(ViewerLocaleTest, ALocaleThatTheLibraryLacksHasItsLanguageAllTheSame) {
    set("LC_ALL", "ru_XX.NO-SUCH-CHARSET");
    EXPECT_EQ(ViewerLocale::languageCode(), "ru");
}

}  // namespace

}  // namespace velmora
