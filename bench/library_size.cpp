// How large the shared library is without its symbols, and whether it exports what is no part of the public
// interface, by the judgement of the tests.
//
//   library_size [LIBRARY]

#include <array>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/wait.h>

#include "child_process.h"
#include "costs.h"

namespace {

/// What a shell command wrote, and whether it ended well.
struct Outcome {
  std::string text;
  bool isGood = false;
};

std::string quoted(const std::string& text) {
  return "'" + text + "'";
}

Outcome shell(const std::string& command) {
  std::FILE* output = ::popen((command + " 2>&1").c_str(), "r");
  if (output == nullptr) throw std::runtime_error("cannot run " + command);
  Outcome outcome;
  std::array<char, 4096> part{};
  while (const std::size_t size = std::fread(part.data(), 1, part.size(), output))
    outcome.text.append(part.data(), size);
  const int status = ::pclose(output);
  outcome.isGood = WIFEXITED(status) && WEXITSTATUS(status) == 0;
  return outcome;
}

/// Kibibytes.
double strippedSize(const std::string& library) {
  const pxa::bench::TemporaryDirectory directory;
  const std::string stripped = directory.path() + "/stripped";
  const Outcome outcome = shell("strip -o " + quoted(stripped) + " " + quoted(library));
  if (!outcome.isGood) throw std::runtime_error("strip: " + outcome.text);
  return static_cast<double>(std::filesystem::file_size(stripped)) / 1024;
}

int countOf(std::string_view wanted, std::string_view text) {
  int count = 0;
  for (std::size_t found = text.find(wanted); found != std::string_view::npos;
       found = text.find(wanted, found + 1))
    ++count;
  return count;
}

/// The test tells each of them in a message of its own.
int exportsOutsideTheInterface(const std::string& library) {
  const Outcome outcome = shell("cmake -DLIBRARY=" + quoted(library) + " -P " + quoted(PXALOG_EXPORTS_TEST));
  const int count = countOf("exported, but", outcome.text);
  if (outcome.isGood != (count == 0)) throw std::runtime_error(outcome.text);
  return count;
}

void measure(const std::string& library) {
  pxa::bench::Samples size;
  size.add(strippedSize(library));
  pxa::bench::report({.name = "shared library, stripped", .unit = "KiB", .measured = size, .most = 450});
  pxa::bench::Samples exports;
  exports.add(exportsOutsideTheInterface(library));
  pxa::bench::report(
      {.name = "symbols exported beside the public interface", .unit = "", .measured = exports, .most = 0});
}

}  // namespace

int main(int argc, char** argv) {
  const std::filesystem::path beside = std::filesystem::path(pxa::bench::programPath()).parent_path();
  const std::string library = argc > 1 ? argv[1] : beside / "../src/libpxalog.so";
  return pxa::bench::run([&] { measure(library); });
}
