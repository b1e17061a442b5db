// The JSON reader, beside libraries that a host could link, on four documents.

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <nlohmann/json.hpp>
#include <rapidjson/document.h>
#include <simdjson.h>
#include <string>

#include <pxalog/CJSONDeserializer.h>

#include "json_documents.h"

namespace {

using pxa::Data;

void readWithPxalog(benchmark::State& state, const std::string& json) {
  const Data text{std::string_view(json)};
  auto reader = pxa::CJSONDeserializer::deserializer();
  for (auto _ : state) {
    const auto value = reader.deserialize_error(text);
    if (!value) state.SkipWithError("not read");
    benchmark::DoNotOptimize(value);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(json.size()) * state.iterations());
}

void readWithRapidJson(benchmark::State& state, const std::string& json) {
  for (auto _ : state) {
    rapidjson::Document document;
    document.Parse<rapidjson::kParseValidateEncodingFlag>(json.data(), json.size());
    if (document.HasParseError()) state.SkipWithError("not read");
    benchmark::DoNotOptimize(document);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(json.size()) * state.iterations());
}

void readWithNlohmann(benchmark::State& state, const std::string& json) {
  for (auto _ : state) {
    const auto document = nlohmann::json::parse(json);
    benchmark::DoNotOptimize(document);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(json.size()) * state.iterations());
}

void readWithSimdjson(benchmark::State& state, const std::string& json) {
  const simdjson::padded_string text(json);
  simdjson::dom::parser parser;
  for (auto _ : state) {
    const auto document = parser.parse(text);
    if (document.error() != simdjson::SUCCESS) state.SkipWithError("not read");
    benchmark::DoNotOptimize(document);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(json.size()) * state.iterations());
}

/// Bytes of heap that the tree of the event batch takes, for each byte of the text.
void treeOfTheEventBatch(benchmark::State& state) {
  const std::string json = pxa::bench::eventBatch();
  const Data text{std::string_view(json)};
  std::size_t taken = 0;
  for (auto _ : state) {
    auto reader = pxa::CJSONDeserializer::deserializer();
    const std::size_t before = mallinfo2().uordblks;
    const auto value = reader.deserialize_error(text);
    taken = mallinfo2().uordblks - before;
    benchmark::DoNotOptimize(value);
  }
  state.counters["heap_bytes_per_byte"] = static_cast<double>(taken) / static_cast<double>(json.size());
}

void registerAll(const char* name, const std::string& json) {
  const std::string on = std::string("/") + name;
  benchmark::RegisterBenchmark(("pxalog" + on).c_str(), readWithPxalog, json);
  benchmark::RegisterBenchmark(("rapidjson" + on).c_str(), readWithRapidJson, json);
  benchmark::RegisterBenchmark(("nlohmann" + on).c_str(), readWithNlohmann, json);
  benchmark::RegisterBenchmark(("simdjson" + on).c_str(), readWithSimdjson, json);
}

BENCHMARK(treeOfTheEventBatch)->Iterations(20);

}  // namespace

int main(int argc, char** argv) {
  registerAll("events", pxa::bench::eventBatch());
  registerAll("short_numbers", pxa::bench::shortNumbers());
  registerAll("deep_objects", pxa::bench::deepObjects());
  registerAll("long_text", pxa::bench::longText());
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
