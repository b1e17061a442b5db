#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <pxalog/String.h>

namespace pxa {

/// What the environment says of the user's language, in the form of the C library ("ko_KR.UTF-8"); "" for
/// what it does not say.
struct LocaleSettings {
  std::string locale;     ///< of LC_ALL, LC_MESSAGES, LANG the first that is set
  std::string languages;  ///< LANGUAGE: locales, the best first, separated by colons

  static LocaleSettings ofEnvironment();
};

/// The locale's name in its own language, for example "English (United States)"; nil without a locale and
/// for the C locale, which is nobody's.
String localeDisplayName(std::string_view locale);

/// The user's languages as tags ("en-US"), the best first and each once; none in the C locale.
std::vector<String> languageTags(const LocaleSettings& settings);

}  // namespace pxa
