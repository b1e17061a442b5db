// What the first initialisation takes from the thread that calls it, each time in a new process: the time,
// and how often that thread begins something that may take long: the network, the look-up of names, TLS,
// curl, ICU. This program stands before the functions that begin them, and counts.

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <curl/curl.h>
#include <dlfcn.h>
#include <netdb.h>
#include <numeric>
#include <openssl/ssl.h>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <thread>
#include <unicode/uloc.h>
#include <unicode/ustring.h>
#include <vector>

#include <pxalog/Host.h>
#include <pxalog/PXALog.h>
#include <pxalog/VeskReachability.h>

#include "child_process.h"
#include "costs.h"

namespace {

using namespace std::chrono_literals;

constexpr int kHttp = 1;
constexpr int kProcesses = 15;
constexpr auto kLongestSettling = 20s;

enum Kind : std::uint8_t { kNetwork, kNames, kTls, kCurl, kIcu, kKinds };
constexpr std::array<const char*, kKinds> kNamesOfKinds = {"network", "names", "TLS", "curl", "ICU"};

std::array<std::atomic<int>, kKinds> startUpsOfAllThreads;
std::array<std::atomic<int>, kKinds> startUpsOfTheCaller;
thread_local bool isInitialising = false;

void count(Kind kind) {
  ++startUpsOfAllThreads[kind];
  if (isInitialising) ++startUpsOfTheCaller[kind];
}

/// The function that this program's own one of that name stands before.
template <class Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

template <class Function>
Function* counted(Kind kind, const char* name) {
  count(kind);
  return next<Function>(name);
}

}  // namespace

// The names of ICU's functions are macros, which the first of these replaces before the second quotes them.
#define TEXT_OF(name) QUOTED(name)
#define QUOTED(name) #name
#define NEXT(function) next<decltype(function)>(TEXT_OF(function))
#define COUNTED(kind, function) counted<decltype(function)>(kind, TEXT_OF(function))

extern "C" {

int socket(int domain, int type, int protocol) noexcept {
  if (domain == AF_INET || domain == AF_INET6) count(kNetwork);
  return NEXT(socket)(domain, type, protocol);
}

int getaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** result) {
  return COUNTED(kNames, getaddrinfo)(name, service, hints, result);
}

int OPENSSL_init_ssl(std::uint64_t options, const OPENSSL_INIT_SETTINGS* settings) {
  return COUNTED(kTls, OPENSSL_init_ssl)(options, settings);
}

int OPENSSL_init_crypto(std::uint64_t options, const OPENSSL_INIT_SETTINGS* settings) {
  return COUNTED(kTls, OPENSSL_init_crypto)(options, settings);
}

CURLcode curl_global_init(long flags) {
  return COUNTED(kCurl, curl_global_init)(flags);
}

CURL* curl_easy_init() {
  return COUNTED(kCurl, curl_easy_init)();
}

CURLM* curl_multi_init() {
  return COUNTED(kCurl, curl_multi_init)();
}

std::int32_t uloc_canonicalize(const char* locale, char* name, std::int32_t capacity, UErrorCode* error) {
  return COUNTED(kIcu, uloc_canonicalize)(locale, name, capacity, error);
}

std::int32_t uloc_toLanguageTag(const char* locale, char* tag, std::int32_t capacity, UBool isStrict,
                                UErrorCode* error) {
  return COUNTED(kIcu, uloc_toLanguageTag)(locale, tag, capacity, isStrict, error);
}

std::int32_t uloc_getDisplayName(const char* locale, const char* inLocale, UChar* name, std::int32_t capacity,
                                 UErrorCode* error) {
  return COUNTED(kIcu, uloc_getDisplayName)(locale, inLocale, name, capacity, error);
}

char* u_strToUTF8(char* text, std::int32_t capacity, std::int32_t* length, const UChar* source,
                  std::int32_t sourceLength, UErrorCode* error) {
  return COUNTED(kIcu, u_strToUTF8)(text, capacity, length, source, sourceLength, error);
}

}  // extern "C"

namespace {

/// The first kind that no thread has begun; nullptr when there is none.
const char* kindThatNobodyBegan() {
  for (std::size_t kind = 0; kind < kKinds; ++kind)
    if (startUpsOfAllThreads[kind] == 0) return kNamesOfKinds[kind];
  return nullptr;
}

/// A count of none means something only if it was counted: once the library's threads have settled, each kind
/// must have been begun by one of them. Names are looked up for a monitor: the collector's host is a number.
void waitUntilEachKindWasBegun() {
  const auto monitor = pxa::VeskReachability::reachabilityWithHostname("host.invalid");
  const auto deadline = std::chrono::steady_clock::now() + kLongestSettling;
  while (const char* kind = kindThatNobodyBegan()) {
    if (std::chrono::steady_clock::now() > deadline)
      throw std::runtime_error("no thread has begun this, or nobody counted it: " + std::string(kind));
    std::this_thread::sleep_for(10ms);
  }
}

double millisecondsOfInitialisation(std::int32_t port) {
  isInitialising = true;
  const double nanoseconds = pxa::bench::nanosecondsOf([port] {
    const bool isOpen =
        pxa::PXALog::init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter(
            "http://127.0.0.1", port, kHttp, "bench", "1.0", nullptr, true);
    if (!isOpen) throw std::runtime_error("no handle");
  });
  isInitialising = false;
  return nanoseconds / 1e6;
}

/// Writes the milliseconds, how often this thread has begun something, and what that was.
void runChild(std::int32_t port) {
  ::setenv("LC_ALL", "de_DE.UTF-8", 1);  // in the C locale ICU would have nothing to do
  pxa::Host::setSettingsService({"127.0.0.1:" + std::to_string(port), nullptr, nullptr});
  pxa::Host::setLogSink([](const pxa::String&) {});
  const double milliseconds = millisecondsOfInitialisation(port);
  waitUntilEachKindWasBegun();
  std::printf("%f %d", milliseconds,
              std::accumulate(startUpsOfTheCaller.begin(), startUpsOfTheCaller.end(), 0));
  for (std::size_t kind = 0; kind < kKinds; ++kind)
    if (startUpsOfTheCaller[kind] > 0) std::printf(" %s", kNamesOfKinds[kind]);
}

void measure() {
  const pxa::bench::RefusingPort port;
  const std::vector<std::string> command = {pxa::bench::programPath(), "--child",
                                            std::to_string(port.number())};
  pxa::bench::Samples times;
  pxa::bench::Samples startUps;
  std::string begun;
  for (int process = 0; process < kProcesses; ++process) {
    std::istringstream output(pxa::bench::ChildProcess(command).output());
    double milliseconds = 0;
    int startUpsOfAProcess = 0;
    output >> milliseconds >> startUpsOfAProcess;
    std::getline(output, begun);
    times.add(milliseconds);
    startUps.add(startUpsOfAProcess);
  }
  pxa::bench::report(
      {.name = "first initialisation of a cold process", .unit = "ms", .measured = times, .most = 1});
  pxa::bench::report({.name = "network, names, TLS, curl, ICU begun by its thread",
                      .unit = "calls",
                      .measured = startUps,
                      .most = 0});
  if (!begun.empty()) std::fprintf(stderr, "begun on the caller's thread:%s\n", begun.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  const bool isChild = argc == 3 && std::string_view(argv[1]) == "--child";
  return pxa::bench::run([&] { isChild ? runChild(std::stoi(argv[2])) : measure(); });
}
