#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "platform/HostSettings.h"
#include "platform/linux/LinuxFileSystem.h"
#include "support/OwnNetwork.h"
#include "support/TemporaryDirectory.h"

namespace pxa {
namespace {

using namespace std::string_view_literals;
using test::TemporaryDirectory;

Data bytes(std::string_view text) {
  return Data(text);
}

std::string contentOf(const String& path) {
  LinuxFileSystem files;
  const std::optional<Data> content = files.read(path);
  return content ? std::string(content->view()) : "<unreadable>";
}

std::set<std::string> namesIn(const TemporaryDirectory& directory) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(directory.path()))
    names.insert(entry.path().filename().string());
  return names;
}

mode_t permissionsOf(const String& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
}

bool isDirectory(const String& path) {
  return std::filesystem::is_directory(path.view());
}

using Write = bool (FileSystem::*)(const String& path, const Data& content);
constexpr Write kBothWrites[] = {&FileSystem::write, &FileSystem::writeAtomically};

TEST(FileSystem, ReadsWhatWasWritten) {
  for (const Write write : kBothWrites) {
    for (const std::size_t size : {0U, 1U, 4095U, 4096U, 4097U, 65535U, 65536U, 65537U, 1'000'000U}) {
      const TemporaryDirectory directory;
      LinuxFileSystem files;
      std::string content(size, '\0');
      for (std::size_t i = 0; i < size; ++i)
        content[i] = static_cast<char>(static_cast<unsigned char>(i * 31));
      ASSERT_TRUE((files.*write)(directory.path("file"), bytes(content)));
      EXPECT_TRUE(contentOf(directory.path("file")) == content) << size;
    }
  }
}

TEST(FileSystem, WritesAnEmptyFileForNilBytes) {
  for (const Write write : kBothWrites) {
    const TemporaryDirectory directory;
    LinuxFileSystem files;
    ASSERT_TRUE((files.*write)(directory.path("file"), nullptr));
    EXPECT_EQ(contentOf(directory.path("file")), "");
  }
}

TEST(FileSystem, WritesOverALongerFile) {
  for (const Write write : kBothWrites) {
    const TemporaryDirectory directory;
    LinuxFileSystem files;
    files.write(directory.path("file"), bytes("a long content"));
    ASSERT_TRUE((files.*write)(directory.path("file"), bytes("short")));
    EXPECT_EQ(contentOf(directory.path("file")), "short");
  }
}

TEST(FileSystem, WritesFilesThatTheirOwnerAloneCanRead) {
  const mode_t before = ::umask(0);
  for (const Write write : kBothWrites) {
    const TemporaryDirectory directory;
    LinuxFileSystem files;
    ASSERT_TRUE((files.*write)(directory.path("file"), bytes("private")));
    EXPECT_EQ(permissionsOf(directory.path("file")), 0600U);
  }
  ::umask(before);
}

TEST(FileSystem, TakesAnOlderFileFromOthersWhenItWritesOverIt) {
  for (const Write write : kBothWrites) {
    const TemporaryDirectory directory;
    LinuxFileSystem files;
    ASSERT_TRUE((files.*write)(directory.path("file"), bytes("an old content")));
    std::filesystem::permissions(directory.path() / "file", std::filesystem::perms(0666));
    ASSERT_TRUE((files.*write)(directory.path("file"), bytes("private")));
    EXPECT_EQ(contentOf(directory.path("file")), "private");
    EXPECT_EQ(permissionsOf(directory.path("file")), 0600U);
  }
}

TEST(FileSystem, LeavesNoOtherFileBehind) {
  for (const Write write : kBothWrites) {
    const TemporaryDirectory directory;
    LinuxFileSystem files;
    ASSERT_TRUE((files.*write)(directory.path("file"), bytes("first")));
    ASSERT_TRUE((files.*write)(directory.path("file"), bytes("second")));
    EXPECT_EQ(namesIn(directory), std::set<std::string>{"file"});
  }
}

