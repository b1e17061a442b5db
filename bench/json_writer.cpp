// The JSON writer on a batch of 500 events of 24 fields, beside two libraries that a host could link.

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <string>
#include <utility>
#include <vector>

#include <pxalog/CJSONSerializer.h>

namespace {

using Event = std::vector<std::pair<std::string, std::string>>;

constexpr int kEvents = 500;

std::vector<Event> batch() {
  std::vector<Event> events;
  for (int i = 0; i < kEvents; ++i) {
    Event event = {
        {"projectName", "shop"},
        {"projectVersion", "4.12.0"},
        {"logType", "vesk2-log"},
        {"logSource", "ios-log"},
        {"body", "GET /cart/" + std::to_string(i) + " failed: \"timeout\"\n\tat Cart.load (cart.cs:42)"},
        {"sendTime", std::to_string(1700000000000 + i)},
        {"host", "192.0.2.7"},
        {"logLevel", "ERROR"},
        {"errorCode", "E42"},
        {"Platform", "iOS 12.1"},
        {"DeviceModel", "iPhone8,2"},
        {"Carrier", "Unknown"},
        {"CountryCode", "Unknown"},
        {"Locale", "English (United States)"},
        {"NetworkType", "Wi-Fi"},
        {"UserID", "user-" + std::to_string(i % 7)},
        {"logVersion", "v2"},
        {"SdkVersion", "brine-quillmark-iOS-sdk-2.6.6"},
        {"SessionID", "8E41D2B0-53C9-4E0B-9D6A-6B8D5B6B0C11"},
        {"DeviceID", "2B0C1D7A-0B5E-4C57-8F0E-0A1B2C3D4E5F"},
        {"path", "C:\\games\\shop\\save.dat"},
        {"screen", "checkout"},
        {"cart", "größer als 3 Stück"},
        {"rdmBulkIndex", std::to_string(i)}};
    events.push_back(std::move(event));
  }
  return events;
}

void finish(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes) * state.iterations());
}

void writeWithPxalog(benchmark::State& state) {
  pxa::Array array;
  for (const Event& event : batch()) {
    pxa::Dictionary dictionary;
    for (const auto& [key, value] : event) dictionary.set(key, pxa::String(value).utf8());
    array.append(dictionary);
  }
  const auto writer = pxa::CJSONSerializer::serializer();
  std::size_t bytes = 0;
  for (auto _ : state) {
    const pxa::Data json = writer.serializeObject_error(array);
    benchmark::DoNotOptimize(json);
    bytes = json.size();
  }
  finish(state, bytes);
}

void writeWithNlohmann(benchmark::State& state) {
  nlohmann::json array = nlohmann::json::array();
  for (const Event& event : batch()) {
    nlohmann::json object;
    for (const auto& [key, value] : event) object[key] = value;
    array.push_back(std::move(object));
  }
  std::size_t bytes = 0;
  for (auto _ : state) {
    const std::string json = array.dump();
    benchmark::DoNotOptimize(json);
    bytes = json.size();
  }
  finish(state, bytes);
}

void writeWithRapidJson(benchmark::State& state) {
  rapidjson::Document array(rapidjson::kArrayType);
  auto& allocator = array.GetAllocator();
  for (const Event& event : batch()) {
    rapidjson::Value object(rapidjson::kObjectType);
    for (const auto& [key, value] : event)
      object.AddMember(rapidjson::Value(key.c_str(), allocator), rapidjson::Value(value.c_str(), allocator),
                       allocator);
    array.PushBack(object, allocator);
  }
  std::size_t bytes = 0;
  for (auto _ : state) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    array.Accept(writer);
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
