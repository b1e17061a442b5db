#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>
#include <vector>

// The floors of the house: an include goes down, or sideways within its own folder, and never in a circle.

namespace {

namespace fs = std::filesystem;

const fs::path kRoot = PXALOG_SOURCE_DIR;

/// Rooms from the ground up; rooms of one floor do not include each other.
const std::vector<std::set<std::string>> kFloors = {
    {"foundation"},        {"diagnostics"}, {"platform"}, {"platform/linux/crash"}, {"platform/linux"},
    {"json", "device"},    {"event"},       {"queue"},    {"api/handle"},           {"transport"},
    {"settings", "crash"}, {"api"}};

std::string roomOf(const fs::path& relative) {
  return relative.parent_path().string();
}

int floorOf(const std::string& room) {
  for (std::size_t floor = 0; floor < kFloors.size(); ++floor)
    if (kFloors[floor].contains(room)) return static_cast<int>(floor);
  return -1;
}

std::vector<fs::path> sourcesUnder(const fs::path& directory) {
  std::vector<fs::path> sources;
  for (const auto& entry : fs::recursive_directory_iterator(directory))
    if (entry.path().extension() == ".h" || entry.path().extension() == ".cpp")
      sources.push_back(entry.path());
  return sources;
}

/// What a file includes in quotes or in angle brackets.
std::vector<std::string> includesOf(const fs::path& source, char opening) {
  const std::string start = std::string("#include ") + opening;
  const char closing = opening == '<' ? '>' : opening;
  std::vector<std::string> includes;
  std::ifstream file(source);
  for (std::string line; std::getline(file, line);)
    if (line.starts_with(start))
      includes.push_back(line.substr(start.size(), line.rfind(closing) - start.size()));
  return includes;
}

/// A header of the language's own library has neither a folder nor an ending.
bool isStandardHeader(const std::string& include) {
  return include.find_first_of("/.") == std::string::npos;
}

TEST(House, HasAFloorForEveryRoom) {
  for (const fs::path& source : sourcesUnder(kRoot / "src"))
    EXPECT_GE(floorOf(roomOf(fs::relative(source, kRoot / "src"))), 0) << source;
}

TEST(House, IncludesGoDownOrStayInTheirRoom) {
  for (const fs::path& source : sourcesUnder(kRoot / "src")) {
    const std::string room = roomOf(fs::relative(source, kRoot / "src"));
    for (const std::string& include : includesOf(source, '"')) {
      const std::string other = roomOf(include);
      EXPECT_TRUE(other == room || floorOf(other) < floorOf(room)) << source << " includes " << include;
    }
  }
}

TEST(House, KnowsThePlatformsFolderNowhereElse) {
  for (const fs::path& source : sourcesUnder(kRoot / "src")) {
    if (roomOf(fs::relative(source, kRoot / "src")).starts_with("platform/linux")) continue;
    for (const std::string& include : includesOf(source, '"'))
      EXPECT_FALSE(include.starts_with("platform/linux/")) << source << " includes " << include;
  }
}

TEST(House, UsesSystemHeadersOnlyInThePlatformsFolder) {
  for (const char* directory : {"src", "include"}) {
    for (const fs::path& source : sourcesUnder(kRoot / directory)) {
      if (source.string().find("platform/linux") != std::string::npos) continue;
      for (const std::string& include : includesOf(source, '<'))
        EXPECT_TRUE(isStandardHeader(include) || include.starts_with("pxalog/"))
            << source << " includes " << include;
    }
  }
}

TEST(House, HasNoCirclesAmongItsFiles) {
  std::map<std::string, std::vector<std::string>> includes;
  for (const fs::path& source : sourcesUnder(kRoot / "src"))
    includes[fs::relative(source, kRoot / "src").string()] = includesOf(source, '"');
  for (const fs::path& header : sourcesUnder(kRoot / "include"))
    includes[fs::relative(header, kRoot / "include").string()] = includesOf(header, '<');

  std::set<std::string> finished;
  std::set<std::string> open;
  const std::function<void(const std::string&)> visit = [&](const std::string& file) {
    if (finished.contains(file)) return;
    ASSERT_TRUE(open.insert(file).second) << "a circle through " << file;
    for (const std::string& include : includes[file])
      if (includes.contains(include)) visit(include);
    open.erase(file);
    finished.insert(file);
  };
  std::vector<std::string> files;
  for (const auto& [file, its] : includes) files.push_back(file);
  for (const std::string& file : files) visit(file);
}

}  // namespace
