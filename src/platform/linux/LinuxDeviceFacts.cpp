#include "platform/linux/LinuxDeviceFacts.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <spawn.h>
#include <string>
#include <sys/statvfs.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>
#include <uuid/uuid.h>

#include "platform/HostSettings.h"
#include "platform/Platform.h"
#include "platform/linux/system_files.h"

namespace pxa {

namespace {

utsname kernelFacts() {
  utsname facts{};
  ::uname(&facts);
  return facts;
}

template <class Answer>
String hostsAnswerOr(String Host::DeviceFacts::*fact, Answer systemsAnswer) {
  String answer = HostSettings::deviceFact(fact);
  return answer.isEmpty() ? systemsAnswer() : answer;
}

String unknown() {
  return nullptr;
}

String distributionsVersion() {
  String version = versionIn(osRelease());
  return version.isNil() ? kernelFacts().release : version;
}

String modelOfThisMachine() {
  String model = firstLineOf({"/proc/device-tree/model", "/sys/class/dmi/id/product_name"});
  return model.isNil() ? kernelFacts().machine : model;
}

/// A name-based UUID in a name space of the library's own, so that the machine's id cannot be told from it.
String uuidOf(const std::string& name) {
  constexpr uuid_t kNameSpace = {0x5e, 0x0c, 0x8b, 0x52, 0x1f, 0x6d, 0x4a, 0x93,
                                 0xb7, 0x24, 0xd1, 0x09, 0x6e, 0x3f, 0xa8, 0x47};
  uuid_t uuid;
  uuid_generate_sha1(uuid, kNameSpace, name.data(), name.size());
  std::array<char, UUID_STR_LEN> text{};
  uuid_unparse_upper(uuid, text.data());
  return text.data();
}

String uuidOfThisInstallation() {
  const String machine = firstLineOf({"/etc/machine-id", "/var/lib/dbus/machine-id"});
  // Where the system has not been given its id yet, a word stands in its place.
  constexpr std::size_t kMachineIdLength = 32;
  if (machine.view().size() != kMachineIdLength) return nullptr;
  const String documents = Platform::current().files.documentsDirectory();
  return uuidOf(std::string(machine.view()) + '\n' + std::string(documents.view()));
}

FreeMemory freeMemoryOf(const struct sysinfo& facts) {
  const auto pageSize = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
  return {.pages = std::uint64_t{facts.freeram} * facts.mem_unit / pageSize, .pageSize = pageSize};
}

/// Runs "ls" in a shell that reads and prints nothing; whether it ended well.
bool shellRunsACommand() {
  posix_spawn_file_actions_t actions;
  if (::posix_spawn_file_actions_init(&actions) != 0) return false;
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    ::posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_RDWR, 0);
  std::array<char, 3> shell{"sh"};
  std::array<char, 3> option{"-c"};
  std::array<char, 3> command{"ls"};
  std::array<char*, 4> arguments{shell.data(), option.data(), command.data(), nullptr};
  pid_t child = 0;
  const int error = ::posix_spawn(&child, "/bin/sh", &actions, nullptr, arguments.data(), ::environ);
  ::posix_spawn_file_actions_destroy(&actions);
  if (error != 0) return false;

  int status = 0;
  pid_t ended = 0;
  do ended = ::waitpid(child, &status, 0);
  while (ended < 0 && errno == EINTR);
  return ended == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

std::optional<std::uint64_t> LinuxDeviceFacts::generation() {
  // What the system says of itself is the same for the whole life of the process.
  return HostSettings::generationOfDeviceFacts();
}

String LinuxDeviceFacts::systemVersion() {
  return hostsAnswerOr(&Host::DeviceFacts::systemVersion, [] {
    static const auto& version = *new String(distributionsVersion());
    return version;
  });
}

String LinuxDeviceFacts::machineModel() {
  return hostsAnswerOr(&Host::DeviceFacts::machineModel, [] {
    static const auto& model = *new String(modelOfThisMachine());
    return model;
  });
}

String LinuxDeviceFacts::systemControl(const String& name) {
  return kernelParameter(name);
}

String LinuxDeviceFacts::vendorIdentifier() {
  return hostsAnswerOr(&Host::DeviceFacts::vendorIdentifier, uuidOfThisInstallation);
}

String LinuxDeviceFacts::carrierName() {
  return hostsAnswerOr(&Host::DeviceFacts::carrierName, unknown);
}

String LinuxDeviceFacts::carrierCountryCode() {
  return hostsAnswerOr(&Host::DeviceFacts::carrierCountryCode, unknown);
}

String LinuxDeviceFacts::localeDisplayName() {
  return hostsAnswerOr(&Host::DeviceFacts::localeDisplayName, [this] {
    static const auto& name = *new String(pxa::localeDisplayName(locale_.locale));
    return name;
  });
}

std::vector<String> LinuxDeviceFacts::preferredLanguages() {
  static const auto& systems = *new std::vector<String>(languageTags(locale_));
  std::vector<String> hosts = HostSettings::deviceFact(&Host::DeviceFacts::preferredLanguages);
  return hosts.empty() ? systems : hosts;
}

double LinuxDeviceFacts::screenWidth() {
  return HostSettings::deviceFact(&Host::DeviceFacts::screenWidth).value_or(0);
}

std::optional<FreeMemory> LinuxDeviceFacts::freeMemory() {
  struct sysinfo facts {};
  std::optional<FreeMemory> free;
  if (::sysinfo(&facts) == 0) free = freeMemoryOf(facts);
  const auto pages = HostSettings::deviceFact(&Host::DeviceFacts::freePages);
  const auto pageSize = HostSettings::deviceFact(&Host::DeviceFacts::pageSize);
  if (!free && !(pages && pageSize)) return std::nullopt;
  const FreeMemory systems = free.value_or(FreeMemory{});
  return FreeMemory{.pages = pages.value_or(systems.pages), .pageSize = pageSize.value_or(systems.pageSize)};
}

std::optional<std::uint64_t> LinuxDeviceFacts::freeBytesForDocuments() {
  if (const auto hosts = HostSettings::deviceFact(&Host::DeviceFacts::freeBytes)) return hosts;
  struct statvfs facts {};
  const String documents = Platform::current().files.documentsDirectory();
  if (::statvfs(documents.c_str(), &facts) != 0) return std::nullopt;
  return std::uint64_t{facts.f_bavail} * facts.f_frsize;
}

bool LinuxDeviceFacts::canStartShell() {
  const auto hosts = HostSettings::deviceFact(&Host::DeviceFacts::canStartShell);
  return hosts ? *hosts : shellRunsACommand();
}

}  // namespace pxa
