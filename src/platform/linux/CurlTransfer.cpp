#include "platform/linux/CurlTransfer.h"

#include <utility>

#include "platform/HostSettings.h"
#include "platform/linux/CurlUrlLoader.h"

namespace pxa {

namespace {

constexpr int kContinue = 100;
constexpr int kSwitchingProtocols = 101;
constexpr int kFirstFinalStatus = 200;

long inMilliseconds(double seconds) {
  return static_cast<long>(seconds * 1000);
}

bool isProvisional(int status) {
  return status >= kContinue && status < kFirstFinalStatus && status != kSwitchingProtocols;
}

}  // namespace

CurlTransfer::CurlTransfer(UrlRequest request)
    : request_(std::move(request)),
      longestStall_(std::chrono::milliseconds(inMilliseconds(request_.timeoutSeconds))) {}

CurlTransfer::~CurlTransfer() {
  if (easy_ != nullptr) curl_easy_cleanup(easy_);
  curl_slist_free_all(headers_);
}

CURL* CurlTransfer::prepare() {
  easy_ = curl_easy_init();
  if (easy_ == nullptr) return nullptr;
  lastProgress_ = std::chrono::steady_clock::now();
  curl_easy_setopt(easy_, CURLOPT_URL, request_.url.c_str());
  curl_easy_setopt(easy_, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy_, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
  curl_easy_setopt(easy_, CURLOPT_PROXY, "");
  curl_easy_setopt(easy_, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy_, CURLOPT_CONNECTTIMEOUT_MS, inMilliseconds(request_.timeoutSeconds));
  curl_easy_setopt(easy_, CURLOPT_TIMEOUT_MS, inMilliseconds(CurlUrlLoader::kLongestRequestSeconds));
  // A name that is still being looked up must not hold up the thread when its transfer is given up.
  curl_easy_setopt(easy_, CURLOPT_QUICK_EXIT, 1L);
  curl_easy_setopt(easy_, CURLOPT_NOPROGRESS, 0L);
  curl_easy_setopt(easy_, CURLOPT_XFERINFOFUNCTION, &CurlTransfer::onProgress);
  curl_easy_setopt(easy_, CURLOPT_XFERINFODATA, this);
  curl_easy_setopt(easy_, CURLOPT_PREREQFUNCTION, &CurlTransfer::onRequestAboutToBeSent);
  curl_easy_setopt(easy_, CURLOPT_PREREQDATA, this);
  curl_easy_setopt(easy_, CURLOPT_ERRORBUFFER, errorText_.data());
  curl_easy_setopt(easy_, CURLOPT_HEADERFUNCTION, &CurlTransfer::onHeader);
  curl_easy_setopt(easy_, CURLOPT_HEADERDATA, this);
  curl_easy_setopt(easy_, CURLOPT_WRITEFUNCTION, &CurlTransfer::onBody);
  curl_easy_setopt(easy_, CURLOPT_WRITEDATA, this);
  if (request_.method == "POST") {
    curl_easy_setopt(easy_, CURLOPT_POST, 1L);
    curl_easy_setopt(easy_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request_.body.size()));
    curl_easy_setopt(easy_, CURLOPT_POSTFIELDS, request_.body.view().data());
  }
  setHeaders();
  configure();
  return easy_;
}

void CurlTransfer::setHeaders() {
  headers_ = curl_slist_append(nullptr, "Expect:");
  for (const auto& [name, value] : request_.headers)
    headers_ = curl_slist_append(headers_, (std::string(name.view()) + ": " + value.c_str()).c_str());
  curl_easy_setopt(easy_, CURLOPT_HTTPHEADER, headers_);
}

void CurlTransfer::end(CURLcode result) noexcept {
  try {
    finish(result);
  } catch (...) {
    // A delegate that fails must not take the I/O thread with it.
  }
}

int CurlTransfer::statusCode() const {
  long status = 0;
  curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &status);
  return static_cast<int>(status);
}

Error CurlTransfer::errorFor(CURLcode result) const {
  String description = errorText_[0] != '\0' ? errorText_.data() : curl_easy_strerror(result);
  if (result == CURLE_COULDNT_RESOLVE_HOST)
    description = "A server with the specified hostname could not be found.";
  else if (result == CURLE_ABORTED_BY_CALLBACK)
    description = "The network connection was lost.";
  return Error::withDescription("NSURLErrorDomain", result, description);
}

std::size_t CurlTransfer::onHeader(char* line, std::size_t size, std::size_t count, void* self) noexcept {
  static_cast<CurlTransfer*>(self)->lastProgress_ = std::chrono::steady_clock::now();
  const std::string_view header(line, size * count);
  if (header != "\r\n" && header != "\n") return header.size();
  try {
    auto* transfer = static_cast<CurlTransfer*>(self);
    if (!isProvisional(transfer->statusCode())) transfer->receiveHead();
    return header.size();
  } catch (...) {
    return 0;
  }
}

