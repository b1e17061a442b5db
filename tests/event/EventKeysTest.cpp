#include <gtest/gtest.h>
#include <utility>

#include "event/event_keys.h"

namespace pxa {
namespace {

TEST(EventKeys, StandAsTheyAreOnTheWire) {
  const std::pair<String (*)(), const char*> keys[] = {
      {&key::projectName, "projectName"},
      {&key::projectVersion, "projectVersion"},
      {&key::logType, "logType"},
      {&key::logSource, "logSource"},
      {&key::body, "body"},
      {&key::sendTime, "sendTime"},
      {&key::host, "host"},
      {&key::fields, "fields"},
      {&key::handleId, "handleId"},
      {&key::logLevel, "logLevel"},
      {&key::errorCode, "errorCode"},
      {&key::errorRate, "errorRate"},
      {&key::bulkIndex, "rdmBulkIndex"},
      {&key::userId, "UserID"},
      {&key::dumpData, "DmpData"},
      {&key::logVersion, "logVersion"},
      {&key::symbolMethod, "SymMethod"},
      {&key::crashStyle, "CrashStyle"},
      {&key::sdkVersion, "SdkVersion"},
      {&key::sessionId, "SessionID"},
      {&key::deviceId, "DeviceID"},
      {&key::unity, "Unity"},
  };
  for (const auto& [key, text] : keys) EXPECT_EQ(key(), text);
}

TEST(EventKeys, CostNoCopies) {
  EXPECT_EQ(key::body().view().data(), key::body().view().data());
}

TEST(EventKeys, KnowTheMembersOfTheRecord) {
  for (const char* name : {"projectName", "projectVersion", "logType", "logSource", "body", "sendTime"})
    EXPECT_TRUE(key::isRecordMember(name)) << name;
}

TEST(EventKeys, CountNothingElseAsAMemberOfTheRecord) {
  for (const char* name :
       {"host", "fields", "handleId", "logLevel", "rdmBulkIndex", "Body", "bod", "bodyy", ""})
    EXPECT_FALSE(key::isRecordMember(name)) << name;
}

}  // namespace
}  // namespace pxa
