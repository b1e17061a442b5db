#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "platform/linux/system_files.h"
#include "support/TemporaryDirectory.h"
#include "support/values.h"

namespace pxa {
namespace {

using namespace std::string_view_literals;
using test::text;

/// A text and what is read out of it; nullptr for nil.
struct Reading {
  std::string_view content;
  const char* result;
};

std::size_t openFiles() {
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}

class SystemFiles : public testing::Test {
 protected:
  String fileWith(const std::string& name, std::string_view content) const {
    String path = directory_.path(name);
    std::ofstream(std::string(path.view())) << content;
    return path;
  }

  const test::TemporaryDirectory directory_;
};

TEST_F(SystemFiles, HaveAFirstLine) {
  for (const Reading& reading : {
           Reading{"one", "one"},
           {"one\n", "one"},
           {"one\ntwo\n", "one"},
           {"one\r\ntwo\r\n", "one"},
           {" \tone two \t\nthree", "one two"},
           {"one\0"sv, "one"},
           {"\0one\0\0\n\0"sv, "one"},
           {"한국어\n", "한국어"},
           {"\n", nullptr},
           {" \t\r\n", nullptr},
           {"\0"sv, nullptr},
           {"\0 \0\n\0"sv, nullptr},
       }) {
    const String path = fileWith("file", reading.content);
    EXPECT_EQ(firstLineOf({path.c_str()}), reading.result) << reading.content;
  }
}

TEST_F(SystemFiles, AreAskedInTheirOrder) {
  const String one = fileWith("one", "first\n");
  const String two = fileWith("two", "second\n");
  EXPECT_EQ(firstLineOf({one.c_str(), two.c_str()}), "first");
  EXPECT_EQ(firstLineOf({two.c_str(), one.c_str()}), "second");
}

TEST_F(SystemFiles, AreNilWhereNoneIsNamed) {
  EXPECT_TRUE(firstLineOf({}).isNil());
}

TEST_F(SystemFiles, ArePassedOverWhereTheyHaveNothingToRead) {
  const String good = fileWith("good", "line\n");
  const String pipe = directory_.path("pipe");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  for (const String& path :
       {String(""), String("."), String("/"), String("/no/such/file"), String("/proc/self/fd"),
        String("/dev/null"), String("/dev/urandom"), String("/proc/self/mem"),
        String("/" + std::string(5000, 'x')), pipe, directory_.path(""), directory_.path("missing"),
        directory_.path("good/inside"), fileWith("empty", ""), fileWith("nulls", "\0\0"sv)}) {
    EXPECT_TRUE(firstLineOf({path.c_str()}).isNil()) << text(path);
    EXPECT_EQ(firstLineOf({path.c_str(), good.c_str()}), "line") << text(path);
  }
}

/// Takes the rights of the system's administrator from the process, for a scope.
class WithoutPrivilege {
 public:
  WithoutPrivilege() : before_(::geteuid()) {
    constexpr uid_t kNobody = 65534;
    if (before_ == 0) isGone_ = ::seteuid(kNobody) == 0;
  }
  WithoutPrivilege(const WithoutPrivilege&) = delete;
  WithoutPrivilege& operator=(const WithoutPrivilege&) = delete;
  ~WithoutPrivilege() { EXPECT_EQ(::seteuid(before_), 0); }

  [[nodiscard]] bool isGone() const { return isGone_; }

