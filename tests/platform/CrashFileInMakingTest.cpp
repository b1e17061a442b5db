#include <cstddef>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <vector>

#include "platform/linux/crash/FileInMaking.h"
#include "support/OwnMount.h"
#include "support/TemporaryDirectory.h"

namespace pxa::crash {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

void put(const fs::path& path, std::string_view content) {
  std::ofstream(path, std::ios::binary) << content;
}

std::string contentOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::size_t openDescriptors() {
  const fs::directory_iterator descriptors("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}

class FileInMakingTest : public testing::Test {
 protected:
  /// Makes the file of these parts; what finish returns.
  bool make(const std::vector<std::string>& parts, std::size_t bufferSize = 16) {
    std::vector<std::byte> buffer(bufferSize);
    FileInMaking file(temporaryPath_.c_str(), path_.c_str(), buffer);
    for (const std::string& part : parts) file.write(part.data(), part.size());
    return file.finish();
  }
  /// Names in the directory.
  std::vector<std::string> names() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory_.path()))
      names.push_back(entry.path().filename().string());
    return names;
  }
  void placeIn(const fs::path& directory) {
    path_ = directory / "file";
    temporaryPath_ = directory / "file.new";
  }

  test::TemporaryDirectory directory_;
  fs::path path_ = directory_.path() / "file";
  fs::path temporaryPath_ = directory_.path() / "file.new";
};

TEST_F(FileInMakingTest, HoldsWhatWasWritten) {
  const struct {
    std::vector<std::string> parts;
    std::size_t bufferSize;
  } cases[] = {
      {{}, 16},
      {{""}, 16},
      {{"one", "", "two"}, 16},
      {{"exactly sixteen!"}, 16},
      {{"more than sixteen bytes"}, 16},
      {{"bytes", "for", "a small buffer"}, 1},
      {{std::string("\0with\0nulls", 11)}, 4},
      {{std::string(100'000, 'x'), std::string(100'000, 'y')}, 32768},
  };
  for (const auto& [parts, bufferSize] : cases) {
    std::string whole;
    for (const std::string& part : parts) whole += part;
    EXPECT_TRUE(make(parts, bufferSize));
    EXPECT_EQ(contentOf(path_), whole);
    EXPECT_THAT(names(), ElementsAre("file"));
  }
}

TEST_F(FileInMakingTest, HasItsNameOnlyWhenItIsWhole) {
  std::vector<std::byte> buffer(4);
  FileInMaking file(temporaryPath_.c_str(), path_.c_str(), buffer);
  file.write("content", 7);
  EXPECT_FALSE(fs::exists(path_));
  EXPECT_TRUE(file.finish());
  EXPECT_TRUE(fs::exists(path_));
}

TEST_F(FileInMakingTest, ReplacesAnOlderFileOnlyWhenItIsWhole) {
  put(path_, "an older and longer one");
  std::vector<std::byte> buffer(1);
  FileInMaking file(temporaryPath_.c_str(), path_.c_str(), buffer);
  file.write("new", 3);
  EXPECT_EQ(contentOf(path_), "an older and longer one");
  EXPECT_TRUE(file.finish());
  EXPECT_EQ(contentOf(path_), "new");
}

TEST_F(FileInMakingTest, OverwritesWhatAnEarlierProcessLeftUnfinished) {
  put(temporaryPath_, "left by a process that was killed");
  EXPECT_TRUE(make({"new"}));
  EXPECT_EQ(contentOf(path_), "new");
  EXPECT_THAT(names(), ElementsAre("file"));
}

TEST_F(FileInMakingTest, IsForItsOwnerAlone) {
  EXPECT_TRUE(make({"content"}));
  EXPECT_EQ(fs::status(path_).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(FileInMakingTest, MakesTheDirectoriesThatItLiesIn) {
  const fs::path outer = directory_.path() / "outer";
  placeIn(outer / "inner" / "innermost");
  EXPECT_TRUE(make({"content"}));
  EXPECT_EQ(contentOf(path_), "content");
  EXPECT_EQ(fs::status(outer).permissions(), fs::perms::owner_all);
}

// Failures.

TEST_F(FileInMakingTest, LeavesNothingOfWhatIsNotToBecomeAFile) {
  std::vector<std::byte> buffer(4);
  FileInMaking file(temporaryPath_.c_str(), path_.c_str(), buffer);
  file.write("content", 7);
  file.fail();
  file.write("more", 4);
  EXPECT_FALSE(file.finish());
  EXPECT_THAT(names(), IsEmpty());
}

TEST_F(FileInMakingTest, LeavesAnOlderFileWhenItFails) {
  put(path_, "older");
  std::vector<std::byte> buffer(4);
  FileInMaking file(temporaryPath_.c_str(), path_.c_str(), buffer);
  file.fail();
  EXPECT_FALSE(file.finish());
  EXPECT_EQ(contentOf(path_), "older");
  EXPECT_THAT(names(), ElementsAre("file"));
}

TEST_F(FileInMakingTest, FailsWhereItsDirectoryCannotBeMade) {
  put(directory_.path() / "no directory", "");
  placeIn(directory_.path() / "no directory");
  EXPECT_FALSE(make({"content"}));
  placeIn("/dev/null/documents");
  EXPECT_FALSE(make({"content"}));
  placeIn("");
  EXPECT_THAT(names(), ElementsAre("no directory"));
}

TEST_F(FileInMakingTest, FailsWhereADirectoryHasItsName) {
  fs::create_directory(path_);
  EXPECT_FALSE(make({"content"}));
  EXPECT_THAT(names(), ElementsAre("file"));
}

TEST_F(FileInMakingTest, DoesNotWriteThroughALink) {
  const fs::path target = directory_.path() / "target";
  put(target, "somebody else's");
  fs::create_symlink(target, temporaryPath_);
  make({"content"});
  EXPECT_EQ(contentOf(target), "somebody else's");
}

TEST_F(FileInMakingTest, FailsWithoutADescriptorToOpen) {
  const std::string temporaryPath = temporaryPath_.string();
  const std::string path = path_.string();
  std::vector<std::byte> buffer(16);
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit none{0, before.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
  // Nothing else may be done meanwhile: a sanitizer's checks need descriptors too.
  FileInMaking file(temporaryPath.c_str(), path.c_str(), buffer);
  file.write("content", 7);
  const bool isMade = file.finish();
  ::setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_FALSE(isMade);
  EXPECT_THAT(names(), IsEmpty());
}

TEST_F(FileInMakingTest, FailsOnAFullDiskAndLeavesTheOlderFile) {
  const test::OwnMount mount(directory_.path());
  if (!mount.makeSmall("size=65536")) GTEST_SKIP() << "mounts are forbidden here";
  EXPECT_TRUE(make({"older"}));
  EXPECT_FALSE(make({std::string(200'000, 'x')}, 4096));
  EXPECT_EQ(contentOf(path_), "older");
  EXPECT_THAT(names(), ElementsAre("file"));
  EXPECT_TRUE(make({"newer"}));
  EXPECT_EQ(contentOf(path_), "newer");
}

TEST_F(FileInMakingTest, ClosesWhatItHasOpened) {
  const std::size_t before = openDescriptors();
  EXPECT_TRUE(make({"content"}));
  {
    std::vector<std::byte> buffer(4);
    FileInMaking file(temporaryPath_.c_str(), path_.c_str(), buffer);
    file.fail();
    EXPECT_FALSE(file.finish());
  }
  EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
}  // namespace pxa::crash
