#include <gtest/gtest.h>
#include <memory>

#include <pxalog/PXALog.h>

#include "support/FakePlatform.h"
#include "support/delivery.h"
#include "transport/EventCompletion.h"

namespace pxa {
namespace {

/// A process with one open handle, "h", whose facts are known to stay the same.
class Completion : public testing::Test {
 protected:
  void SetUp() override {
    p_.device.generationOfFacts = 1;
    ASSERT_NE(test::openWithoutSessionLog("h"), nullptr);
  }

  /// A completed log line of the handle.
  VeskEventRef completedLine() {
    auto line = std::make_shared<VeskEvent>("INFO", "", Data("message"), 12);
    EXPECT_TRUE(completion_.complete(*line, "h"));
    return line;
  }
  /// What such a line shares with others; nullptr when it has a dictionary of its own.
  SharedLineFieldsRef shared() {
    const VeskEventRef line = completedLine();
    return line->line() == nullptr ? nullptr : line->line()->shared;
  }

  test::FakePlatform& p_ = test::FakePlatform::install();
  EventCompletion completion_;
};

TEST_F(Completion, IsSharedByTheLinesOfAHandle) {
  const SharedLineFieldsRef first = shared();
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(shared(), first);
}

TEST_F(Completion, IsSharedNoLongerOnceAFactChanges) {
  const SharedLineFieldsRef first = shared();
  PXALog::setCustomField_forKey_forHandleId("value", "mine", "h");
  const SharedLineFieldsRef second = shared();
  ASSERT_NE(second, nullptr);
  EXPECT_NE(second, first);
  EXPECT_FALSE(first->fields().contains("mine"));
  EXPECT_TRUE(second->fields().contains("mine"));
}

TEST_F(Completion, IsMadeAnewWhereTheDeviceCannotTellWhetherItsFactsHaveChanged) {
  p_.device.generationOfFacts.reset();
  const SharedLineFieldsRef first = shared();
  EXPECT_NE(shared(), first);
}

TEST_F(Completion, MakesADictionaryWhereLinesCannotShare) {
  PXALog::setCustomField_forKey_forHandleId("value", "rdmBulkIndex", "h");
  const VeskEventRef line = completedLine();
  EXPECT_EQ(line->line(), nullptr);
  EXPECT_EQ(test::text(test::fieldOf(line, "Platform")), "iOS 12.1");
  EXPECT_EQ(test::text(test::fieldOf(line, "rdmBulkIndex")), "value");
}

TEST_F(Completion, LeavesAnEventOfAnUnknownHandleAsItIs) {
  const VeskEventRef event = test::makeEvent();
  const std::size_t fieldCount = event->fields().dictionary().size();
  EXPECT_FALSE(completion_.complete(*event, "unknown"));
  EXPECT_EQ(event->fields().dictionary().size(), fieldCount);
  EXPECT_EQ(event->host(), Value(""));
}

}  // namespace
}  // namespace pxa
