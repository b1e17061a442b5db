// An application that crashes in the way that its first argument names, with crash reporting switched on.
//
//   crash_subject WAY COLLECTOR-PORT DOCUMENTS-DIRECTORY

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <dlfcn.h>
#include <exception>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <link.h>
#include <linux/filter.h>
#include <linux/futex.h>
#include <linux/seccomp.h>
#include <malloc.h>
#include <map>
#include <mutex>
#include <netinet/in.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include <pxalog/Diagnostics.h>
#include <pxalog/Host.h>
#include <pxalog/PXALog.h>

#include "api/handle/GlobalLock.h"
#include "crash_matrix/ways.h"
#include "platform/Platform.h"
#include "support/wait.h"

namespace pxa::test {
namespace {

std::string gs_documents;
int gs_port = 0;

// Small parts

/// For signal handlers too.
void say(const char* text) {
  static_cast<void>(!::write(STDOUT_FILENO, text, std::strlen(text)));
}

/// A way that the system does not let the subject go.
[[noreturn]] void giveUp(const char* what) {
  say(what);
  say(" is not permitted here\n");
  ::_exit(kNotPermitted);
}

[[noreturn]] void sleepForGood() {
  for (;;) ::pause();
}

void writeTo(std::uintptr_t address) {
  *reinterpret_cast<volatile int*>(address) = 1;
}

void writeToNull() {
  writeTo(0);
}

void start(std::function<void()> work) {
  std::thread(std::move(work)).detach();
}

void throwError(const char* reason) {
  throw std::runtime_error(reason);
}

/// A point at which as many threads meet.
class Meeting {
 public:
  explicit Meeting(int count) : missing_(count) {}
  void arrive() {
    --missing_;
    while (missing_ > 0) std::this_thread::yield();
  }

 private:
  std::atomic<int> missing_;
};

void onSignal(int signal, void (*handler)(int, siginfo_t*, void*), struct sigaction* previous = nullptr) {
  struct sigaction action {};
  action.sa_sigaction = handler;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK;
  ::sigaction(signal, &action, previous);
}

bool hasSignalStack() {
  stack_t stack{};
  ::sigaltstack(nullptr, &stack);
  return (stack.ss_flags & SS_DISABLE) == 0;
}

void blockAllSignals() {
  sigset_t all;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, nullptr);
}

/// What the library's answer to that system call is from now on.
void answerSystemCalls(std::initializer_list<long> numbers, unsigned answer) {
  std::vector<sock_filter> steps = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
  for (const long number : numbers) {
    steps.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(number), 0, 1));
    steps.push_back(BPF_STMT(BPF_RET | BPF_K, answer));
  }
  steps.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  const sock_fprog program{.len = static_cast<unsigned short>(steps.size()), .filter = steps.data()};
  if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
      ::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_TSYNC, &program) != 0)
    giveUp("a filter of system calls");
}

std::string reportPath() {
  return gs_documents + "/crashReport.plcrash";
}

void startLibrary(int port) {
  const std::string settings = "127.0.0.1:" + std::to_string(port);
  Host::setSettingsService({settings, nullptr, nullptr});
  Host::setDocumentsDirectory(gs_documents);
  constexpr std::int32_t kHttp = 1;
  if (!PXALog::
          init_onPort_byProtocol_ofAppKey_withVersion_forUserId_enablePlcrashreporter_enableSyncStart_withUnityVersion(
              "http://127.0.0.1", port, kHttp, "subject", "1.0", "ada", true, false, nullptr))
    ::_exit(kUnknownWay);
}

// Faults

void callNull() {
  void (*volatile nothing)() = nullptr;
  nothing();
}

