#pragma once

#include <memory>
#include <openssl/ssl.h>
#include <string>

namespace pxa::tools {

/// The TLS side of a server: a fresh key and a certificate that it signs itself, in memory only.
/// Thread-safe after construction.
class TlsContext {
 public:
  /// Throws std::runtime_error when the crypto library refuses.
  TlsContext();

  /// For the connections of the server; owned by this object.
  SSL_CTX* get() const { return context_.get(); }

  /// The certificate, in PEM.
  std::string certificate() const;

 private:
  struct Free {
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
  };

  std::unique_ptr<SSL_CTX, Free> context_;
};

}  // namespace pxa::tools
