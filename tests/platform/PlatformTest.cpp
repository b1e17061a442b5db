#include <gtest/gtest.h>
#include <set>
#include <string>

#include "platform/Platform.h"

namespace pxa {
namespace {

TEST(Platform, IsTheSystemsUntilAnotherIsInstalled) {
  EXPECT_EQ(&Platform::current(), &systemPlatform());
}

TEST(Platform, IsTheOneThatWasInstalled) {
  const Platform other = systemPlatform();
  Platform::install(other);
  EXPECT_EQ(&Platform::current(), &other);
  Platform::install(systemPlatform());
}

TEST(UuidSource, GivesAUuidInItsCanonicalForm) {
  const String uuid = systemPlatform().uuids.createUuid();
  ASSERT_EQ(uuid.size(), 36U);
  for (std::size_t i = 0; i < uuid.size(); ++i) {
    const char character = uuid.view()[i];
    const bool isDash = i == 8 || i == 13 || i == 18 || i == 23;
    EXPECT_TRUE(isDash ? character == '-'
                       : std::string("0123456789ABCDEF").find(character) != std::string::npos)
        << uuid.view();
  }
}

TEST(UuidSource, GivesARandomUuid) {
  EXPECT_EQ(systemPlatform().uuids.createUuid().view().at(14), '4');
}

TEST(UuidSource, GivesANewUuidEachTime) {
  std::set<std::string> uuids;
  for (int i = 0; i < 100; ++i) uuids.emplace(systemPlatform().uuids.createUuid().view());
  EXPECT_EQ(uuids.size(), 100U);
}

}  // namespace
}  // namespace pxa