TEST(FileSystem, RemovesWhatAWriterLeftThatWasKilledLongAgo) {
  const TemporaryDirectory directory;
  LinuxFileSystem files;
  for (const char* name : {".pxalog-old.tmp", ".pxalog-new.tmp", "pxalog-old.tmp", ".pxalog-old"})
    ASSERT_TRUE(files.write(directory.path(name), bytes("left")));
  const auto now = std::filesystem::file_time_type::clock::now();
  for (const char* name : {".pxalog-old.tmp", "pxalog-old.tmp", ".pxalog-old"})
    std::filesystem::last_write_time(directory.path() / name, now - std::chrono::hours(2));
  ASSERT_TRUE(files.writeAtomically(directory.path("file"), bytes("content")));
  EXPECT_EQ(namesIn(directory),
            (std::set<std::string>{".pxalog-new.tmp", ".pxalog-old", "file", "pxalog-old.tmp"}));
}

TEST(FileSystem, ReadsNoFileThatIsLargerThanAnyOfTheLibrarys) {
  const TemporaryDirectory directory;
  LinuxFileSystem files;
  ASSERT_TRUE(files.write(directory.path("file"), bytes("content")));
  std::filesystem::resize_file(directory.path() / "file", 256 * 1024 * 1024 + 1);
  EXPECT_FALSE(files.read(directory.path("file")));
}

TEST(FileSystem, FailsToWriteWhereTheDirectoryIsMissing) {
  for (const Write write : kBothWrites) {
    const TemporaryDirectory directory;
    LinuxFileSystem files;
    EXPECT_FALSE((files.*write)(directory.path("missing/file"), bytes("content")));
    EXPECT_TRUE(namesIn(directory).empty());
  }
}

TEST(FileSystem, FailsToWriteToANilPath) {
  for (const Write write : kBothWrites) {
    LinuxFileSystem files;
    EXPECT_FALSE((files.*write)(nullptr, bytes("content")));
    EXPECT_FALSE((files.*write)("", bytes("content")));
  }
}

TEST(FileSystem, FailsToWriteOverADirectoryAndLeavesIt) {
  for (const Write write : kBothWrites) {
    const TemporaryDirectory directory;
    LinuxFileSystem files;
    std::filesystem::create_directory(directory.path() / "file");
    EXPECT_FALSE((files.*write)(directory.path("file"), bytes("content")));
    EXPECT_TRUE(isDirectory(directory.path("file")));
    EXPECT_EQ(namesIn(directory), std::set<std::string>{"file"});
  }
}

TEST(FileSystem, WritesAFileWhoseNameIsAsLongAsNamesMayBe) {
  for (const Write write : kBothWrites) {
    const TemporaryDirectory directory;
    LinuxFileSystem files;
    EXPECT_TRUE((files.*write)(directory.path(std::string(255, 'n')), bytes("content")));
  }
}

