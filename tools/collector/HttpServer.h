#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "collector/Behaviour.h"

namespace pxa::tools {

class TlsContext;

/// Header names are the same in any case.
struct HeaderNameLess {
  bool operator()(std::string_view left, std::string_view right) const;
};
using Headers = std::multimap<std::string, std::string, HeaderNameLess>;

/// A request, read to its end.
struct HttpRequest {
  std::string method;
  std::string target;  ///< as it stands in the request line
  Headers headers;
  std::string body;
  bool isHttps = false;
  int clientPort = 0;
};

struct HttpAnswer {
  Behaviour behaviour;
  std::string body;
  std::string contentType = "text/plain";
};

/// An HTTP or HTTPS server on 127.0.0.1 that keeps connections alive. It starts in the constructor and is
/// gone, with its threads and port, after the destructor, however many clients are still connected.
class HttpServer {
 public:
  /// Called on a thread of the connection, several at the same time. Must not throw.
  using Handler = std::function<HttpAnswer(HttpRequest)>;

  /// Port 0 takes any free port. A nil `tls` means plain HTTP; it must outlive the server.
  /// Throws std::runtime_error when the port cannot be had.
  HttpServer(int port, Handler handler, const TlsContext* tls);
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;
  ~HttpServer();

  /// Thread-safe.
  int port() const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace pxa::tools
