#include "platform/linux/CurlUrlLoader.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <limits>
#include <thread>
#include <utility>

#include "platform/Platform.h"
#include "platform/linux/CurlTransfer.h"
#include "platform/linux/crash/CrashThread.h"
#include "platform/linux/crash/crash_handlers.h"

namespace pxa {

namespace {

constexpr long kMostIdleConnections = 16;
constexpr std::chrono::milliseconds kLongestWaitAtExit{1000};
constexpr std::chrono::milliseconds kPauseWithoutDescriptors{100};

/// The loader whose thread stopAtExit stops: exit handlers take no argument, and a process has one such
/// thread.
CurlUrlLoader* gs_runningLoader = nullptr;

thread_local bool isIoThread = false;

}  // namespace

CurlUrlLoader::CurlUrlLoader() = default;
CurlUrlLoader::~CurlUrlLoader() = default;

void CurlUrlLoader::connectionWithRequest(const UrlRequest& request,
                                          std::shared_ptr<UrlConnectionDelegate> delegate) {
  submit(std::make_unique<DelegatedTransfer>(request, std::move(delegate)));
}

UrlAnswer CurlUrlLoader::sendSynchronousRequest(const UrlRequest& request) {
  auto transfer = std::make_unique<AwaitedTransfer>(request);
  std::future<UrlAnswer> answer = transfer->answer();
  submit(std::move(transfer));
  return answer.get();
}

void CurlUrlLoader::submit(std::unique_ptr<CurlTransfer> transfer) {
  if (!startThread()) return transfer->end(CURLE_FAILED_INIT);
  {
    const Guard guard(mutex_);
    if (!isExiting_) {
      submitted_.push_back(std::move(transfer));
      if (CURLM* multi = multi_.load()) curl_multi_wakeup(multi);
      return;
    }
  }
  transfer->end(CURLE_FAILED_INIT);
}

bool CurlUrlLoader::startThread() {
  const Guard guard(mutex_);
  if (isThreadStarted_) return true;
  try {
    Platform::current().threads.start("pxa-net", [this] { run(); });
    isThreadStarted_ = true;
  } catch (const std::exception&) {
    // The system has no thread to give; the next request tries again.
  }
  return isThreadStarted_;
}

void CurlUrlLoader::run() {
  isIoThread = true;
  crash::crashThread().countCurrentThread();
  gs_runningLoader = this;
  curl_global_init(CURL_GLOBAL_DEFAULT);
  CURLM* multi = createMulti();
  multi_ = multi;
  // Registered after the TLS library has registered its own handler, so that it runs before that one: no
  // transfer may be under way when the TLS library cleans up.
  std::atexit([] { gs_runningLoader->stopAtExit(); });

  while (!isExiting_) {
    try {
      runOnce(multi);
    } catch (const std::exception&) {
      // No memory for the moment; what was under way goes on.
    }
  }
  endSubmitted();
  isParked_ = true;
  for (;;) std::this_thread::sleep_for(std::chrono::hours(24));
}

CURLM* CurlUrlLoader::createMulti() {
  for (;;) {
    CURLM* multi = curl_multi_init();
    curl_multi_setopt(multi, CURLMOPT_MAXCONNECTS, kMostIdleConnections);
    // Without a descriptor for it, nothing would ever wake this thread.
    if (curl_multi_wakeup(multi) == CURLM_OK) return multi;
    curl_multi_cleanup(multi);
    endSubmitted();
    std::this_thread::sleep_for(kPauseWithoutDescriptors);
  }
}

void CurlUrlLoader::runOnce(CURLM* multi) {
  startSubmitted();
  // Taken before the transfers move: what they do may take long, and an answer that is there already is in
  // time.
  const auto now = std::chrono::steady_clock::now();
  int running = 0;
  curl_multi_perform(multi, &running);
  finishCompleted();
  endStalled(now);
  curl_multi_poll(multi, nullptr, 0, longestWait(), nullptr);
}

std::vector<std::unique_ptr<CurlTransfer>> CurlUrlLoader::takeSubmitted() {
  std::vector<std::unique_ptr<CurlTransfer>> transfers;
  const Guard guard(mutex_);
  transfers.swap(submitted_);
  return transfers;
}

void CurlUrlLoader::endSubmitted() {
  for (const std::unique_ptr<CurlTransfer>& transfer : takeSubmitted()) transfer->end(CURLE_FAILED_INIT);
}

void CurlUrlLoader::startSubmitted() {
  for (std::unique_ptr<CurlTransfer>& transfer : takeSubmitted()) start(std::move(transfer));
}

void CurlUrlLoader::start(std::unique_ptr<CurlTransfer> transfer) {
  try {
    running_.reserve(running_.size() + 1);
    CURL* easy = transfer->prepare();
    if (easy != nullptr && curl_multi_add_handle(multi_, easy) == CURLM_OK)
      running_.push_back(std::move(transfer));
    else
      transfer->end(CURLE_FAILED_INIT);
  } catch (const std::exception&) {
    transfer->end(CURLE_OUT_OF_MEMORY);
  }
}

void CurlUrlLoader::finishCompleted() {
  int remaining = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_, &remaining)) {
    if (message->msg != CURLMSG_DONE) continue;
    const auto done = std::find_if(running_.begin(), running_.end(), [&](const auto& transfer) {
      return transfer->easy() == message->easy_handle;
    });
    end(static_cast<std::size_t>(done - running_.begin()), message->data.result);
  }
}

void CurlUrlLoader::endStalled(std::chrono::steady_clock::time_point now) {
  for (std::size_t position = running_.size(); position-- > 0;)
    if (running_[position]->stallsAt() <= now) end(position, CURLE_OPERATION_TIMEDOUT);
}

int CurlUrlLoader::longestWait() const {
  if (running_.empty()) return std::numeric_limits<int>::max();
  const auto first = std::min_element(
      running_.begin(), running_.end(),
      [](const auto& left, const auto& right) { return left->stallsAt() < right->stallsAt(); });
  const auto wait =
      std::chrono::ceil<std::chrono::milliseconds>((*first)->stallsAt() - std::chrono::steady_clock::now());
  return static_cast<int>(std::max<std::int64_t>(wait.count(), 0));
}

void CurlUrlLoader::end(std::size_t position, CURLcode result) {
  const std::unique_ptr<CurlTransfer> transfer = std::move(running_[position]);
  running_.erase(running_.begin() + static_cast<std::ptrdiff_t>(position));
  curl_multi_remove_handle(multi_, transfer->easy());
  transfer->end(result);
}

void CurlUrlLoader::stopAtExit() {
  crash::letHandlingEnd();  // it may need a request
  isExiting_ = true;
  if (isIoThread) return;  // the exit was called by a callback: this thread makes no further transfer
  curl_multi_wakeup(multi_);
  const auto deadline = std::chrono::steady_clock::now() + kLongestWaitAtExit;
  while (!isParked_ && std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

}  // namespace pxa