/// Lets no file of this process grow beyond a size, for a scope; more is answered with an error, not with a
/// signal.
class LargestFile {
 public:
  explicit LargestFile(rlim_t size) : handler_(::signal(SIGXFSZ, SIG_IGN)) {
    ::getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{size, before_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  LargestFile(const LargestFile&) = delete;
  LargestFile& operator=(const LargestFile&) = delete;
  ~LargestFile() {
    ::setrlimit(RLIMIT_FSIZE, &before_);
    ::signal(SIGXFSZ, handler_);
  }

 private:
  rlimit before_{};
  void (*handler_)(int);
};

TEST(FileSystem, FailsToWriteWhatHasNoRoom) {
  for (const Write write : kBothWrites) {
    const TemporaryDirectory directory;
    LinuxFileSystem files;
    const LargestFile limit(10'000);
    EXPECT_FALSE((files.*write)(directory.path("file"), bytes(std::string(20'000, 'x'))));
  }
}

TEST(FileSystem, KeepsTheOldFileAndNoOtherWhereTheNewOneHasNoRoom) {
  const TemporaryDirectory directory;
  LinuxFileSystem files;
  ASSERT_TRUE(files.writeAtomically(directory.path("file"), bytes("old")));
  {
    const LargestFile limit(10'000);
    EXPECT_FALSE(files.writeAtomically(directory.path("file"), bytes(std::string(20'000, 'x'))));
  }
  EXPECT_EQ(contentOf(directory.path("file")), "old");
  EXPECT_EQ(namesIn(directory), std::set<std::string>{"file"});
}

/// Lets the kernel kill this process when it writes a file beyond a size.
void letLargeFilesKill(rlim_t size) {
  const rlimit noCore{};
  ::setrlimit(RLIMIT_CORE, &noCore);
  const rlimit limit{size, size};
  ::setrlimit(RLIMIT_FSIZE, &limit);
  ::signal(SIGXFSZ, SIG_DFL);
}

TEST(FileSystemDeathTest, KeepsTheOldFileAndNoOtherWhenTheWriterIsKilled) {
  const TemporaryDirectory directory;
  LinuxFileSystem files;
  ASSERT_TRUE(files.writeAtomically(directory.path("file"), bytes("old")));
  EXPECT_EXIT(
      {
        letLargeFilesKill(10'000);
        files.writeAtomically(directory.path("file"), bytes(std::string(20'000, 'x')));
      },
      testing::KilledBySignal(SIGXFSZ), "");
  EXPECT_EQ(contentOf(directory.path("file")), "old");
  EXPECT_EQ(namesIn(directory), std::set<std::string>{"file"});
}

/// Writes a file anew where unnamed files cannot be given a name, and then what has no room.
bool writesWithoutProc(const String& path) {
  const TemporaryDirectory empty;
  LinuxFileSystem files;
  if (!test::showInstead("/proc", empty.path().string())) return false;
  if (!files.writeAtomically(path, bytes("old")) || !files.writeAtomically(path, bytes("new"))) return false;
  const LargestFile limit(10'000);
  return !files.writeAtomically(path, bytes(std::string(20'000, 'x')));
}

TEST(FileSystemDeathTest, WritesAtomicallyWhereUnnamedFilesCannotBeGivenAName) {
  if (!test::showInstead("/proc", "/proc")) GTEST_SKIP() << "mounts are forbidden here";
  const TemporaryDirectory directory;
  EXPECT_EXIT(::_exit(writesWithoutProc(directory.path("file")) ? 0 : 1), testing::ExitedWithCode(0), "");
  EXPECT_EQ(contentOf(directory.path("file")), "new");
  EXPECT_EQ(permissionsOf(directory.path("file")), 0600U);
  EXPECT_EQ(namesIn(directory), std::set<std::string>{"file"});
}

TEST(FileSystem, ShowsReadersTheOldFileOrTheNewOneWhileItWritesAtomically) {
  const TemporaryDirectory directory;
  LinuxFileSystem files;
  const String path = directory.path("file");
  const std::string contents[] = {std::string(200'000, 'a'), std::string(100'000, 'b')};
  ASSERT_TRUE(files.writeAtomically(path, bytes(contents[0])));
  std::atomic<bool> isDone = false;
  std::thread writer([&] {
    for (int i = 1; i <= 50; ++i) files.writeAtomically(path, bytes(contents[i % 2]));
    isDone = true;
  });
  while (!isDone) {
    const std::string content = contentOf(path);
    EXPECT_TRUE(content == contents[0] || content == contents[1]) << content.size();
  }
  writer.join();
}

TEST(FileSystem, LetsManyThreadsWriteOneFileAtomically) {
  const TemporaryDirectory directory;
  LinuxFileSystem files;
  const String path = directory.path("file");
  std::vector<std::thread> writers;
  writers.reserve(4);
  for (int i = 0; i < 4; ++i)
    writers.emplace_back([&, content = std::string(10'000, static_cast<char>('a' + i))] {
      for (int k = 0; k < 10; ++k) EXPECT_TRUE(files.writeAtomically(path, bytes(content)));
    });
  for (std::thread& writer : writers) writer.join();
  const std::string content = contentOf(path);
  EXPECT_EQ(content, std::string(10'000, content.at(0)));
  EXPECT_EQ(namesIn(directory), std::set<std::string>{"file"});
}

TEST(FileSystem, KnowsWhetherARegularFileIsThere) {
  const TemporaryDirectory directory;
  LinuxFileSystem files;
  files.write(directory.path("file"), bytes(""));
  EXPECT_TRUE(files.fileExists(directory.path("file")));
  EXPECT_FALSE(files.fileExists(directory.path("other")));
  EXPECT_FALSE(files.fileExists(directory.path("file/inside")));
  EXPECT_FALSE(files.fileExists(nullptr));
}

TEST(FileSystem, DoesNotTakeADirectoryForAFile) {
  const TemporaryDirectory directory;
  EXPECT_FALSE(LinuxFileSystem().fileExists(directory.path("")));
}

TEST(FileSystem, CannotReadWhatIsNotAFile) {
  const TemporaryDirectory directory;
  LinuxFileSystem files;
  EXPECT_FALSE(files.read(directory.path("missing")));
  EXPECT_FALSE(files.read(directory.path("")));
  EXPECT_FALSE(files.read(nullptr));
}

TEST(FileSystem, TellsAnEmptyFileFromNone) {
  const TemporaryDirectory directory;
  LinuxFileSystem files;
  files.write(directory.path("file"), bytes(""));
  const std::optional<Data> content = files.read(directory.path("file"));
  ASSERT_TRUE(content);
  EXPECT_FALSE(content->isNil());
}

TEST(FileSystem, ReadsAFileThatDoesNotTellItsSize) {
  EXPECT_FALSE(contentOf("/proc/self/comm").empty());
}

TEST(FileSystem, RemovesAFile) {
  const TemporaryDirectory directory;
  LinuxFileSystem files;
  files.write(directory.path("file"), bytes("content"));
  EXPECT_TRUE(files.removeFile(directory.path("file")));
  EXPECT_TRUE(namesIn(directory).empty());
}

TEST(FileSystem, CountsAFileThatIsNotThereAsRemoved) {
  const TemporaryDirectory directory;
  EXPECT_TRUE(LinuxFileSystem().removeFile(directory.path("missing")));
  EXPECT_TRUE(LinuxFileSystem().removeFile(directory.path("missing/file")));
}

TEST(FileSystem, CountsAFileBelowAnotherFileAsRemoved) {
  const TemporaryDirectory directory;
  LinuxFileSystem files;
  files.write(directory.path("file"), bytes("content"));
  EXPECT_TRUE(files.removeFile(directory.path("file/inside"))) << "no such file is there";
}

TEST(FileSystem, NeverRemovesADirectory) {
  const TemporaryDirectory directory;
  std::filesystem::create_directory(directory.path() / "file");
  EXPECT_FALSE(LinuxFileSystem().removeFile(directory.path("file")));
  EXPECT_TRUE(isDirectory(directory.path("file")));
}

class FileSystemWithAPipe : public testing::Test {
 protected:
  FileSystemWithAPipe() { EXPECT_EQ(::mkfifo(pipe_.c_str(), 0600), 0); }

  const TemporaryDirectory directory_;
  const String pipe_ = directory_.path("file");
  LinuxFileSystem files_;
};

TEST_F(FileSystemWithAPipe, DoesNotTakeItForAFile) {
  EXPECT_FALSE(files_.fileExists(pipe_));
}

TEST_F(FileSystemWithAPipe, DoesNotWaitToReadIt) {
  EXPECT_FALSE(files_.read(pipe_));
}

TEST_F(FileSystemWithAPipe, DoesNotWaitToWriteIt) {
  EXPECT_FALSE(files_.write(pipe_, bytes("content")));
}

TEST_F(FileSystemWithAPipe, PutsAFileInItsPlace) {
  EXPECT_TRUE(files_.writeAtomically(pipe_, bytes("content")));
  EXPECT_EQ(contentOf(pipe_), "content");
}

TEST_F(FileSystemWithAPipe, RemovesIt) {
  EXPECT_TRUE(files_.removeFile(pipe_));
  EXPECT_TRUE(namesIn(directory_).empty());
}

/// Sets a variable of the environment, or takes it out for nullptr, for a scope.
class EnvironmentVariable {
 public:
  EnvironmentVariable(const char* name, const char* value) : name_(name) {
    if (const char* before = ::getenv(name)) before_ = before;
    set(value);
  }
  EnvironmentVariable(const EnvironmentVariable&) = delete;
  EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;
  ~EnvironmentVariable() { set(before_ ? before_->c_str() : nullptr); }

 private:
  void set(const char* value) {
    if (value != nullptr)
      ::setenv(name_, value, 1);
    else
      ::unsetenv(name_);
  }

  const char* const name_;
  std::optional<std::string> before_;
};

class DocumentsDirectory : public testing::Test {
 protected:
  DocumentsDirectory() { HostSettings::setDocumentsDirectory(nullptr); }
  ~DocumentsDirectory() override { HostSettings::setDocumentsDirectory(nullptr); }

  [[nodiscard]] String below(const std::string& name) const {
    return directory_.path(name + "/" + ::program_invocation_short_name);
  }

  const TemporaryDirectory directory_;
  LinuxFileSystem files_;
};

TEST_F(DocumentsDirectory, IsTheHostsChoice) {
  HostSettings::setDocumentsDirectory(directory_.path("chosen"));
  EXPECT_EQ(files_.documentsDirectory(), directory_.path("chosen"));
}

TEST_F(DocumentsDirectory, IsMadeWithAllAboveItWhenItIsMissing) {
  HostSettings::setDocumentsDirectory(directory_.path("a/b/c"));
  EXPECT_TRUE(isDirectory(files_.documentsDirectory()));
}

TEST_F(DocumentsDirectory, IsMadeAgainWhenItIsGone) {
  HostSettings::setDocumentsDirectory(directory_.path("chosen"));
  std::filesystem::remove(files_.documentsDirectory().view());
  EXPECT_TRUE(isDirectory(files_.documentsDirectory()));
}

TEST_F(DocumentsDirectory, MayEndWithASlash) {
  HostSettings::setDocumentsDirectory(directory_.path("chosen/"));
  EXPECT_TRUE(isDirectory(files_.documentsDirectory()));
}

TEST_F(DocumentsDirectory, KeepsWhatIsThere) {
  std::filesystem::create_directory(directory_.path() / "chosen");
  std::filesystem::permissions(directory_.path() / "chosen", std::filesystem::perms(0755));
  ASSERT_TRUE(files_.write(directory_.path("chosen/file"), bytes("content")));
  HostSettings::setDocumentsDirectory(directory_.path("chosen"));
  files_.documentsDirectory();
  EXPECT_EQ(contentOf(directory_.path("chosen/file")), "content");
  EXPECT_EQ(permissionsOf(directory_.path("chosen")), 0755U);
}

TEST_F(DocumentsDirectory, IsMadeForItsOwnerAlone) {
  const mode_t before = ::umask(0);
  HostSettings::setDocumentsDirectory(directory_.path("a/b"));
  files_.documentsDirectory();
  ::umask(before);
  EXPECT_EQ(permissionsOf(directory_.path("a")), 0700U);
  EXPECT_EQ(permissionsOf(directory_.path("a/b")), 0700U);
}

TEST_F(DocumentsDirectory, IsAFolderNamedAfterTheProgramInTheUsersDataDirectory) {
  const EnvironmentVariable data("XDG_DATA_HOME", directory_.path("data").c_str());
  EXPECT_EQ(files_.documentsDirectory(), below("data"));
  EXPECT_TRUE(isDirectory(below("data")));
}

TEST_F(DocumentsDirectory, IsTheDefaultAgainForAnEmptyPath) {
  const EnvironmentVariable data("XDG_DATA_HOME", directory_.path("data").c_str());
  HostSettings::setDocumentsDirectory(directory_.path("chosen"));
  HostSettings::setDocumentsDirectory("");
  EXPECT_EQ(files_.documentsDirectory(), below("data"));
}

TEST_F(DocumentsDirectory, IsBelowTheHomeDirectoryWithoutAUsableDataDirectory) {
  const EnvironmentVariable home("HOME", directory_.path("home").c_str());
  for (const char* unusable : {static_cast<const char*>(nullptr), "", "relative/path"}) {
    const EnvironmentVariable data("XDG_DATA_HOME", unusable);
    EXPECT_EQ(files_.documentsDirectory(), below("home/.local/share"));
    EXPECT_TRUE(isDirectory(below("home/.local/share")));
  }
}

}  // namespace
}  // namespace pxa
