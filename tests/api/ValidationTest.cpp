#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <string_view>

#include "api/validation.h"
#include "support/values.h"

namespace pxa {
namespace {

using test::text;

constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";

struct Validator {
  const char* name;
  bool (*accepts)(const String&);
  std::string first;  ///< characters that may stand first
  std::string later;  ///< characters that may follow
};

const Validator kValidators[] = {
    {"isValidAppKey", PXALog::isValidAppKey, std::string(kLetters) + std::string(kDigits),
     std::string(kLetters) + std::string(kDigits) + "-_"},
    {"isValidField", PXALog::isValidField, std::string(kLetters),
     std::string(kLetters) + std::string(kDigits) + "-_"},
    {"isValidVersion", PXALog::isValidVersion, std::string(kLetters) + std::string(kDigits),
     std::string(kLetters) + std::string(kDigits) + "-_."},
};

TEST(Validators, KnowEveryByteThatMayStandFirst) {
  for (const Validator& validator : kValidators) {
    for (int byte = 0; byte < 256; ++byte) {
      const std::string one(1, static_cast<char>(byte));
      EXPECT_EQ(validator.accepts(one), validator.first.find(one) != std::string::npos)
          << validator.name << ", byte " << byte;
    }
  }
}

TEST(Validators, KnowEveryByteThatMayFollow) {
  for (const Validator& validator : kValidators) {
    for (int byte = 0; byte < 256; ++byte) {
      const std::string one(1, static_cast<char>(byte));
      const bool isAllowed = validator.later.find(one) != std::string::npos;
      EXPECT_EQ(validator.accepts("a" + one), isAllowed) << validator.name << ", byte " << byte;
      EXPECT_EQ(validator.accepts("a" + one + "z"), isAllowed) << validator.name << ", byte " << byte;
    }
  }
}

TEST(Validators, RefuseNil) {
  for (const Validator& validator : kValidators) EXPECT_FALSE(validator.accepts(nullptr)) << validator.name;
}

TEST(Validators, RefuseTheEmptyText) {
  for (const Validator& validator : kValidators) EXPECT_FALSE(validator.accepts("")) << validator.name;
}

TEST(Validators, RefuseATrailingLineBreak) {
  for (const Validator& validator : kValidators) {
    for (const char* end : {"\n", "\r", "\r\n", "\u0085", "\u2028", "\u2029"}) {
      EXPECT_FALSE(validator.accepts(std::string("abc") + end)) << validator.name;
    }
  }
}

TEST(Validators, RefuseLettersAndDigitsOutsideAscii) {
  for (const Validator& validator : kValidators) {
    for (const char* letter : {"é", "ß", "Ａ", "１", "\u212a"}) {
      EXPECT_FALSE(validator.accepts(letter)) << validator.name << ' ' << letter;
      EXPECT_FALSE(validator.accepts(std::string("a") + letter)) << validator.name << ' ' << letter;
    }
  }
}

TEST(Validators, LookBeyondANulCharacter) {
  for (const Validator& validator : kValidators) {
    EXPECT_FALSE(validator.accepts(std::string_view("ab\0c", 4))) << validator.name;
    EXPECT_FALSE(validator.accepts(std::string_view("ab\0", 3))) << validator.name;
  }
}

TEST(Validators, AcceptAVeryLongText) {
  const String longText(std::string(8U << 20U, 'a'));
  for (const Validator& validator : kValidators) EXPECT_TRUE(validator.accepts(longText)) << validator.name;
}

TEST(Validators, RefuseAVeryLongTextForItsLastCharacter) {
  const String longText(std::string(8U << 20U, 'a') + '!');
  for (const Validator& validator : kValidators) EXPECT_FALSE(validator.accepts(longText)) << validator.name;
}

TEST(Validators, AcceptVersionsAsPeopleWriteThem) {
  for (const char* version : {"1", "1.0.3", "1.0.3-beta_2", "v2", "1..", "2-", "1_"}) {
    EXPECT_TRUE(PXALog::isValidVersion(version)) << version;
  }
}

TEST(Validators, RefuseAVersionThatBeginsWithADot) {
  EXPECT_FALSE(PXALog::isValidVersion(".1"));
}

TEST(Validators, RefuseAnAppKeyWithADot) {
  EXPECT_FALSE(PXALog::isValidAppKey("my.project"));
}

TEST(IsStringEmpty, HoldsForNilAndForTheEmptyTextAlone) {
  EXPECT_TRUE(PXALog::isStringEmpty(nullptr));
  EXPECT_TRUE(PXALog::isStringEmpty(""));
  EXPECT_FALSE(PXALog::isStringEmpty(" "));
  EXPECT_FALSE(PXALog::isStringEmpty("0"));
  EXPECT_FALSE(PXALog::isStringEmpty(std::string(1, '\0')));
}

TEST(GetDefaultPortFromURL, GoesByTheStartOfTheAddress) {
  const struct {
    const char* url;
    std::int32_t port;
  } rows[] = {
      {"https://logs.example.com", 443},
      {"HTTPS://logs.example.com", 443},
      {"hTtPs://logs.example.com", 443},
      {"http://logs.example.com", 80},
      {"HTTP://logs.example.com", 80},
      {"https", 443},
      {"httpsomething", 443},
      {"http", 80},
      {"httpd", 80},
      {"https://logs.example.com:8080", 443},
      {"ftp://logs.example.com", -1},
      {"logs.example.com", -1},
      {" https://logs.example.com", -1},
      {"ftp://https", -1},
      {"htt", -1},
      {"", -1},
  };
  for (const auto& row : rows) EXPECT_EQ(PXALog::getDefaultPortFromURL(row.url), row.port) << row.url;
}

TEST(GetDefaultPortFromURL, HasNoPortForNil) {
  EXPECT_EQ(PXALog::getDefaultPortFromURL(nullptr), -1);
}

TEST(RemoveURLPrefix, LeavesWhatStandsBehindTheFirstSeparator) {
  const struct {
    const char* url;
    const char* rest;
  } rows[] = {
      {"https://logs.example.com", "logs.example.com"},
      {"https://host/p", "host/p"},
      {"https://host:8443", "host:8443"},
      {"https://a://b", "a://b"},
      {"://host", "host"},
      {"https://", ""},
      {"https:///host", "/host"},
      {"anything at all://x", "x"},
      {"https://grüße.example", "grüße.example"},
  };
  for (const auto& row : rows) EXPECT_EQ(text(PXALog::removeURLPrefix(row.url)), row.rest) << row.url;
}

TEST(RemoveURLPrefix, FailsWithoutASeparator) {
  for (const char* url : {"https", "logs.example.com", "https:/host", "https//host", ""}) {
    EXPECT_THROW(static_cast<void>(PXALog::removeURLPrefix(url)), std::out_of_range) << url;
  }
}

}  // namespace
}  // namespace pxa
