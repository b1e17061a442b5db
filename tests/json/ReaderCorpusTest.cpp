#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <pxalog/CJSONDeserializer.h>
#include <pxalog/CJSONSerializer.h>

// Texts and what becomes of them, which lies beside each text under the ending ".expected": of "reads_….json"
// what is written of the value; of "fails<code>_….json" the error with its place and then, a line each, its
// causes.

namespace pxa {
namespace {

namespace fs = std::filesystem;

std::vector<fs::path> textsOfVerdict(std::string_view verdict) {
  std::vector<fs::path> texts;
  for (const auto& entry : fs::directory_iterator(PXALOG_JSON_DATA))
    if (entry.path().extension() == ".json" && entry.path().filename().string().starts_with(verdict))
      texts.push_back(entry.path());
  std::sort(texts.begin(), texts.end());
  return texts;
}

std::string contentOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string expectedOf(fs::path text) {
  return contentOf(text.replace_extension(".expected"));
}

std::string json(const Value& value) {
  return std::string(CJSONSerializer::serializer().serializeObject_error(value).view());
}

std::string codeAndMessage(const Error& error) {
  const String message = error.localizedDescription();
  return std::to_string(error.code()) + " " + (message.isNil() ? "no message" : json(message));
}

std::string place(const Error& error) {
  std::string place;
  for (const char* key : {"line", "character", "location", "snippet"})
    place += std::string(" ") + key + " " + json(error.userInfo().value(key));
  return place;
}

TEST(ReaderCorpus, ReadsWhatItIsToRead) {
  const std::vector<fs::path> texts = textsOfVerdict("reads_");
  EXPECT_FALSE(texts.empty());
  for (const fs::path& text : texts) {
    SCOPED_TRACE(text.filename());
    Error error;
    const std::optional<Value> value = dictionaryWithJSONData_error(Data(contentOf(text)), &error);
    EXPECT_FALSE(error.isError()) << codeAndMessage(error);
    if (value) {
      EXPECT_EQ(json(*value) + "\n", expectedOf(text));
    } else {
      ADD_FAILURE() << "nothing was read";
    }
  }
}

TEST(ReaderCorpus, FailsWithTheErrorItIsToFailWith) {
  const std::vector<fs::path> texts = textsOfVerdict("fails");
  EXPECT_FALSE(texts.empty());
  for (const fs::path& text : texts) {
    SCOPED_TRACE(text.filename());
    Error error;
    EXPECT_FALSE(dictionaryWithJSONData_error(Data(contentOf(text)), &error));
    EXPECT_EQ(error.domain(), CJSONDeserializer::kErrorDomain);
    EXPECT_TRUE(text.filename().string().starts_with("fails" + std::to_string(error.code()) + "_"));

    const std::string whereItFailed = place(error);
    std::string told = codeAndMessage(error) + whereItFailed + "\n";
    for (Error cause = error.underlyingError(); cause.isError(); cause = cause.underlyingError()) {
      EXPECT_EQ(cause.domain(), CJSONDeserializer::kErrorDomain);
      EXPECT_EQ(place(cause), whereItFailed);
      told += codeAndMessage(cause) + "\n";
    }
    EXPECT_EQ(told, expectedOf(text));
  }
}

TEST(ReaderCorpus, HasATextForEveryExpectation) {
  for (const auto& entry : fs::directory_iterator(PXALOG_JSON_DATA))
    if (entry.path().extension() == ".expected") {
      EXPECT_TRUE(fs::exists(fs::path(entry.path()).replace_extension(".json"))) << entry.path();
    }
}

}  // namespace
}  // namespace pxa
