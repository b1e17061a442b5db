#include "collector/TlsContext.h"

#include <cstdint>
#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509.h>
#include <stdexcept>

namespace pxa::tools {
namespace {

constexpr long kX509Version3 = 2;
constexpr long kDay = 24L * 60 * 60;

struct FreeKey {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
struct FreeCertificate {
  void operator()(X509* certificate) const { X509_free(certificate); }
};
struct FreeBio {
  void operator()(BIO* bio) const { BIO_free(bio); }
};
using Key = std::unique_ptr<EVP_PKEY, FreeKey>;
using Certificate = std::unique_ptr<X509, FreeCertificate>;

void require(bool isDone, const char* what) {
  if (!isDone) throw std::runtime_error(std::string("cannot prepare TLS: ") + what);
}

// Clients that remember certificates refuse two different ones of the same issuer and serial number.
std::uint64_t freshSerial() {
  std::uint64_t serial = 0;
  require(RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof serial) == 1, "serial number");
  return serial >> 1U;
}

void nameItself(X509* certificate) {
  X509_NAME* name = X509_get_subject_name(certificate);
  const auto* host = reinterpret_cast<const unsigned char*>("localhost");
  require(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, host, -1, -1, 0) == 1, "name");
  require(X509_set_issuer_name(certificate, name) == 1, "issuer");
}

Certificate selfSigned(EVP_PKEY* key) {
  Certificate certificate(X509_new());
  require(certificate != nullptr, "certificate");
  X509_set_version(certificate.get(), kX509Version3);
  ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate.get()), freshSerial());
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -kDay);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 365 * kDay);
  nameItself(certificate.get());
  require(X509_set_pubkey(certificate.get(), key) == 1, "public key");
  require(X509_sign(certificate.get(), key, EVP_sha256()) > 0, "signature");
  return certificate;
}

}  // namespace

TlsContext::TlsContext() : context_(SSL_CTX_new(TLS_server_method())) {
  const Key key(EVP_EC_gen("P-256"));
  require(context_ != nullptr && key != nullptr, "key");
  const Certificate certificate = selfSigned(key.get());
  require(SSL_CTX_use_certificate(context_.get(), certificate.get()) == 1, "use of the certificate");
  require(SSL_CTX_use_PrivateKey(context_.get(), key.get()) == 1, "use of the key");
}

std::string TlsContext::certificate() const {
  const std::unique_ptr<BIO, FreeBio> text(BIO_new(BIO_s_mem()));
  require(text != nullptr, "memory");
  require(PEM_write_bio_X509(text.get(), SSL_CTX_get0_certificate(get())) == 1, "certificate text");
  const char* begin = nullptr;
  const long size = BIO_get_mem_data(text.get(), &begin);
  return {begin, static_cast<std::size_t>(size)};
}

}  // namespace pxa::tools
