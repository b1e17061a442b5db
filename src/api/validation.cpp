#include "api/validation.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

#include "foundation/ascii.h"

namespace pxa {

namespace {

bool isKeyCharacter(char character) {
  return ascii::isLetterOrDigit(character) || character == '-' || character == '_';
}

bool isVersionCharacter(char character) {
  return isKeyCharacter(character) || character == '.';
}

using CharacterSet = bool (*)(char);

bool consistsOf(const String& text, CharacterSet first, CharacterSet others) {
  const std::string_view characters = text.view();
  return !characters.empty() && first(characters.front()) &&
         std::all_of(characters.begin() + 1, characters.end(), others);
}

}  // namespace

bool PXALog::isValidAppKey(const String& text) {
  return consistsOf(text, ascii::isLetterOrDigit, isKeyCharacter);
}

bool PXALog::isValidField(const String& text) {
  return consistsOf(text, ascii::isLetter, isKeyCharacter);
}

bool PXALog::isValidVersion(const String& text) {
  return consistsOf(text, ascii::isLetterOrDigit, isVersionCharacter);
}

bool PXALog::isStringEmpty(const String& text) {
  return text.isEmpty();
}

std::int32_t PXALog::getDefaultPortFromURL(const String& url) {
  constexpr std::int32_t kHttpsPort = 443;
  constexpr std::int32_t kHttpPort = 80;
  constexpr std::int32_t kNoPort = -1;
  if (ascii::startsWithIgnoringCase(url.view(), "https")) return kHttpsPort;
  return ascii::startsWithIgnoringCase(url.view(), "http") ? kHttpPort : kNoPort;
}

String PXALog::removeURLPrefix(const String& url) {
  constexpr std::string_view kSchemeEnd = "://";
  const std::size_t found = url.view().find(kSchemeEnd);
  if (found == std::string_view::npos) throw std::out_of_range("an address without \"://\"");
  return url.view().substr(found + kSchemeEnd.size());
}

}  // namespace pxa
