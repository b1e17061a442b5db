#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "platform/linux/user_locale.h"
#include "support/environment_locale.h"

namespace pxa {
namespace {

using test::setLocale;

std::string localeOfEnvironment() {
  return LocaleSettings::ofEnvironment().locale;
}

TEST(LocaleSettings, AreEmptyWhereTheEnvironmentSaysNothing) {
  setLocale({});
  EXPECT_EQ(localeOfEnvironment(), "");
  EXPECT_EQ(LocaleSettings::ofEnvironment().languages, "");
}

TEST(LocaleSettings, TakeTheLocaleOfTheFirstVariableThatIsSet) {
  setLocale({{"LANG", "de_AT"}});
  EXPECT_EQ(localeOfEnvironment(), "de_AT");
  ::setenv("LC_MESSAGES", "fr_FR", 1);
  EXPECT_EQ(localeOfEnvironment(), "fr_FR");
  ::setenv("LC_ALL", "ko_KR.UTF-8", 1);
  EXPECT_EQ(localeOfEnvironment(), "ko_KR.UTF-8");
}

TEST(LocaleSettings, PassOverAVariableThatIsEmpty) {
  setLocale({{"LC_ALL", ""}, {"LC_MESSAGES", ""}, {"LANG", "de_AT"}});
  EXPECT_EQ(localeOfEnvironment(), "de_AT");
}

TEST(LocaleSettings, TakeTheLanguagesAsTheyAre) {
  setLocale({{"LANGUAGE", "de::fr"}, {"LANG", "C"}});
  EXPECT_EQ(LocaleSettings::ofEnvironment().languages, "de::fr");
}

struct LocaleName {
  const char* locale;
  const char* name;
};

TEST(LocaleDisplayName, IsInTheLanguageOfTheLocale) {
  for (const LocaleName& locale : {
           LocaleName{"en_US", "English (United States)"},
           {"en-US", "English (United States)"},
           {"ko_KR", "한국어(대한민국)"},
           {"fr_FR", "français (France)"},
           {"pt", "português"},
       })
    EXPECT_EQ(localeDisplayName(locale.locale), locale.name) << locale.locale;
}

TEST(LocaleDisplayName, LeavesOutTheEncoding) {
  for (const LocaleName& locale : {
           LocaleName{"en_US.UTF-8", "English (United States)"},
           {"en_US.utf8", "English (United States)"},
           {"en_US.ISO-8859-1", "English (United States)"},
           {"en_US.", "English (United States)"},
           {"ko_KR.UTF-8", "한국어(대한민국)"},
       })
    EXPECT_EQ(localeDisplayName(locale.locale), locale.name) << locale.locale;
}

TEST(LocaleDisplayName, TellsTheScriptAndTheVariantOfAModifier) {
  for (const LocaleName& locale : {
           LocaleName{"de_AT@euro", "Deutsch (Österreich)"},
           {"de_AT.UTF-8@euro", "Deutsch (Österreich)"},
           {"sr_RS", "српски (Србија)"},
           {"sr_RS@latin", "srpski (latinica, Srbija)"},
           {"sr_RS.UTF-8@latin", "srpski (latinica, Srbija)"},
           {"ca_ES@valencia", "català (Espanya, valencià)"},
       })
    EXPECT_EQ(localeDisplayName(locale.locale), locale.name) << locale.locale;
}

constexpr const char* kNobodysLocales[] = {"", "C", "POSIX", "C.UTF-8", "C.utf8", "POSIX.UTF-8", "C@euro"};

TEST(LocaleDisplayName, IsNilForTheCLocale) {
  for (const char* locale : kNobodysLocales) EXPECT_TRUE(localeDisplayName(locale).isNil()) << locale;
}

const std::string kAbsurdLocales[] = {
    "@",
    "@@@",
    ".",
    "...",
    "_",
    "___",
    ":::",
    " ",
    "%s%n",
    "../../etc/passwd",
    "\xFF\xFE",
    "en_US\xFF",
    "\xED\xA0\x80",
    "한국어",
    std::string("en\0US", 5),
    std::string(1000, '\0'),
    std::string(5000, 'a'),
    std::string(5000, '_'),
    std::string(5000, '.'),
    std::string(5000, '@'),
    std::string(5000, '\xFF'),
    "en_US." + std::string(5000, 'x'),
    "en_US@" + std::string(5000, 'x'),
    "en" + std::string(70, '_') + "US_" + std::string(60, 'x'),
};

TEST(LocaleDisplayName, HasNoTroubleWithAnAbsurdLocale) {
  for (const std::string& locale : kAbsurdLocales)
    EXPECT_NO_THROW(localeDisplayName(locale)) << locale.substr(0, 20);
  for (const char* locale : {"@", "...", "%s%n", "한국어", " "})
    EXPECT_TRUE(localeDisplayName(locale).isNil()) << locale;
}

using Tags = std::vector<String>;

struct Languages {
  LocaleSettings settings;
  Tags tags;
};

TEST(LanguageTags, AreTheLanguagesAndThenTheLocale) {
  for (const Languages& languages : {
           Languages{{"en_US.UTF-8", ""}, {"en-US"}},
           {{"ko_KR.UTF-8", ""}, {"ko-KR"}},
           {{"fr", ""}, {"fr"}},
           {{"zh_Hant_TW", ""}, {"zh-Hant-TW"}},
           {{"en_US.UTF-8", "de"}, {"de", "en-US"}},
           {{"en_US.UTF-8", "de_AT:de:fr_FR.UTF-8"}, {"de-AT", "de", "fr-FR", "en-US"}},
       })
    EXPECT_EQ(languageTags(languages.settings), languages.tags) << languages.settings.languages;
}

TEST(LanguageTags, AreThereOnceEach) {
  for (const Languages& languages : {
           Languages{{"en_US.UTF-8", "en_US"}, {"en-US"}},
           {{"en_US", "de:en_US.UTF-8:de:fr:de"}, {"de", "en-US", "fr"}},
           {{"de", "en:de:en"}, {"en", "de"}},
       })
    EXPECT_EQ(languageTags(languages.settings), languages.tags) << languages.settings.languages;
}

TEST(LanguageTags, LeaveOutWhatIsNobodysLanguage) {
  for (const Languages& languages : {
           Languages{{"en_US", ":"}, {"en-US"}},
           {{"en_US", ":::de::fr:"}, {"de", "fr", "en-US"}},
           {{"en_US", "C:de:POSIX:C.UTF-8"}, {"de", "en-US"}},
           {{"en_US", "C"}, {"en-US"}},
       })
    EXPECT_EQ(languageTags(languages.settings), languages.tags) << languages.settings.languages;
}

TEST(LanguageTags, AreNoneInTheCLocaleWhateverTheLanguages) {
  for (const char* locale : kNobodysLocales) EXPECT_EQ(languageTags({locale, "de:fr"}), Tags()) << locale;
}

TEST(LanguageTags, TellTheScriptAndTheVariantOfAModifier) {
  for (const Languages& languages : {
           Languages{{"de_AT.UTF-8@euro", ""}, {"de-AT"}},
           {{"sr_RS@latin", ""}, {"sr-Latn-RS"}},
           {{"uz_UZ.UTF-8@cyrillic", ""}, {"uz-Cyrl-UZ"}},
           {{"sd_IN@devanagari", ""}, {"sd-Deva-IN"}},
           {{"ca_ES@valencia", ""}, {"ca-ES-valencia"}},
       })
    EXPECT_EQ(languageTags(languages.settings), languages.tags) << languages.settings.locale;
}

TEST(LanguageTags, HaveNoTroubleWithAbsurdLocales) {
  for (const std::string& locale : kAbsurdLocales) {
    EXPECT_NO_THROW(languageTags({locale, ""})) << locale.substr(0, 20);
    EXPECT_THAT(languageTags({"en_US", locale}), testing::Contains(String("en-US"))) << locale.substr(0, 20);
    EXPECT_THAT(languageTags({"en_US", locale}), testing::Not(testing::Contains(String("und"))));
  }
  EXPECT_EQ(languageTags({"en_US", std::string(100'000, ':')}), Tags{"en-US"});
}

}  // namespace
}  // namespace pxa
