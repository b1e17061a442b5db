#include "platform/linux/HostAddresses.h"

#include <exception>
#include <netdb.h>
#include <sys/socket.h>
#include <utility>

#include "platform/Platform.h"

namespace pxa {

namespace {

/// Every address of the host; none when the look-up fails. May take as long as the name servers do, unless
/// the flags ask for numbers alone.
std::vector<IpAddress> lookUp(const std::string& host, int flags) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = flags;
  addrinfo* first = nullptr;
  if (::getaddrinfo(host.c_str(), nullptr, &hints, &first) != 0) return {};
  const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(first, ::freeaddrinfo);

  std::vector<IpAddress> addresses;
  for (const addrinfo* entry = first; entry != nullptr; entry = entry->ai_next)
    if (const auto address = IpAddress::of(*entry->ai_addr)) addresses.push_back(*address);
  return addresses;
}

}  // namespace

std::string_view hostPart(std::string_view text) {
  text = text.substr(0, text.find_first_of("/?#"));
  if (text.starts_with('[')) {
    text.remove_prefix(1);
    return text.substr(0, text.find(']'));
  }
  // Two colons or more are those of an IPv6 address without brackets.
  const std::size_t colon = text.find(':');
  return colon != std::string_view::npos && colon == text.rfind(':') ? text.substr(0, colon) : text;
}

std::optional<IpAddress> addressWrittenAs(const std::string& host) {
  const std::vector<IpAddress> addresses = lookUp(host == "localhost" ? "127.0.0.1" : host, AI_NUMERICHOST);
  return addresses.empty() ? std::nullopt : std::optional(addresses.front());
}

void HostAddresses::resolve() {
  const Guard guard(mutex_);
  isAsked_ = true;
  if (isLookingUp_) return;
  try {
    Platform::current().threads.start("pxa-resolve",
                                      [self = shared_from_this()] { self->lookUpWhileAsked(); });
    isLookingUp_ = true;
  } catch (const std::exception&) {
    // The system has no thread to give; the next call tries again.
  }
}

std::vector<IpAddress> HostAddresses::known() {
  const Guard guard(mutex_);
  return known_;
}

void HostAddresses::lookUpWhileAsked() noexcept {
  for (;;) {
    {
      const Guard guard(mutex_);
      if (!std::exchange(isAsked_, false)) {
        isLookingUp_ = false;
        return;
      }
    }
    try {
      std::vector<IpAddress> addresses = lookUp(host_, 0);
      if (addresses.empty()) continue;
      const Guard guard(mutex_);
      known_ = std::move(addresses);
    } catch (const std::exception&) {
      continue;  // no memory: the last known addresses stay
    }
    onResolved_();
  }
}

}  // namespace pxa
