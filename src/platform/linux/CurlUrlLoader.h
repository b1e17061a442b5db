#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <curl/curl.h>
#include <memory>
#include <vector>

#include "foundation/Mutex.h"
#include "platform/UrlLoader.h"

namespace pxa {

class CurlTransfer;

/// Runs every request on one thread of its own, "pxa-net", which keeps connections alive and reuses them. The
/// thread starts, and curl with it, at the first request. Nothing wakes it while no request is under way.
class CurlUrlLoader final : public UrlLoader {
 public:
  CurlUrlLoader();
  ~CurlUrlLoader() override;

  void prepare() override { startThread(); }
  void connectionWithRequest(const UrlRequest& request,
                             std::shared_ptr<UrlConnectionDelegate> delegate) override;
  UrlAnswer sendSynchronousRequest(const UrlRequest& request) override;

  /// Longest whole duration of a request.
  static constexpr double kLongestRequestSeconds = 60;
  /// Largest body of a synchronous request's answer; a larger one counts as a failure. It bounds what a
  /// hostile settings service can make of this process's memory and time.
  static constexpr std::size_t kLargestAnswer = std::size_t{256} << 10;
  static constexpr long kMostRedirects = 10;

 private:
  void submit(std::unique_ptr<CurlTransfer> transfer);
  /// False when the system has no thread to give.
  bool startThread();
  [[noreturn]] void run();
  /// Waits, and gives up what is submitted meanwhile, until the process has the descriptors that it takes.
  CURLM* createMulti();
  void runOnce(CURLM* multi);
  std::vector<std::unique_ptr<CurlTransfer>> takeSubmitted();
  void startSubmitted();
  void endSubmitted();
  void start(std::unique_ptr<CurlTransfer> transfer);
  void finishCompleted();
  void endStalled(std::chrono::steady_clock::time_point now);
  /// Milliseconds until the next running transfer could have stalled.
  [[nodiscard]] int longestWait() const;
  void end(std::size_t position, CURLcode result);
  void stopAtExit();

  Mutex mutex_;
  std::vector<std::unique_ptr<CurlTransfer>> submitted_ GUARDED_BY(mutex_);
  bool isThreadStarted_ GUARDED_BY(mutex_) = false;

  std::vector<std::unique_ptr<CurlTransfer>> running_;  // used by the I/O thread alone
  std::atomic<CURLM*> multi_ = nullptr;  // made and used by the I/O thread; others may only wake it
  std::atomic<bool> isExiting_ = false;
  std::atomic<bool> isParked_ = false;
};

}  // namespace pxa
