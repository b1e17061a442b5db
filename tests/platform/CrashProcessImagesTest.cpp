#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <elf.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <link.h>
#include <map>
#include <string>
#include <string_view>
#include <sys/auxv.h>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>
#include <uuid/uuid.h>
#include <vector>

#include "platform/linux/crash/FaultGuard.h"
#include "platform/linux/crash/process_images.h"
#include "support/TemporaryDirectory.h"

namespace pxa::crash {
namespace {

namespace fs = std::filesystem;

struct Image {
  std::uint64_t base = 0;
  std::uint64_t size = 0;
  std::string path;
  std::string uuid;
};

std::vector<Image> images() {
  FaultGuard::install();
  std::vector<Image> images;
  listImages(
      [](const ImageFacts& image, void* list) {
        static_cast<std::vector<Image>*>(list)->push_back(
            {image.base, image.size, image.path, image.uuid == nullptr ? "(none)" : image.uuid});
      },
      &images);
  return images;
}

/// The image at that path; one of size 0 when there is none.
Image imageAt(const std::string& path) {
  for (const Image& image : images())
    if (image.path == path) return image;
  return {};
}

/// Base and size of everything that the dynamic linker has loaded.
std::map<std::uint64_t, std::uint64_t> loadedImages() {
  std::map<std::uint64_t, std::uint64_t> loaded;
  ::dl_iterate_phdr(
      [](dl_phdr_info* info, std::size_t, void* map) {
        std::uint64_t low = std::numeric_limits<std::uint64_t>::max();
        std::uint64_t high = 0;
        for (int i = 0; i < info->dlpi_phnum; ++i) {
          const auto& segment = info->dlpi_phdr[i];
          if (segment.p_type != PT_LOAD) continue;
          low = std::min<std::uint64_t>(low, segment.p_vaddr);
          high = std::max<std::uint64_t>(high, segment.p_vaddr + segment.p_memsz);
        }
        (*static_cast<std::map<std::uint64_t, std::uint64_t>*>(map))[info->dlpi_addr + low] = high - low;
        return 0;
      },
      &loaded);
  return loaded;
}

/// What readelf says of the file's build id; "(none)" where it says nothing.
std::string buildIdOf(const std::string& path) {
  const std::string command = "readelf -n '" + path + "' 2>/dev/null";
  std::FILE* pipe = ::popen(command.c_str(), "r");  // NOLINT(cert-env33-c)
  if (pipe == nullptr) return "(no readelf)";
  std::string output;
  std::array<char, 256> part{};
  while (std::fgets(part.data(), part.size(), pipe) != nullptr) output += part.data();
  ::pclose(pipe);
  constexpr std::string_view kName = "Build ID: ";
  const std::size_t start = output.find(kName);
  if (start == std::string::npos) return "(none)";
  const std::size_t first = start + kName.size();
  return output.substr(first, output.find('\n', first) - first);
}

/// A library of the system's under another name.
fs::path copyOfLibrary(const fs::path& copy) {
  Dl_info info{};
  ::dladdr(reinterpret_cast<const void*>(&::uuid_unparse_upper), &info);
  fs::copy_file(fs::canonical(info.dli_fname), copy);
  return copy;
}

/// A file in memory.
class MappedFile {
 public:
  explicit MappedFile(const fs::path& path) : size_(fs::file_size(path)) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    memory_ = ::mmap(nullptr, size_, PROT_READ, MAP_PRIVATE, file, 0);
    ::close(file);
  }
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;
  ~MappedFile() { ::munmap(memory_, size_); }

  [[nodiscard]] bool isThere() const { return memory_ != MAP_FAILED; }

