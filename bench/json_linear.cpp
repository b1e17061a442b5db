// That the JSON reader takes time in proportion to its text, errors included: each document of one size and
// of twice that size, which is to take at most 2.3 times as long. Medians of interleaved runs.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <malloc.h>
#include <string>
#include <vector>

#include <pxalog/CJSONDeserializer.h>
#include <pxalog/CJSONSerializer.h>

namespace {

using pxa::Data;
using pxa::Error;
using pxa::Value;

constexpr int kRuns = 7;

std::string repeated(const std::string& part, std::size_t times) {
  std::string whole;
  whole.reserve(part.size() * times);
  for (std::size_t i = 0; i < times; ++i) whole += part;
  return whole;
}

/// Keys of two letters a bit, "Aa" or "BB", which hash alike wherever a hash is a sum of powers of 31.
std::string keysThatHashAlike(std::size_t count) {
  std::string json = "{";
  for (std::size_t i = 0; i < count; ++i) {
    json += i == 0 ? "\"" : ",\"";
    for (unsigned bit = 0; bit < 20; ++bit) json += (i >> bit & 1U) != 0 ? "Aa" : "BB";
    json += "\":0";
  }
  return json + "}";
}

std::string differentKeys(std::size_t count) {
  std::string json = "{";
  for (std::size_t i = 0; i < count; ++i)
    json.append(i == 0 ? "\"k" : ",\"k").append(std::to_string(i)).append("\":0");
  return json + "}";
}

std::string oneKeyAgainAndAgain(std::size_t count) {
  return "{" + repeated(R"("key":0,)", count) + "}";
}

std::string escapes(std::size_t count) {
  return "[\"" + repeated(R"(\n\ud83d\ude00\\)", count) + "\"]";
}

std::string digits(std::size_t count) {
  return "[" + repeated("1234567890", count / 10) + "]";
}

std::string fraction(std::size_t count) {
  return "[0." + repeated("1234567890", count / 10) + "]";
}

std::string brackets(std::size_t count) {
  return repeated("[", count) + repeated("]", count);
}

std::string openBrackets(std::size_t count) {
  return repeated("[", count);
}

std::string openDictionaries(std::size_t count) {
  return repeated(R"({"k":)", count);
}

std::string errorAtTheEnd(std::size_t size) {
  return "[" + repeated("\"nothing but text\",\n", size / 20) + "x]";
}

void readAndWriteBack(const Data& json) {
  const auto value = pxa::dictionaryWithJSONData_error(json);
  if (!value || pxa::CJSONSerializer::serializer().serializeObject_error(*value).isNil())
    std::puts("not read or not written");
}

void fail(const Data& json) {
  Error error;
  if (pxa::dictionaryWithJSONData_error(json, &error) || !error.isError()) std::puts("no error");
}

struct Case {
  const char* name;
  std::string (*document)(std::size_t size);
  std::size_t size;  // the larger one
  void (*use)(const Data& json);
};

constexpr Case kCases[] = {
    {"1,000,000 keys that simple hashes confuse", keysThatHashAlike, 1'000'000, readAndWriteBack},
    {"1,000,000 different keys", differentKeys, 1'000'000, readAndWriteBack},
    {"one key 1,000,000 times", oneKeyAgainAndAgain, 1'000'000, readAndWriteBack},
    {"a string of 3,000,000 escapes", escapes, 1'000'000, readAndWriteBack},
    {"an integer of 10,000,000 digits", digits, 10'000'000, readAndWriteBack},
    {"a fraction of 10,000,000 digits", fraction, 10'000'000, readAndWriteBack},
    {"1,000,000 nested arrays", brackets, 1'000'000, readAndWriteBack},
    {"1,000,000 arrays left open, with their errors", openBrackets, 1'000'000, fail},
    {"1,000,000 dictionaries left open, with errors", openDictionaries, 1'000'000, fail},
    {"an error at the end of 100 MB", errorAtTheEnd, 100'000'000, fail},
};

double milliseconds(const Case& measured, const Data& json) {
  const auto start = std::chrono::steady_clock::now();
  measured.use(json);
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

void measure(const Case& measured) {
  const Data half(measured.document(measured.size / 2));
  const Data whole(measured.document(measured.size));
  std::vector<double> ofHalf;
  std::vector<double> ofWhole;
  std::vector<double> ratios;
  milliseconds(measured, whole);  // touches the memory
  for (int i = 0; i < kRuns; ++i) {
    ofHalf.push_back(milliseconds(measured, half));
    ofWhole.push_back(milliseconds(measured, whole));
    ratios.push_back(ofWhole.back() / ofHalf.back());
  }
  std::printf("%-48s %9.2f ms %9.2f ms %6.2f   (%.2f to %.2f)\n", measured.name, median(ofHalf),
              median(ofWhole), median(ofWhole) / median(ofHalf),
              *std::min_element(ratios.begin(), ratios.end()),
              *std::max_element(ratios.begin(), ratios.end()));
}

/// Memory that was given back stays with the process: the system hands out pages for a large document again and
/// again, for a small one never.
void keepFreedMemory() {
  ::mallopt(M_MMAP_MAX, 0);
  ::mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
}

}  // namespace

int main() {
  keepFreedMemory();
  std::printf("%-48s %12s %12s %6s   (of single runs)\n", "document", "half of it", "all of it", "ratio");
  for (const Case& measured : kCases) measure(measured);
  return 0;
}
