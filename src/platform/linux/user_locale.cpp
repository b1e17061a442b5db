#include "platform/linux/user_locale.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <unicode/uloc.h>
#include <unicode/ustring.h>

namespace pxa {

namespace {

constexpr std::size_t kLongestTag = ULOC_FULLNAME_CAPACITY;
constexpr std::size_t kLongestDisplayName = 512;
/// The tag of a text that names no language.
constexpr std::string_view kUndetermined = "und";

std::string environment(const char* variable) {
  const char* value = ::getenv(variable);
  return value == nullptr ? "" : value;
}

bool isCLocale(std::string_view locale) {
  const std::string_view name = locale.substr(0, locale.find_first_of(".@"));
  return name.empty() || name == "C" || name == "POSIX";
}

/// What the C library's modifiers say beyond the language and the country.
struct Modifier {
  std::string_view name;
  std::string_view script;
};
constexpr Modifier kModifiers[] = {
    {"@euro", ""}, {"@latin", "_Latn"}, {"@cyrillic", "_Cyrl"}, {"@devanagari", "_Deva"}};

/// The locale without its encoding, and with a script where it has a modifier for one.
std::string plainLocale(std::string_view locale) {
  const std::string_view beforeModifier = locale.substr(0, locale.find('@'));
  const std::string_view modifier = locale.substr(beforeModifier.size());
  const std::string_view name = beforeModifier.substr(0, beforeModifier.find('.'));
  for (const Modifier& known : kModifiers) {
    if (known.name != modifier) continue;
    const std::string_view language = name.substr(0, name.find('_'));
    return std::string(language).append(known.script).append(name.substr(language.size()));
  }
  return std::string(name).append(modifier);
}

/// The locale in ICU's form; "" for what ICU does not understand.
std::string canonicalLocale(std::string_view locale) {
  std::array<char, kLongestTag> name{};
  UErrorCode status = U_ZERO_ERROR;
  uloc_canonicalize(plainLocale(locale).c_str(), name.data(), name.size() - 1, &status);
  return U_SUCCESS(status) ? name.data() : "";
}

String languageTag(std::string_view locale) {
  std::array<char, kLongestTag> tag{};
  UErrorCode status = U_ZERO_ERROR;
  uloc_toLanguageTag(canonicalLocale(locale).c_str(), tag.data(), tag.size() - 1, false, &status);
  const bool isKnown = U_SUCCESS(status) && std::string_view(tag.data()) != kUndetermined;
  return isKnown ? String(tag.data()) : String(nullptr);
}

}  // namespace

LocaleSettings LocaleSettings::ofEnvironment() {
  LocaleSettings settings;
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"})
    if (settings.locale.empty()) settings.locale = environment(variable);
  settings.languages = environment("LANGUAGE");
  return settings;
}

String localeDisplayName(std::string_view locale) {
  if (isCLocale(locale)) return nullptr;
  const std::string name = canonicalLocale(locale);
  if (languageTag(locale).isNil()) return nullptr;
  std::array<UChar, kLongestDisplayName> wide{};
  UErrorCode status = U_ZERO_ERROR;
  const std::int32_t length =
      uloc_getDisplayName(name.c_str(), name.c_str(), wide.data(), wide.size(), &status);
  std::array<char, 3 * kLongestDisplayName + 1> text{};
  u_strToUTF8(text.data(), text.size(), nullptr, wide.data(), length, &status);
  return U_SUCCESS(status) ? String(text.data()) : String(nullptr);
}

std::vector<String> languageTags(const LocaleSettings& settings) {
  std::vector<String> tags;
  const auto add = [&tags](std::string_view locale) {
    if (isCLocale(locale)) return;
    const String tag = languageTag(locale);
    if (!tag.isEmpty() && std::find(tags.begin(), tags.end(), tag) == tags.end()) tags.push_back(tag);
  };
  // As the C library has it: LANGUAGE counts for nothing in the C locale.
  if (isCLocale(settings.locale)) return tags;
  std::string_view rest = settings.languages;
  while (!rest.empty()) {
    const std::size_t colon = std::min(rest.find(':'), rest.size());
    add(rest.substr(0, colon));
    rest.remove_prefix(std::min(colon + 1, rest.size()));
  }
  add(settings.locale);
  return tags;
}

}  // namespace pxa