 private:
  const std::size_t size_;
  void* memory_ = MAP_FAILED;
};

TEST(ProcessImages, AreAllThatTheDynamicLinkerHasLoaded) {
  std::map<std::uint64_t, std::uint64_t> listed;
  for (const Image& image : images()) listed[image.base] = image.size;
  const auto loaded = loadedImages();
  EXPECT_GT(loaded.size(), 3U);
  for (const auto& [base, size] : loaded) {
    ASSERT_TRUE(listed.contains(base)) << std::hex << base;
    EXPECT_EQ(listed[base], size) << std::hex << base;
  }
}

TEST(ProcessImages, ComeInTheOrderOfTheirAddressesAndOnce) {
  const std::vector<Image> all = images();
  for (std::size_t i = 1; i < all.size(); ++i) EXPECT_LT(all[i - 1].base, all[i].base);
}

TEST(ProcessImages, ContainTheProgramItself) {
  const Image program = imageAt(fs::canonical("/proc/self/exe").string());
  const auto here = reinterpret_cast<std::uint64_t>(&imageAt);
  EXPECT_LE(program.base, here);
  EXPECT_GT(program.base + program.size, here);
}

TEST(ProcessImages, ContainThePageThatTheSystemLendsToEveryProcess) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizer cannot read this page on every run";
#endif
  const std::uint64_t base = ::getauxval(AT_SYSINFO_EHDR);
  if (base == 0) GTEST_SKIP() << "there is none here";
  const Image page = imageAt("[vdso]");
  EXPECT_EQ(page.base, base);
  EXPECT_GT(page.size, 0U);
}

TEST(ProcessImages, HaveTheirFilesBuildIds) {
  int withId = 0;
  for (const Image& image : images()) {
    if (!fs::exists(image.path)) continue;
    EXPECT_EQ(image.uuid, buildIdOf(image.path)) << image.path;
    withId += image.uuid == "(none)" ? 0 : 1;
  }
  EXPECT_GT(withId, 1);
}

TEST(ProcessImages, MayHaveSpacesInTheirPaths) {
  const test::TemporaryDirectory directory;
  const fs::path copy = copyOfLibrary(directory.path() / "a name  with spaces.so");
  void* library = ::dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << ::dlerror();
  EXPECT_GT(imageAt(copy.string()).size, 0U);
  ::dlclose(library);
  EXPECT_EQ(imageAt(copy.string()).size, 0U);
}

// Files that are in memory and no images.

TEST(ProcessImages, AreNotFilesOfAnotherKind) {
  const test::TemporaryDirectory directory;
  const fs::path path = directory.path() / "text";
  std::ofstream(path) << std::string(10'000, 'x');
  const MappedFile file(path);
  ASSERT_TRUE(file.isThere());
  EXPECT_EQ(imageAt(path.string()).size, 0U);
}

/// A library whose head says something else.
std::string damagedLibrary(const fs::path& path, void (*damage)(ElfW(Ehdr) & header)) {
  copyOfLibrary(path);
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  ElfW(Ehdr) header{};
  file.read(reinterpret_cast<char*>(&header), sizeof header);
  damage(header);
  file.seekp(0);
  file.write(reinterpret_cast<const char*>(&header), sizeof header);
  return path.string();
}

TEST(ProcessImages, AreNotLostBehindOneWithADamagedHead) {
  void (*const damages[])(ElfW(Ehdr)&) = {
      [](ElfW(Ehdr) & header) { header.e_phoff = std::uint64_t{1} << 45U; },
      [](ElfW(Ehdr) & header) { header.e_phoff = std::numeric_limits<std::uint64_t>::max() - 63; },
      [](ElfW(Ehdr) & header) { header.e_phnum = 0; },
      [](ElfW(Ehdr) & header) { header.e_phentsize = 1; },
      [](ElfW(Ehdr) & header) { header.e_type = ET_CORE; },
  };
  const std::size_t count = images().size();
  for (const auto damage : damages) {
    const test::TemporaryDirectory directory;
    const std::string path = damagedLibrary(directory.path() / "damaged.so", damage);
    const MappedFile file(path);
    ASSERT_TRUE(file.isThere());
    EXPECT_EQ(imageAt(path).size, 0U);
    EXPECT_EQ(images().size(), count);
  }
}

TEST(ProcessImages, AreNotLostBehindOneThatIsCutOff) {
  const std::size_t count = images().size();
  const test::TemporaryDirectory directory;
  const fs::path path = copyOfLibrary(directory.path() / "cut.so");
  const MappedFile file(path);
  ASSERT_TRUE(file.isThere());
  fs::resize_file(path, 0);
  EXPECT_EQ(imageAt(path.string()).size, 0U);
  EXPECT_EQ(images().size(), count);
}

}  // namespace
}  // namespace pxa::crash
