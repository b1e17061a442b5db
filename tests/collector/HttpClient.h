#pragma once

#include <chrono>
#include <curl/curl.h>
#include <memory>
#include <string>
#include <string_view>

namespace pxa::tools {

/// What came back, or why nothing did.
struct HttpResult {
  CURLcode code = CURLE_OK;
  long status = 0;  ///< 0 when no head arrived
  std::string body;
};

/// An HTTP client that accepts any certificate, unless told otherwise, and keeps its connection for the next request. For one thread.
class HttpClient {
 public:
  HttpClient();

  void setTimeout(std::chrono::milliseconds timeout);

  /// From now on accepts servers with this certificate only, in PEM, under the names that it gives.
  void trustOnly(const std::string& certificate);

  HttpResult get(const std::string& url);
  HttpResult post(const std::string& url, const std::string& body);

 private:
  struct Free {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
  };

  HttpResult perform(const std::string& url);

  std::unique_ptr<CURL, Free> handle_;
};

/// A bare TCP connection to 127.0.0.1, for what an HTTP client would not do. For one thread.
class RawClient {
 public:
  explicit RawClient(int port);
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;
  ~RawClient();

  void send(std::string_view bytes);

  /// Everything until the server ends the connection, or nothing has come for ten seconds.
  std::string readToEnd();

  /// What has come once it ends with `end`, or as `readToEnd`.
  std::string readUntil(std::string_view end);

 private:
  bool readMore(std::string& received);

  int socket_;
};

}  // namespace pxa::tools
