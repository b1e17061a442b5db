// The JSON writer, beside two libraries that a host could link, on four documents; and the length of what it
// would write, which is counted without writing.

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <string>

#include <pxalog/CJSONDeserializer.h>
#include <pxalog/CJSONSerializer.h>

#include "json/JsonEmitter.h"
#include "json_documents.h"

namespace {

using RapidJsonWriter = rapidjson::Writer<rapidjson::StringBuffer>;
using RapidJsonValidatingWriter =
    rapidjson::Writer<rapidjson::StringBuffer, rapidjson::UTF8<>, rapidjson::UTF8<>, rapidjson::CrtAllocator,
                      rapidjson::kWriteValidateEncodingFlag>;

void finish(benchmark::State& state, const std::string& json, std::size_t size) {
  if (size != json.size()) state.SkipWithError("not what was read");
  state.SetBytesProcessed(static_cast<std::int64_t>(size) * state.iterations());
}

pxa::Value valueOf(const std::string& json) {
  const pxa::Data text{std::string_view(json)};
  return pxa::CJSONDeserializer::deserializer().deserialize_error(text).value();
}

void writeWithPxalog(benchmark::State& state, const std::string& json) {
  const pxa::Value value = valueOf(json);
  const auto writer = pxa::CJSONSerializer::serializer();
  std::size_t size = 0;
  for (auto _ : state) {
    const pxa::Data text = writer.serializeObject_error(value);
    benchmark::DoNotOptimize(text);
    size = text.size();
  }
  finish(state, json, size);
}

void measureWithPxalog(benchmark::State& state, const std::string& json) {
  const pxa::Value value = valueOf(json);
  std::size_t size = 0;
  for (auto _ : state) {
    pxa::JsonLength length;
    if (!pxa::JsonEmitter(length).value(value)) state.SkipWithError("no length");
    size = length.size();
    benchmark::DoNotOptimize(size);
  }
  finish(state, json, size);
}

template <class Writer>
void writeWithRapidJson(benchmark::State& state, const std::string& json) {
  rapidjson::Document document;
  document.Parse(json.data(), json.size());
  std::size_t size = 0;
  for (auto _ : state) {
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    document.Accept(writer);
    benchmark::DoNotOptimize(buffer.GetString());
    size = buffer.GetSize();
  }
  finish(state, json, size);
}

void writeWithNlohmann(benchmark::State& state, const std::string& json) {
  const auto document = nlohmann::json::parse(json);
  std::size_t size = 0;
  for (auto _ : state) {
    const std::string text = document.dump();
    benchmark::DoNotOptimize(text);
    size = text.size();
  }
  finish(state, json, size);
}

void registerAll(const char* name, const std::string& json) {
  const std::string on = std::string("/") + name;
  benchmark::RegisterBenchmark(("pxalog" + on).c_str(), writeWithPxalog, json);
  benchmark::RegisterBenchmark(("pxalog_length" + on).c_str(), measureWithPxalog, json);
  benchmark::RegisterBenchmark(("rapidjson" + on).c_str(), writeWithRapidJson<RapidJsonWriter>, json);
  benchmark::RegisterBenchmark(("rapidjson_validating" + on).c_str(),
                               writeWithRapidJson<RapidJsonValidatingWriter>, json);
  benchmark::RegisterBenchmark(("nlohmann" + on).c_str(), writeWithNlohmann, json);
}

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
