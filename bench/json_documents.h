#pragma once

#include <string>

/// The documents that reader and writer are measured on, as JSON without white space.
namespace pxa::bench {

/// 500 events of 24 fields, a few with escapes and with letters beyond ASCII.
inline std::string eventBatch() {
  std::string json = "[";
  for (int i = 0; i < 500; ++i) {
    const std::string number = std::to_string(i);
    json += i == 0 ? "" : ",";
    json +=
        R"j({"projectName":"shop","projectVersion":"4.12.0","logType":"vesk2-log","logSource":"ios-log",)j"
        R"j("body":"GET /cart/)j" +
        number + R"j( failed: \"timeout\"\n\tat Cart.load (cart.cs:42)","sendTime":")j" +
        std::to_string(1700000000000 + i) +
        R"j(","host":"192.0.2.7","logLevel":"ERROR","errorCode":"E42","Platform":"iOS 12.1",)j"
        R"j("DeviceModel":"iPhone8,2","Carrier":"Unknown","CountryCode":"Unknown",)j"
        R"j("Locale":"English (United States)","NetworkType":"Wi-Fi","UserID":"user-)j" +
        std::to_string(i % 7) +
        R"j(","logVersion":"v2","SdkVersion":"brine-quillmark-iOS-sdk-2.6.6",)j"
        R"j("SessionID":"8E41D2B0-53C9-4E0B-9D6A-6B8D5B6B0C11",)j"
        R"j("DeviceID":"2B0C1D7A-0B5E-4C57-8F0E-0A1B2C3D4E5F","path":"C:\\games\\shop\\save.dat",)j"
        R"j("screen":"checkout","cart":"größer als 3 Stück","rdmBulkIndex":")j" +
        number + R"j("})j";
  }
  return json + "]";
}

inline std::string shortNumbers() {
  std::string json = "[";
  for (int i = 0; i < 100'000; ++i) {
    json += i == 0 ? "" : ",";
    json += i % 4 == 3 ? std::to_string(i % 1000) + ".25" : std::to_string(i * 7919 % 100'000 - 50'000);
  }
  return json + "]";
}

/// 2,000 chains of small objects, each 20 deep.
inline std::string deepObjects() {
  std::string json = "[";
  for (int i = 0; i < 2'000; ++i) {
    json += i == 0 ? "" : ",";
    for (int depth = 0; depth < 20; ++depth) json += R"j({"id":)j" + std::to_string(depth) + R"j(,"next":)j";
    json += "null" + std::string(20, '}');
  }
  return json + "]";
}

/// 200 texts of about 5,000 bytes, most of them of two and three bytes a letter.
inline std::string longText() {
  std::string json = "[";
  for (int i = 0; i < 200; ++i) {
    json += i == 0 ? "\"" : ",\"";
    for (int part = 0; part < 60; ++part)
      json += "Größere Übungen für jedermann — 안녕하세요 세계, 오늘도 좋은 하루 되세요. ";
    json += "\"";
  }
  return json + "]";
}

}  // namespace pxa::bench
