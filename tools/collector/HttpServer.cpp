#include "collector/HttpServer.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <csignal>
#include <httplib.h>
#include <mutex>
#include <netinet/in.h>
#include <set>
#include <sys/socket.h>
#include <thread>
#include <utility>

#include "collector/Connection.h"
#include "collector/Listener.h"
#include "collector/TlsContext.h"
#include "collector/Workers.h"

namespace pxa::tools {
namespace {

constexpr std::chrono::seconds kKeepAlive{30};
constexpr std::size_t kMaxRequestsPerConnection = 1'000'000'000;
constexpr std::size_t kMaxBody = std::size_t{64} * 1024 * 1024;
constexpr const char* kPromisedButCut = "1024";

/// Gives the HTTP engine a connection to read and write.
class ConnectionStream : public httplib::Stream {
 public:
  explicit ConnectionStream(Connection& connection) : connection_(connection) {}

  bool is_readable() const override { return !connection_.isCut(); }
  bool is_writable() const override { return !connection_.isCut(); }
  ssize_t read(char* target, std::size_t size) override { return connection_.read(target, size); }
  ssize_t write(const char* source, std::size_t size) override { return connection_.write(source, size); }
  void get_remote_ip_and_port(std::string& ip, int& port) const override { address(::getpeername, ip, port); }
  void get_local_ip_and_port(std::string& ip, int& port) const override { address(::getsockname, ip, port); }
  socket_t socket() const override { return connection_.socket(); }

 private:
  template <class Ask>
  void address(Ask ask, std::string& ip, int& port) const {
    sockaddr_in found{};
    socklen_t size = sizeof found;
    if (ask(connection_.socket(), reinterpret_cast<sockaddr*>(&found), &size) != 0) return;
    std::array<char, INET_ADDRSTRLEN> text{};
    ::inet_ntop(AF_INET, &found.sin_addr, text.data(), text.size());
    ip = text.data();
    port = ntohs(found.sin_port);
  }

  Connection& connection_;
};

/// What a handler must know about the connection that it answers.
struct Served {
  Connection& connection;
  bool isLast = false;  // no request after this one
  bool isCutAfterAnswer = false;
};

/// What the calling thread serves; the engine does not hand it to its handlers.
thread_local Served* served = nullptr;

// The engine puts these among the client's own headers.
bool isAddedByEngine(const std::string& name) {
  return name == "REMOTE_ADDR" || name == "REMOTE_PORT" || name == "LOCAL_ADDR" || name == "LOCAL_PORT";
}

Headers clientHeaders(const httplib::Request& request) {
  Headers headers;
  for (const auto& [name, value] : request.headers) {
    if (!isAddedByEngine(name)) headers.emplace(name, value);
  }
  return headers;
}

bool hasBody(const httplib::Request& request) {
  return request.has_header("Content-Length") || request.has_header("Transfer-Encoding");
}

bool mayHaveBody(int status) {
  return status >= 200 && status != 204 && status != 304;
}

void fillResponse(const HttpAnswer& answer, httplib::Response& response) {
  response.status = answer.behaviour.status;
  if (!answer.behaviour.location.empty()) response.set_header("Location", answer.behaviour.location);
  if (answer.behaviour.fault == Fault::CutAfterHead) {
    response.set_header("Content-Type", answer.contentType);
    response.set_header("Content-Length", kPromisedButCut);
  } else if (mayHaveBody(response.status)) {
    response.set_content(answer.body, answer.contentType);
  }
}

void carryOut(const HttpAnswer& answer, httplib::Response& response, Served& here) {
  const Fault fault = answer.behaviour.fault;
  here.connection.pause(answer.behaviour.delay);
  if (fault == Fault::Silent) here.connection.waitUntilGone();
  if (fault == Fault::Silent || fault == Fault::CutBeforeHead) here.connection.cut();
  fillResponse(answer, response);
  here.isCutAfterAnswer = fault == Fault::CutAfterHead;
  // Nothing final follows a status below 200: without an end the client would wait for it.
  here.isLast = response.status < 200;
}

/// The HTTP engine, fed with connections by us: its own accept loop keeps idle connections, and with them a
/// stop, waiting until their time is over, and lets two servers share one port.
class Engine : public httplib::Server {
 public:
  explicit Engine(HttpServer::Handler handler) : handler_(std::move(handler)) {
    set_keep_alive_max_count(kMaxRequestsPerConnection);
    set_keep_alive_timeout(kKeepAlive.count());
    set_payload_max_length(kMaxBody);
    Get(kAnyPath, [this](const httplib::Request& request, httplib::Response& response) {
      answer(request, std::string(), response);
    });
    Post(kAnyPath,
         [this](const httplib::Request& request, httplib::Response& response,
                const httplib::ContentReader& reader) { readAndAnswer(request, response, reader); });
  }

