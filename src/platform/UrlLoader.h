#pragma once

#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include <pxalog/Error.h>
#include <pxalog/String.h>

namespace pxa {

struct UrlRequest {
  String url;
  String method;
  std::vector<std::pair<String, String>> headers;
  Data body;
  /// Longest time to connect, and longest time without any progress.
  double timeoutSeconds = 60;
  /// Whether the body of a synchronous request's answer is kept; if not, it is read and thrown away.
  bool wantsBody = true;
};

struct HttpResponse {
  int statusCode = 0;
};

/// What the answer of a synchronous request came to: an error, or a response and its body.
struct UrlAnswer {
  Error error;
  HttpResponse response;
  Data body;
};

/// Part of a server that asks for authentication, and how it does.
struct ProtectionSpace {
  String authenticationMethod;
  String host;
};
/// The method by which a server shows its certificate.
inline constexpr const char* kAuthenticationMethodServerTrust = "NSURLAuthenticationMethodServerTrust";

/// A question of trust that a delegate may answer.
class AuthenticationChallenge {
 public:
  virtual ~AuthenticationChallenge() = default;
  [[nodiscard]] virtual const ProtectionSpace& protectionSpace() const = 0;
  /// Answers with the trust that the server showed: whatever its certificate says, go on.
  virtual void useCredentialForServerTrust() = 0;
};

/// A request under way, as its delegate sees it.
class UrlConnection {
 public:
  virtual ~UrlConnection() = default;
  /// Stops the run loop that the thread which started the connection had then, if it had one.
  virtual void stopRunLoop() = 0;
};

/// Hears how an asynchronous request goes. Called on the loader's own thread, one call at a time; either
/// didReceiveResponse or didFailWithError comes, and comes once.
class UrlConnectionDelegate {
 public:
  virtual ~UrlConnectionDelegate() = default;
  virtual bool connection_canAuthenticateAgainstProtectionSpace(UrlConnection& connection,
                                                                const ProtectionSpace& space) = 0;
  virtual void connection_didReceiveAuthenticationChallenge(UrlConnection& connection,
                                                            AuthenticationChallenge& challenge) = 0;
  /// The head of the final response is there; what becomes of its body is not told as a failure any more.
  virtual void connection_didReceiveResponse(UrlConnection& connection, const HttpResponse& response) = 0;
  virtual void connection_didReceiveData(UrlConnection& connection, std::string_view data) = 0;
  virtual void connection_didFailWithError(UrlConnection& connection, const Error& error) = 0;
  virtual void connectionDidFinishLoading(UrlConnection& connection) = 0;
};

/// Loads HTTP and HTTPS addresses. Thread-safe.
class UrlLoader {
 public:
  virtual ~UrlLoader() = default;

  /// Has ready what requests take, for a process that may run out of it: a crashed one, perhaps. Without effect
  /// when the system has none to give.
  virtual void prepare() = 0;

  /// Starts the request and returns at once. Redirects are not followed, and a request is never sent twice.
  /// The server's certificate is verified unless the delegate answers the challenge with the server's trust.
  virtual void connectionWithRequest(const UrlRequest& request,
                                     std::shared_ptr<UrlConnectionDelegate> delegate) = 0;

  /// Sends the request and waits for its whole answer. Redirects are followed, the server's certificate
  /// verified.
  virtual UrlAnswer sendSynchronousRequest(const UrlRequest& request) = 0;
};

}  // namespace pxa