 private:
  const uid_t before_;
  bool isGone_ = true;
};

TEST_F(SystemFiles, ArePassedOverWhereTheyMayNotBeRead) {
  using std::filesystem::perms;
  const String good = fileWith("good", "line\n");
  const String secret = fileWith("secret", "secret\n");
  std::filesystem::permissions(directory_.path(), perms(0711));
  std::filesystem::permissions(good.view(), perms(0444));
  std::filesystem::permissions(secret.view(), perms(0));
  const WithoutPrivilege scope;
  if (!scope.isGone()) GTEST_SKIP() << "another user is forbidden here";
  EXPECT_TRUE(firstLineOf({secret.c_str()}).isNil());
  EXPECT_EQ(firstLineOf({secret.c_str(), good.c_str()}), "line");
}

TEST_F(SystemFiles, AreNotLeftOpen) {
  const String good = fileWith("good", "line\n");
  const std::size_t before = openFiles();
  for (const char* path : {"/", "/dev/null", "/proc/self/mem", "/no/such/file", good.c_str()})
    firstLineOf({path});
  for (const char* name : {"kernel.ostype", "kernel", "no.such.parameter"}) kernelParameter(name);
  osRelease();
  EXPECT_EQ(openFiles(), before);
}

TEST(OsRelease, HasAVersion) {
  for (const Reading& reading : {
           Reading{"VERSION_ID=12\n", "12"},
           {"VERSION_ID=12", "12"},
           {"VERSION_ID=\"12.04\"\n", "12.04"},
           {"VERSION_ID='12.04'", "12.04"},
           {"VERSION_ID=\"a'b\"", "a'b"},
           {"VERSION_ID=  12 \t\n", "12"},
           {"VERSION_ID=\" 12 \"\n", "12"},
           {"VERSION_ID=1=2\n", "1=2"},
           {"VERSION_ID=\"12\"\r\nID=debian\r\n", "12"},
           {"NAME=x\r\n\r\nVERSION_ID='12'\r\n", "12"},
           {"VERSION_ID=12\0"sv, "12"},
           {"VERSION_ID=\"12\"\0\0\nID=x\n"sv, "12"},
           {"NAME=\"x\"\n\n\nVERSION_ID=12\nID=x\n", "12"},
           {"VERSION=\"11 (bullseye)\"\nVERSION_ID=12\n", "12"},
           {"BUILD_VERSION_ID=1\nVERSION_ID=12\n", "12"},
           {"MY_VERSION_ID=\"1\"\nVERSION_IDS=2\nVERSION_ID_LIKE=3\nVERSION_ID=12\n", "12"},
           {"#VERSION_ID=1\n# VERSION_ID=2\nVERSION_ID=12\n", "12"},
           {"NAME=\"VERSION_ID=1\"\nVERSION_ID=12\n", "12"},
           {"VERSION_ID=\"한국어\"\n", "한국어"},
       })
    EXPECT_EQ(versionIn(reading.content), reading.result) << reading.content;
}

TEST(OsRelease, HasNoVersionWhereNoneIsGiven) {
  for (const std::string_view content :
       {""sv, "\n"sv, "\0"sv, "NAME=x\nID=debian\n"sv, "VERSION_ID"sv, "VERSION_ID="sv, "VERSION_ID=\n"sv,
        "VERSION_ID=\r\n"sv, "VERSION_ID=\0\n"sv, "VERSION_ID=  \n"sv, "VERSION_ID=\"\"\n"sv,
        "VERSION_ID=''"sv, "VERSION_ID=\"  \"\n"sv, "VERSION_ID=\nID=12\n"sv, "version_id=12\n"sv,
        "BUILD_VERSION_ID=12\n"sv, "VERSION_ID_LIKE=12\n"sv, "VERSION=12\n"sv, "#VERSION_ID=12\n"sv})
    EXPECT_TRUE(versionIn(content).isNil()) << content;
}

TEST(KernelParameter, IsTheKernelsOwn) {
  utsname kernel{};
  ASSERT_EQ(::uname(&kernel), 0);
  EXPECT_EQ(kernelParameter("kernel.ostype"), "Linux");
  EXPECT_EQ(kernelParameter("kernel.osrelease"), kernel.release);
  EXPECT_EQ(kernelParameter("kernel.hostname"), kernel.nodename);
}

TEST(KernelParameter, IsNilForAnyOtherName) {
  for (const String& name :
       {String(nullptr), String(""), String(" "), String("no.such.parameter"), String("hw.machine"),
        String("KERNEL.OSTYPE"), String("kernel.ostype "), String(" kernel.ostype"), String("kernel.ostyp"),
        String("kernel.ostype.more"), String(std::string(5000, 'x')), String(std::string(5000, '.')),
        String("\xFF\xFE"), String("%s%n")})
    EXPECT_TRUE(kernelParameter(name).isNil()) << text(name);
}

TEST(KernelParameter, IsNilForAPathToAnotherFile) {
  for (const char* name : {".", "..", "...", "/", "/etc/passwd", "../../etc/passwd", "....etc.passwd",
                           "kernel/ostype", "/proc/sys/kernel/ostype", "kernel/../kernel/ostype"})
    EXPECT_TRUE(kernelParameter(name).isNil()) << name;
}

TEST(KernelParameter, IsNilForADirectory) {
  for (const char* name : {"kernel", "kernel.", "net.ipv4", "net.ipv4.conf"})
    EXPECT_TRUE(kernelParameter(name).isNil()) << name;
}

TEST(KernelParameter, IsNilForOneThatCanOnlyBeWritten) {
  EXPECT_TRUE(kernelParameter("vm.drop_caches").isNil());
}

}  // namespace
}  // namespace pxa
