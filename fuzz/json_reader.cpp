// Any bytes for the JSON reader, by each of its operations, with options and the null object chosen by the first
// byte: it gives a value or an error, and whoever writes the value down can read it again.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include <pxalog/CJSONDeserializer.h>

namespace {

using pxa::CJSONDeserializer;
using pxa::Data;
using pxa::Error;

constexpr unsigned kAllOptions = CJSONDeserializer::kMutableContainers | CJSONDeserializer::kMutableLeaves |
                                 CJSONDeserializer::kAllowFragments | CJSONDeserializer::kLaxEscapes;
constexpr unsigned kLeaveNullsOut = 16;
constexpr unsigned kWiden = 32;

void check(bool isTrue) {
  if (!isTrue) std::abort();
}

/// Each byte as a unit of UTF-16, little-endian.
std::string widened(std::string_view bytes) {
  std::string wide;
  for (const char byte : bytes) wide.append(1, byte).append(1, '\0');
  return wide;
}

void checkError(const Error& error, std::size_t scanLocation) {
  int links = 0;
  for (Error link = error; link.isError() && links < 100; link = link.underlyingError(), ++links) {
    const pxa::Dictionary facts = link.userInfo();
    check(link.domain() == CJSONDeserializer::kErrorDomain && link.code() < 0);
    check(facts.value("location").number().unsignedLongLongValue() == scanLocation);
    check(facts.value("line").number().unsignedLongLongValue() <= scanLocation);
    check(facts.value("snippet").string().view().find("!HERE>!") != std::string_view::npos);
  }
  check(links > 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  if (size == 0) return 0;
  const unsigned choice = bytes[0];
  const std::string_view text(reinterpret_cast<const char*>(bytes) + 1, size - 1);
  const Data data((choice & kWiden) != 0 ? std::string_view(widened(text)) : text);

  CJSONDeserializer reader = CJSONDeserializer::deserializer();
  reader.setOptions(choice & kAllOptions);
  if ((choice & kLeaveNullsOut) != 0) reader.setNullObject(std::nullopt);

  Error error;
  const auto value = reader.deserialize_error(data, &error);
  const bool isNullLeftOut = !value && !error.isError();
  check(!value || !error.isError());
  check(!isNullLeftOut ||
        ((choice & kLeaveNullsOut) != 0 && (choice & CJSONDeserializer::kAllowFragments) != 0));
  if (error.isError()) checkError(error, reader.scanLocation());

  // The same reader, which knows the keys now, gives the same again.
  check(reader.deserialize_error(data) == value);

  Error ofDictionary;
  const bool isDictionary = !reader.deserializeAsDictionary_error(data, &ofDictionary).isNil();
  check(isDictionary != ofDictionary.isError());
  if (!isDictionary) checkError(ofDictionary, reader.scanLocation());
  Error ofArray;
  const bool isArray = !reader.deserializeAsArray_error(data, &ofArray).isNil();
  check(isArray != ofArray.isError());
  if (!isArray) checkError(ofArray, reader.scanLocation());
  return 0;
}