std::size_t CurlTransfer::onBody(char* bytes, std::size_t size, std::size_t count, void* self) noexcept {
  static_cast<CurlTransfer*>(self)->lastProgress_ = std::chrono::steady_clock::now();
  try {
    return static_cast<CurlTransfer*>(self)->receiveBody({bytes, size * count}) ? size * count : 0;
  } catch (...) {
    return 0;
  }
}

int CurlTransfer::onProgress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t sent) noexcept {
  auto* transfer = static_cast<CurlTransfer*>(self);
  if (std::exchange(transfer->bytesSent_, sent) != sent)
    transfer->lastProgress_ = std::chrono::steady_clock::now();
  return 0;  // goes on, without the meter that curl prints
}

int CurlTransfer::onRequestAboutToBeSent(void* self, char*, char*, int, int) noexcept {
  auto* transfer = static_cast<CurlTransfer*>(self);
  transfer->lastProgress_ = std::chrono::steady_clock::now();
  // Curl would send a POST again on a new connection when a kept-alive one turns out to be dead.
  const bool isSecondPost = std::exchange(transfer->wasSent_, true) && transfer->request_.method == "POST";
  return isSecondPost ? CURL_PREREQFUNC_ABORT : CURL_PREREQFUNC_OK;
}

DelegatedTransfer::DelegatedTransfer(UrlRequest request, std::shared_ptr<UrlConnectionDelegate> delegate)
    : CurlTransfer(std::move(request)), delegate_(std::move(delegate)), runLoop_(RunLoop::current()) {}

void DelegatedTransfer::configure() {
  if (delegateAcceptsAnyCertificate()) {
    curl_easy_setopt(easy(), CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(easy(), CURLOPT_SSL_VERIFYHOST, 0L);
  }
}

bool DelegatedTransfer::delegateAcceptsAnyCertificate() {
  class Challenge final : public AuthenticationChallenge {
   public:
    explicit Challenge(ProtectionSpace space) : space_(std::move(space)) {}
    [[nodiscard]] const ProtectionSpace& protectionSpace() const override { return space_; }
    void useCredentialForServerTrust() override { isTrusted_ = true; }
    [[nodiscard]] bool isTrusted() const { return isTrusted_; }

   private:
    const ProtectionSpace space_;
    bool isTrusted_ = false;
  };

  Challenge challenge({kAuthenticationMethodServerTrust, request().url});
  if (delegate_->connection_canAuthenticateAgainstProtectionSpace(*this, challenge.protectionSpace()))
    delegate_->connection_didReceiveAuthenticationChallenge(*this, challenge);
  return challenge.isTrusted();
}

void DelegatedTransfer::receiveHead() {
  if (std::exchange(isDecided_, true)) return;
  delegate_->connection_didReceiveResponse(*this, {statusCode()});
}

bool DelegatedTransfer::receiveBody(std::string_view bytes) {
  delegate_->connection_didReceiveData(*this, bytes);
  return true;
}

void DelegatedTransfer::stopRunLoop() {
  if (runLoop_ != nullptr) runLoop_->stop();
}

void DelegatedTransfer::finish(CURLcode result) {
  if (!std::exchange(isDecided_, true))
    delegate_->connection_didFailWithError(*this, errorFor(result == CURLE_OK ? CURLE_GOT_NOTHING : result));
  else if (result == CURLE_OK)
    delegate_->connectionDidFinishLoading(*this);
}

void AwaitedTransfer::configure() {
  curl_easy_setopt(easy(), CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(easy(), CURLOPT_MAXREDIRS, CurlUrlLoader::kMostRedirects);
  curl_easy_setopt(easy(), CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  if (const String file = HostSettings::certificateAuthorityFile(); !file.isEmpty()) {
    curl_easy_setopt(easy(), CURLOPT_CAINFO, file.c_str());
    curl_easy_setopt(easy(), CURLOPT_CAPATH, nullptr);  // not the system's authorities beside the host's
  }
}

bool AwaitedTransfer::receiveBody(std::string_view bytes) {
  if (!request().wantsBody) return true;
  if (body_.size() + bytes.size() > CurlUrlLoader::kLargestAnswer) return false;
  body_.append(bytes);
  return true;
}

void AwaitedTransfer::finish(CURLcode result) {
  UrlAnswer answer;
  if (result == CURLE_OK) {
    answer.response.statusCode = statusCode();
    answer.body = body_.finish();
  } else {
    answer.error = errorFor(result);
  }
  answer_.set_value(std::move(answer));
}

}  // namespace pxa