  /// Answers one request after the other until either side ends the connection. Thread-safe.
  void serve(Connection& connection) {
    Served here{connection};
    served = &here;
    ConnectionStream stream(connection);
    bool isOver = !connection.handshake(kKeepAlive);
    while (!isOver && connection.waitForBytes(kKeepAlive)) {
      const bool isAnswered = process_request(stream, false, isOver, nullptr);
      if (here.isCutAfterAnswer) connection.cut();
      isOver = isOver || !isAnswered || here.isLast || connection.isCut();
    }
    connection.sayFarewell();
    served = nullptr;
  }

 private:
  static constexpr const char* kAnyPath = R"([\s\S]*)";

  // With a content reader, for without one the engine refuses a longer body of the type that plain clients
  // send.
  void readAndAnswer(const httplib::Request& request, httplib::Response& response,
                     const httplib::ContentReader& reader) {
    std::string body;
    const bool isRead = !hasBody(request) || reader([&body](const char* data, std::size_t size) {
      body.append(data, size);
      return true;
    });
    if (isRead) return answer(request, std::move(body), response);
    served->isLast = true;
    if (response.status < 0) response.status = 400;
  }

  void answer(const httplib::Request& request, std::string body, httplib::Response& response) {
    HttpRequest received{request.method,
                         request.target,
                         clientHeaders(request),
                         std::move(body),
                         served->connection.isHttps(),
                         request.remote_port};
    carryOut(handler_(std::move(received)), response, *served);
  }

  HttpServer::Handler handler_;
};

/// Making the engine ignores SIGPIPE for the whole process; the process keeps its own choice.
class KeptSigpipe {
 public:
  KeptSigpipe() { ::sigaction(SIGPIPE, nullptr, &kept_); }
  KeptSigpipe(const KeptSigpipe&) = delete;
  KeptSigpipe& operator=(const KeptSigpipe&) = delete;
  ~KeptSigpipe() { ::sigaction(SIGPIPE, &kept_, nullptr); }

 private:
  struct sigaction kept_ {};
};

std::unique_ptr<Engine> makeEngine(HttpServer::Handler handler) {
  const KeptSigpipe kept;
  return std::make_unique<Engine>(std::move(handler));
}

/// Threads started while one of these lives take no signals but those of their own faults: signals belong to
/// the program around the server, and a write to a client that has gone is no more than a failed write.
class BlockedSignals {
 public:
  BlockedSignals() {
    sigset_t blocked;
    ::sigfillset(&blocked);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS})
      ::sigdelset(&blocked, fault);
    ::pthread_sigmask(SIG_SETMASK, &blocked, &before_);
  }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;
  ~BlockedSignals() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_{};
};

}  // namespace

bool HeaderNameLess::operator()(std::string_view left, std::string_view right) const {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                      [&](char a, char b) { return lower(a) < lower(b); });
}

class HttpServer::Impl {
 public:
  Impl(int port, Handler handler, const TlsContext* tls)
      : tls_(tls != nullptr ? tls->get() : nullptr),
        engine_(makeEngine(std::move(handler))),
        listener_(port) {
    const BlockedSignals blocked;
    acceptor_ = std::thread([this] { acceptAll(); });
  }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  ~Impl() {
    listener_.stop();
    cutAll();
    acceptor_.join();
  }

  int port() const { return listener_.port(); }

 private:
  void acceptAll() {
    Workers workers;
    for (int socket = listener_.accept(); socket >= 0; socket = listener_.accept()) {
      const auto connection = std::make_shared<Connection>(socket, tls_);
      workers.run([this, connection] { serve(*connection); });
    }
  }

  void serve(Connection& connection) {
    open(connection);
    engine_->serve(connection);
    const std::lock_guard lock(mutex_);
    open_.erase(&connection);
  }

  void open(Connection& connection) {
    const std::lock_guard lock(mutex_);
    open_.insert(&connection);
    if (isStopping_) connection.cut();
  }

  void cutAll() {
    const std::lock_guard lock(mutex_);
    isStopping_ = true;
    for (Connection* connection : open_) connection->cut();
  }

  // Constant after construction.
  SSL_CTX* tls_;
  std::unique_ptr<Engine> engine_;

  // Own synchronization.
  Listener listener_;

  // Guarded by mutex_.
  std::mutex mutex_;
  std::set<Connection*> open_;
  bool isStopping_ = false;

  std::thread acceptor_;
};

HttpServer::HttpServer(int port, Handler handler, const TlsContext* tls)
    : impl_(std::make_unique<Impl>(port, std::move(handler), tls)) {}

HttpServer::~HttpServer() = default;

int HttpServer::port() const {
  return impl_->port();
}

}  // namespace pxa::tools
