// The JSON writer on a batch of 500 events of 24 fields, beside two libraries that a host could link.

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <string>

#include <pxalog/CJSONDeserializer.h>
#include <pxalog/CJSONSerializer.h>

#include "json_documents.h"

namespace {

void finish(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes) * state.iterations());
}

void writeWithPxalog(benchmark::State& state) {
  const auto events = pxa::dictionaryWithJSONString_error(pxa::bench::eventBatch());
  const auto writer = pxa::CJSONSerializer::serializer();
  std::size_t bytes = 0;
  for (auto _ : state) {
    const pxa::Data json = writer.serializeObject_error(events.value());
    benchmark::DoNotOptimize(json);
    bytes = json.size();
  }
  finish(state, bytes);
}

void writeWithNlohmann(benchmark::State& state) {
  const auto events = nlohmann::json::parse(pxa::bench::eventBatch());
  std::size_t bytes = 0;
  for (auto _ : state) {
    const std::string json = events.dump();
    benchmark::DoNotOptimize(json);
    bytes = json.size();
  }
  finish(state, bytes);
}

void writeWithRapidJson(benchmark::State& state) {
  rapidjson::Document events;
  events.Parse(pxa::bench::eventBatch().c_str());
  std::size_t bytes = 0;
  for (auto _ : state) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    events.Accept(writer);
    benchmark::DoNotOptimize(buffer.GetString());
    bytes = buffer.GetSize();
  }
  finish(state, bytes);
}

BENCHMARK(writeWithPxalog);
BENCHMARK(writeWithNlohmann);
BENCHMARK(writeWithRapidJson);

}  // namespace

BENCHMARK_MAIN();
