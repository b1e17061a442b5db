#pragma once

#include <array>
#include <chrono>
#include <curl/curl.h>
#include <future>
#include <memory>
#include <string>
#include <string_view>

#include "foundation/ByteBuffer.h"
#include "platform/RunLoop.h"
#include "platform/UrlLoader.h"

namespace pxa {

/// One request on its way through curl. Made by the thread that asks, then used by the I/O thread alone;
/// end() is called once, whatever happens.
class CurlTransfer {
 public:
  explicit CurlTransfer(UrlRequest request);
  virtual ~CurlTransfer();
  CurlTransfer(const CurlTransfer&) = delete;
  CurlTransfer& operator=(const CurlTransfer&) = delete;

  /// The configured handle, owned by this transfer; nullptr when curl gives none.
  CURL* prepare();
  /// When the transfer will have made no progress for as long as its request allows.
  [[nodiscard]] std::chrono::steady_clock::time_point stallsAt() const {
    return lastProgress_ + longestStall_;
  }
  /// The handle that prepare() gave.
  [[nodiscard]] CURL* easy() const { return easy_; }
  /// The transfer is over. Never throws.
  void end(CURLcode result) noexcept;

 protected:
  [[nodiscard]] const UrlRequest& request() const { return request_; }
  [[nodiscard]] int statusCode() const;
  [[nodiscard]] Error errorFor(CURLcode result) const;

  virtual void configure() = 0;
  /// The head of a final response is complete.
  virtual void receiveHead() {}
  /// False ends the transfer.
  virtual bool receiveBody(std::string_view bytes) = 0;
  virtual void finish(CURLcode result) = 0;

 private:
  void setHeaders();
  static std::size_t onHeader(char* line, std::size_t size, std::size_t count, void* self) noexcept;
  static std::size_t onBody(char* bytes, std::size_t size, std::size_t count, void* self) noexcept;
  static int onProgress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t sent) noexcept;
  static int onRequestAboutToBeSent(void* self, char*, char*, int, int) noexcept;

  const UrlRequest request_;
  CURL* easy_ = nullptr;
  curl_slist* headers_ = nullptr;
  std::array<char, CURL_ERROR_SIZE> errorText_{};
  bool wasSent_ = false;
  const std::chrono::steady_clock::duration longestStall_;
  std::chrono::steady_clock::time_point lastProgress_;
  curl_off_t bytesSent_ = 0;
};

/// Tells a delegate how an asynchronous request goes.
class DelegatedTransfer final : public CurlTransfer, private UrlConnection {
 public:
  DelegatedTransfer(UrlRequest request, std::shared_ptr<UrlConnectionDelegate> delegate);

 private:
  void configure() override;
  void receiveHead() override;
  bool receiveBody(std::string_view bytes) override;
  void finish(CURLcode result) override;
  void stopRunLoop() override;

  bool delegateAcceptsAnyCertificate();

  const std::shared_ptr<UrlConnectionDelegate> delegate_;
  const std::shared_ptr<RunLoop> runLoop_;  // of the thread that started the request
  bool isDecided_ = false;
};

/// Collects the whole answer for a thread that waits.
class AwaitedTransfer final : public CurlTransfer {
 public:
  explicit AwaitedTransfer(UrlRequest request) : CurlTransfer(std::move(request)) {}
  [[nodiscard]] std::future<UrlAnswer> answer() { return answer_.get_future(); }

 private:
  void configure() override;
  bool receiveBody(std::string_view bytes) override;
  void finish(CURLcode result) override;

  ByteBuffer body_;
  std::promise<UrlAnswer> answer_;
};

}  // namespace pxa