void writeToConstant() {
  void* const page = ::mmap(nullptr, 1, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  writeTo(reinterpret_cast<std::uintptr_t>(page));
}

void writeBehindTheFile() {
  const int file = ::memfd_create("truncated", MFD_CLOEXEC);
  void* const page = ::mmap(nullptr, 1, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  writeTo(reinterpret_cast<std::uintptr_t>(page));
}

void runIllegalInstruction() {
#if defined(__x86_64__)
  asm volatile("ud2");
#else
  asm volatile(".inst 0");
#endif
}

void runBreakpoint() {
#if defined(__x86_64__)
  asm volatile("int3");
#else
  asm volatile("brk #0");
#endif
}

#if defined(__x86_64__)
void writeMisaligned() {
  alignas(8) static char bytes[16];
  asm volatile("sub $128, %%rsp\n pushfq\n orl $0x40000, (%%rsp)\n popfq\n add $128, %%rsp\n movl $1, 1(%0)"
               :
               : "r"(bytes)
               : "memory", "cc");
}

void divideByZero() {
  volatile int zero = 0;
  volatile int result = 7 / zero;
  static_cast<void>(result);
}
#endif

void breakStackPointer() {
#if defined(__x86_64__)
  asm volatile("mov $16, %rsp\n push %rax");
#else
  asm volatile("mov x9, #16\n mov sp, x9\n str x9, [sp, #-16]!");
#endif
}

void makeForbiddenCall() {
  answerSystemCalls({SYS_sethostname}, SECCOMP_RET_TRAP);
  ::syscall(SYS_sethostname, nullptr, 0);
}

// Stacks

[[gnu::noinline]] int descend(int depth) {
  volatile char room[64] = {};
  room[0] = static_cast<char>(depth);
  return depth < 0 ? room[0] : descend(depth + 1) + room[0];
}

void overflow() {
  descend(0);
}

[[gnu::noinline]] void overwriteStack(std::size_t size) {
  char local = 0;
  char* volatile from = &local;
  std::memset(from, 'A', size);
}

void crashOnSmallStack() {
  pthread_attr_t attributes;
  ::pthread_attr_init(&attributes);
  ::pthread_attr_setstacksize(&attributes, static_cast<std::size_t>(::sysconf(_SC_THREAD_STACK_MIN)));
  pthread_t thread{};
  ::pthread_create(
      &thread, &attributes,
      [](void*) -> void* {
        writeToNull();
        return nullptr;
      },
      nullptr);
  sleepForGood();
}

// Locks

void corruptHeap() {
  constexpr std::size_t kLarge = 120'000;
  char* const last = static_cast<char*>(std::malloc(kLarge));
  std::memset(last + ::malloc_usable_size(last), 0xFF, sizeof(std::size_t));
  while (std::malloc(kLarge) != nullptr) {
  }
}

void faultInMalloc() {
  constexpr std::size_t kUncached = 2000;
  char* const freed = static_cast<char*>(std::malloc(kUncached));
  void* const behind = std::malloc(kUncached);
  // The link from a free chunk to the one before it.
  auto* volatile link = reinterpret_cast<std::uintptr_t*>(freed + sizeof(void*));
  std::free(freed);
  *link = 16;
  while (std::malloc(2 * kUncached) != nullptr) {
  }
  std::free(behind);
}

/// The system's look through all that is free holds the lock and takes a while.
void crashInSignalHandlerInMalloc() {
  constexpr std::size_t kUncached = 1500;
  static char* chunks[200'000];
  for (char*& chunk : chunks) chunk = static_cast<char*>(std::malloc(kUncached));
  for (std::size_t i = 0; i < std::size(chunks); i += 2) std::free(chunks[i]);
  onSignal(SIGUSR1, [](int, siginfo_t*, void*) { writeToNull(); });
  static std::atomic<bool> isLooking = false;
  start([thread = ::pthread_self()] {
    while (!isLooking) {
    }
    ::pthread_kill(thread, SIGUSR1);
  });
  isLooking = true;
  for (;;) static_cast<void>(::mallinfo2());
}

void crashWithGlobalLock() {
  globalLock().lock();
  writeToNull();
  sleepForGood();
}

void crashWithGlobalLockElsewhere() {
  static Meeting meeting(2);
  start([] {
    globalLock().lock();
    meeting.arrive();
    sleepForGood();
  });
  meeting.arrive();
  writeToNull();
}

class CrashingFiles final : public FileSystem {
 public:
  String documentsDirectory() override { return files_.documentsDirectory(); }
  bool fileExists(const String& path) override { return files_.fileExists(path); }
  std::optional<Data> read(const String& path) override { return files_.read(path); }
  bool write(const String& path, const Data& content) override { return files_.write(path, content); }
  bool writeAtomically(const String& path, const Data& content) override {
    if (isArmed) writeToNull();
    return files_.writeAtomically(path, content);
  }
  bool removeFile(const String& path) override { return files_.removeFile(path); }

  std::atomic<bool> isArmed = false;

 private:
  FileSystem& files_ = systemPlatform().files;
};

CrashingFiles& crashingFiles() {
  static auto& files = *new CrashingFiles;
  return files;
}

void installCrashingFiles() {
  const Platform& plain = systemPlatform();
  Platform::install(*new Platform{plain.clock, crashingFiles(), plain.device, plain.interfaces,
                                  plain.reachability, plain.urlLoader, plain.jsonParser, plain.keyedArchive,
                                  plain.uuids, plain.crashReporter, plain.log, plain.threads, plain.queues});
}

void crashWithQueueLock() {
  crashingFiles().isArmed = true;
  for (;;) {
    PXALog::info_withMessage(nullptr, "to be saved");
    Host::didEnterBackground();
  }
}

/// Holds the dynamic loader's lock meanwhile.
void doWhileLoading(int (*work)(dl_phdr_info*, std::size_t, void*)) {
  ::dl_iterate_phdr(work, nullptr);
}

void crashWithLoaderLock() {
  doWhileLoading([](dl_phdr_info*, std::size_t, void*) {
    writeToNull();
    return 0;
  });
}

void crashWithLoaderLockElsewhere() {
  static Meeting meeting(2);
  start([] {
    doWhileLoading([](dl_phdr_info*, std::size_t, void*) {
      meeting.arrive();
      sleepForGood();
      return 0;
    });
  });
  meeting.arrive();
  writeToNull();
}

// Handlers

void installHandlerBefore() {
  onSignal(SIGSEGV, [](int signal, siginfo_t*, void*) {
    const bool isReportThere = ::access(reportPath().c_str(), F_OK) == 0;
    say(signal == SIGSEGV ? "the handler from before gets SIGSEGV, " : "the handler from before, ");
    say(isReportThere ? "report there\n" : "no report\n");
    std::signal(signal, SIG_DFL);
  });
}

struct sigaction gs_before;

void crashWithLaterHandler() {
  onSignal(
      SIGSEGV,
      [](int signal, siginfo_t* information, void* context) {
        gs_before.sa_sigaction(signal, information, context);
        say("the later handler goes on\n");
        std::signal(signal, SIG_DFL);
      },
      &gs_before);
  writeToNull();
}

/// A handler that leaves the rest to the one before it, as most do.
void crashWithLaterHandlerThatReturns() {
  onSignal(
      SIGSEGV,
      [](int signal, siginfo_t* information, void* context) {
        gs_before.sa_sigaction(signal, information, context);
      },
      &gs_before);
  writeToNull();
}

void crashAfterIgnored() {
  std::raise(SIGFPE);
  say("alive after what is ignored\n");
  std::abort();
}

void crashInSignalHandler() {
  onSignal(SIGUSR1, [](int, siginfo_t*, void*) { writeToNull(); });
  std::raise(SIGUSR1);
}

void abortWithSignalsBlocked() {
  start([] {
    blockAllSignals();
    std::abort();
  });
  sleepForGood();
}

void faultWithSignalsBlocked() {
  blockAllSignals();
  writeToNull();
}

// The host's main thread

class MainLoop {
 public:
  void add(std::function<void()> task) {
    const std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
    changed_.notify_all();
  }
  void runOne() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !tasks_.empty(); });
    const std::function<void()> task = std::move(tasks_.front());
    tasks_.pop_front();
    lock.unlock();
    task();
  }
  [[noreturn]] void run() {
    for (;;) runOne();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> tasks_;
};

MainLoop& mainLoop() {
  static auto& loop = *new MainLoop;
  return loop;
}

bool isMain() {
  return ::syscall(SYS_gettid) == ::getpid();
}

void sayWhereTheBlockRuns() {
  PXALog::setCrashBlock([] { say(isMain() ? "block on main\n" : "block elsewhere\n"); });
}

void giveMainThread() {
  sayWhereTheBlockRuns();
  Host::setMainThread([](std::function<void()> task) { mainLoop().add(std::move(task)); }, &isMain);
}

void giveMainThreadThatThrows() {
  sayWhereTheBlockRuns();
  Host::setMainThread([](const std::function<void()>&) { throw std::runtime_error("not now"); }, &isMain);
}

void crashBesideMainLoop() {
  start(&writeToNull);
  mainLoop().run();
}

void crashBesideStuckMain() {
  start(&writeToNull);
  sleepForGood();
}

// Several threads

void crashAtOnce(int count) {
  static Meeting* meeting = nullptr;
  meeting = new Meeting(count);
  for (int i = 1; i < count; ++i)
    start([] {
      meeting->arrive();
      writeToNull();
    });
  meeting->arrive();
  writeToNull();
}

/// The process ends by itself while a crash is handled.
void exitWhileACrashIsHandled() {
  static std::atomic<bool> isHandled = false;
  PXALog::setCrashBlock([] {
    isHandled = true;
    // As long as the exit would take that does not wait.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
  });
  start(&writeToNull);
  while (!isHandled) std::this_thread::yield();
  std::exit(0);
}

void crashWhileCancelled() {
  start([] {
    ::pthread_cancel(::pthread_self());
    writeToNull();
  });
  sleepForGood();
}

void throwAtOnce() {
  static Meeting& meeting = *new Meeting(2);
  start([] {
    meeting.arrive();
    throwError("one of two");
  });
  meeting.arrive();
  throwError("one of two");
}

/// The descriptor of a pipe that nothing comes out of.
int emptyPipe() {
  int ends[2] = {-1, -1};
  static_cast<void>(!::pipe2(ends, O_CLOEXEC));
  return ends[0];
}

int listener() {
  const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ::listen(socket, 1);
  return socket;
}

[[gnu::noinline]] void blockInRead() {
  char byte = 0;
  static_cast<void>(!::read(emptyPipe(), &byte, 1));
}
[[gnu::noinline]] void blockInPoll() {
  pollfd descriptor{emptyPipe(), POLLIN, 0};
  ::poll(&descriptor, 1, -1);
}
[[gnu::noinline]] void blockInSleep() {
  const timespec time{100'000, 0};
  ::nanosleep(&time, nullptr);
}
[[gnu::noinline]] void blockInFutex() {
  static int word = 0;
  ::syscall(SYS_futex, &word, FUTEX_WAIT, 0, nullptr);
}
[[gnu::noinline]] void blockInCondition() {
  std::mutex mutex;
  std::condition_variable never;
  std::unique_lock lock(mutex);
  never.wait(lock);
}
[[gnu::noinline]] void blockInAccept() {
  ::accept(listener(), nullptr, nullptr);
}
[[gnu::noinline]] void sleepWithSignalsBlocked() {
  blockAllSignals();
  sleepForGood();
}
[[gnu::noinline]] void spin() {
  for (;;) {
  }
}

bool isAsleep(pid_t thread) {
  std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
  std::string line;
  std::getline(file, line);
  const std::size_t nameEnd = line.rfind(") ");
  return nameEnd != std::string::npos && line[nameEnd + 2] == 'S';
}

using Work = void (*)();

/// Starts threads that do this for good; returns when each of them sleeps or, if it never does, runs.
void startAll(const std::vector<Work>& works) {
  auto& ids = *new std::vector<std::atomic<pid_t>>(works.size());
  for (std::size_t i = 0; i < works.size(); ++i)
    start([&ids, work = works[i], i] {
      ids[i] = static_cast<pid_t>(::syscall(SYS_gettid));
      work();
    });
  for (std::size_t i = 0; i < works.size(); ++i)
    while (ids[i] == 0 || (works[i] != &spin && !isAsleep(ids[i]))) std::this_thread::yield();
}

void crashAmongTwoHundred() {
  std::vector<Work> works;
  for (int i = 0; i < 28; ++i)
    for (const Work work : {&blockInRead, &blockInPoll, &blockInSleep, &blockInFutex, &blockInCondition,
                            &blockInAccept, &sleepWithSignalsBlocked})
      works.push_back(work);
  for (int i = 0; i < 4; ++i) works.push_back(&spin);
  startAll(works);
  writeToNull();
}

void crashBesideVfork() {
  static std::atomic<bool> isThere = false;
  start([] {
    if (::vfork() == 0) {
      isThere = true;
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      sleepForGood();
    }
  });
  while (!isThere) std::this_thread::yield();
  writeToNull();
}

void crashWithoutMainThread() {
  start([] {
    const auto isMainGone = [] {
      std::ifstream file("/proc/self/task/" + std::to_string(::getpid()) + "/stat");
      std::string line;
      std::getline(file, line);
      return line.find(") Z") != std::string::npos;
    };
    while (!isMainGone()) std::this_thread::yield();
    writeToNull();
  });
  ::pthread_exit(nullptr);
}

// C++

struct OwnException {};

void throwOut() noexcept {
  throwError("out of noexcept");
}

void throwAgain() {
  try {
    throwError("thrown again");
  } catch (...) {
    throw;
  }
}

// Processes

/// Ends as the child does.
[[noreturn]] void endLike(pid_t child) {
  int status = 0;
  ::waitpid(child, &status, 0);
  if (WIFSIGNALED(status)) std::raise(WTERMSIG(status));
  ::_exit(WEXITSTATUS(status));
}

void becomeFirstProcess() {
  if (::unshare(CLONE_NEWPID | CLONE_NEWNS) != 0) giveUp("a pid namespace");
  if (const pid_t child = ::fork(); child != 0) endLike(child);
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
}

void becomeFirstProcessOfContainer() {
  becomeFirstProcess();
  ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
  if (::mount("proc", "/proc", "proc", 0, nullptr) != 0) giveUp("a mount");
}

void crashAfterChild() {
  const pid_t child = ::fork();
  if (child == 0) writeToNull();
  int status = 0;
  ::waitpid(child, &status, 0);
  if (WIFSIGNALED(status) && WTERMSIG(status) == SIGSEGV) say("the child ended by SIGSEGV\n");
  std::abort();
}

void useUpDescriptors() {
  const rlimit limit{100, 100};
  ::setrlimit(RLIMIT_NOFILE, &limit);
  while (::open("/dev/null", O_RDONLY | O_CLOEXEC) >= 0) {
  }
}

/// Every request for memory from now on is in vain, once what malloc holds ready is used up. The library's
/// threads have made their first steps by then: those would be the first to crash.
void useUpMemory() {
  waitForSnapshot([](const Diagnostics::Snapshot& now) { return now.events.delivered > 0; });
  const rlimit limit{1, 1};
  ::setrlimit(RLIMIT_AS, &limit);
  for (std::size_t size = 100'000; size > 0; size /= 2)
    while (std::malloc(size) != nullptr) {
    }
}

// Disks

void useSmallDisk() {
  if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      ::mount("tmpfs", gs_documents.c_str(), "tmpfs", 0, "size=262144") != 0)
    giveUp("a mount");
}

/// That of a crash whose collector was not there.
void leaveOlderReport() {
  const pid_t child = ::fork();
  if (child == 0) {
    constexpr int kNobody = 1;
    startLibrary(kNobody);
    writeToNull();
  }
  ::waitpid(child, nullptr, 0);
  if (::access(reportPath().c_str(), F_OK) != 0) ::_exit(kSurvived);
}

void fillDisk() {
  const int file = ::open((gs_documents + "/filler").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  const std::vector<char> page(4096, 'x');
  while (::write(file, page.data(), page.size()) > 0) {
  }
}

void useSmallDiskWithOlderReport() {
  useSmallDisk();
  leaveOlderReport();
}

void crashOnReadOnlyDisk() {
  if (::mount("none", gs_documents.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) != 0)
    giveUp("a read-only mount");
  writeToNull();
}

// A crash that a debugger looks at beside its report

[[gnu::noinline]] void innermost(int depth) {
  writeTo(static_cast<std::uintptr_t>(depth));
}
[[gnu::noinline]] void inner(int depth) {
  innermost(depth - 1);
}
[[gnu::noinline]] void outer(int depth) {
  inner(depth - 1);
}
[[gnu::noinline]] void outermost() {
  outer(2);
}

void waitForDebugger() {
  ::prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY, 0, 0, 0);
  onSignal(SIGSEGV, [](int, siginfo_t*, void*) {
    say("look at me\n");
    sleepForGood();
  });
}

void crashInKnownChain() {
  startAll({&blockInRead, &blockInPoll, &blockInSleep, &blockInFutex, &blockInCondition, &blockInAccept});
  outermost();
}

/// What is done before the library starts, and after.
struct Steps {
  std::function<void()> before;
  std::function<void()> crash;
};

const std::map<std::string, Steps>& steps() {
  static const auto& all = *new std::map<std::string, Steps> {
    {"raised-segv", {{}, [] { std::raise(SIGSEGV); }}}, {"raised-bus", {{}, [] { std::raise(SIGBUS); }}},
        {"raised-abrt", {{}, [] { std::raise(SIGABRT); }}}, {"raised-fpe", {{}, [] { std::raise(SIGFPE); }}},
        {"raised-ill", {{}, [] { std::raise(SIGILL); }}}, {"raised-trap", {{}, [] { std::raise(SIGTRAP); }}},
        {"raised-sys", {{}, [] { std::raise(SIGSYS); }}},
        {"sent-to-process",
         {{},
          [] {
            ::kill(::getpid(), SIGSEGV);
            sleepForGood();
          }}},

        {"null-write", {{}, &writeToNull}},
        {"wild-read", {{}, [] { static_cast<void>(*reinterpret_cast<volatile int*>(0x123456789000)); }}},
        {"write-to-constant", {{}, &writeToConstant}}, {"truncated-mapping", {{}, &writeBehindTheFile}},
        {"call-of-null", {{}, &callNull}},
#if defined(__x86_64__)
        {"address-beyond-all", {{}, [] { writeTo(0xDEAD'BEEF'DEAD'BEEF); }}},
        {"misaligned", {{}, &writeMisaligned}}, {"division-by-zero", {{}, &divideByZero}},
#endif
        {"illegal-instruction", {{}, &runIllegalInstruction}}, {"breakpoint", {{}, &runBreakpoint}},
        {"forbidden-system-call", {{}, &makeForbiddenCall}},

        {"overflow-on-main", {{}, &overflow}},
        {"overflow-on-prepared-thread",
         {{},
          [] {
            start([] {
              Host::prepareThread();
              overflow();
            });
            sleepForGood();
          }}},
        {"overflow-on-library-thread",
         {{},
          [] {
            Platform::current().threads.start("overflow", &overflow);
            sleepForGood();
          }}},
        {"overflow-on-unprepared-thread",
         {{},
          [] {
            start(&overflow);
            sleepForGood();
          }}},
        {"overflow-on-host-main",
         {&giveMainThread,
          [] {
            while (!hasSignalStack()) mainLoop().runOne();
            overflow();
          }}},
        {"small-stack", {{}, &crashOnSmallStack}}, {"broken-stack-pointer", {{}, &breakStackPointer}},
        {"overwritten-stack", {{}, [] { overwriteStack(256); }}},
        {"overwritten-environment", {{}, [] { overwriteStack(2000); }}},

        {"corrupted-heap", {{}, &corruptHeap}}, {"fault-in-malloc", {{}, &faultInMalloc}},
        {"signal-handler-in-malloc", {{}, &crashInSignalHandlerInMalloc}},
        {"fault-in-the-only-arena", {[] { ::mallopt(M_ARENA_MAX, 1); }, &faultInMalloc}},
        {"global-lock-held", {{}, &crashWithGlobalLock}},
        {"global-lock-held-elsewhere", {{}, &crashWithGlobalLockElsewhere}},
        {"queue-lock-held", {&installCrashingFiles, &crashWithQueueLock}},
        {"loader-lock-held", {{}, &crashWithLoaderLock}},
        {"loader-lock-held-elsewhere", {{}, &crashWithLoaderLockElsewhere}},

        {"abort-with-signals-blocked", {{}, &abortWithSignalsBlocked}},
        {"fault-with-signals-blocked", {{}, &faultWithSignalsBlocked}},
        {"in-signal-handler", {{}, &crashInSignalHandler}},
        {"handler-before", {&installHandlerBefore, &writeToNull}},
        {"handler-later", {{}, &crashWithLaterHandler}},
        {"handler-later-that-returns", {{}, &crashWithLaterHandlerThatReturns}},
        {"exit-meanwhile", {{}, &exitWhileACrashIsHandled}}, {"cancelled-thread", {{}, &crashWhileCancelled}},
        {"two-exceptions-at-once", {{}, &throwAtOnce}},
        {"ignored-before", {[] { std::signal(SIGSEGV, SIG_IGN); }, &writeToNull}},
        {"ignored-and-sent", {[] { std::signal(SIGFPE, SIG_IGN); }, &crashAfterIgnored}},

        {"block", {&sayWhereTheBlockRuns, &writeToNull}},
        {"block-crashes", {[] { PXALog::setCrashBlock(&writeToNull); }, &std::abort}},
        {"block-throws",
         {[] { PXALog::setCrashBlock([] { throw std::runtime_error("no"); }); }, &writeToNull}},
        {"block-logs",
         {[] { PXALog::setCrashBlock([] { PXALog::info_withMessage(nullptr, "crashed"); }); }, &writeToNull}},
        {"block-whose-thread-crashes",
         {[] {
            PXALog::setCrashBlock([] {
              static Meeting meeting(2);
              start([] {
                meeting.arrive();
                writeToNull();
              });
              meeting.arrive();
            });
          },
          &std::abort}},
        {"block-waits-for-crashing-thread",
         {[] { PXALog::setCrashBlock([] { std::thread(&writeToNull).join(); }); }, &std::abort}},

        {"two-at-once", {{}, [] { crashAtOnce(2); }}},
        {"two-at-once-with-host-main", {&giveMainThread, [] { crashAtOnce(2); }}},
        {"twenty-at-once", {{}, [] { crashAtOnce(20); }}},
        {"two-hundred-threads", {{}, &crashAmongTwoHundred}}, {"thread-in-vfork", {{}, &crashBesideVfork}},
        {"main-thread-gone", {{}, &crashWithoutMainThread}},

        {"exception-on-main", {{}, [] { throwError("out of main"); }}},
        {"exception-on-thread",
         {{},
          [] {
            start([] { throwError("out of a thread"); });
            sleepForGood();
          }}},
        {"exception-out-of-noexcept", {{}, &throwOut}},
        {"exception-of-own-type", {{}, [] { throw OwnException(); }}},
        {"exception-rethrown", {{}, &throwAgain}}, {"terminate", {{}, [] { std::terminate(); }}},

        {"host-main-crash-elsewhere", {&giveMainThread, &crashBesideMainLoop}},
        {"host-main-crash-on-main", {&giveMainThread, &writeToNull}},
        {"host-main-executor-throws", {&giveMainThreadThatThrows, &crashBesideStuckMain}},
        {"host-main-never-runs", {&giveMainThread, &crashBesideStuckMain}},

        {"fork-child", {{}, &crashAfterChild}},
        {"process-one", {&becomeFirstProcessOfContainer, &writeToNull}},
        {"process-one-abort", {&becomeFirstProcessOfContainer, &std::abort}},
        {"process-one-without-proc", {&becomeFirstProcess, &writeToNull}},
        {"streams-closed",
         {{},
          [] {
            for (const int stream : {0, 1, 2}) ::close(stream);
            writeToNull();
          }}},
        {"no-descriptors-left",
         {{},
          [] {
            useUpDescriptors();
            writeToNull();
          }}},
        {"no-memory-left",
         {{},
          [] {
            useUpMemory();
            writeToNull();
          }}},
        {"no-processes-left",
         {{},
          [] {
            answerSystemCalls({SYS_clone, SYS_clone3}, SECCOMP_RET_ERRNO | EAGAIN);
            writeToNull();
          }}},
        {"full-disk",
         {&useSmallDisk,
          [] {
            fillDisk();
            writeToNull();
          }}},
        {"full-disk-with-older-report",
         {&useSmallDiskWithOlderReport,
          [] {
            fillDisk();
            writeToNull();
          }}},
        {"read-only-disk-with-older-report", {&useSmallDiskWithOlderReport, &crashOnReadOnlyDisk}},

        {"collector-down", {{}, &writeToNull}}, {"collector-error", {{}, &writeToNull}},
        {"collector-slow", {{}, &writeToNull}}, {"collector-silent", {{}, &writeToNull}},

        // Not of the table.
        {"kept", {[] { Host::setKeepUndeliveredCrashes(true); }, &writeToNull}},
        {"no-crash", {{}, &sleepForGood}}, {"known-chain", {&waitForDebugger, &crashInKnownChain}},
  };
  return all;
}

int run(const std::string& way) {
  const auto found = steps().find(way);
  if (found == steps().end()) return kUnknownWay;
  const auto& [before, crash] = found->second;
  if (before) before();
  // Where the main thread is told of, another thread may be the one that switches reporting on.
  if (way == "overflow-on-host-main")
    start([] { startLibrary(gs_port); });
  else
    startLibrary(gs_port);
  crash();
  return kSurvived;
}

}  // namespace
}  // namespace pxa::test

int main(int argc, char** argv) {
  using namespace pxa::test;
  if (argc != 4) return kUnknownWay;
  // Nothing is to be left of a subject whose runner is gone, or of one that has crashed.
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  const rlimit noCore{};
  ::setrlimit(RLIMIT_CORE, &noCore);
  gs_port = std::atoi(argv[2]);
  gs_documents = argv[3];
  return run(argv[1]);
}
