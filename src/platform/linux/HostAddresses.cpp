#include "platform/linux/HostAddresses.h"

#include <arpa/inet.h>
#include <charconv>
#include <cstring>
#include <exception>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <utility>

#include "platform/Platform.h"

namespace pxa {

namespace {

/// Every address of the host; none when the look-up fails. May take as long as the name servers do.
std::vector<IpAddress> lookUp(const std::string& host) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* first = nullptr;
  if (::getaddrinfo(host.c_str(), nullptr, &hints, &first) != 0) return {};
  const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(first, ::freeaddrinfo);

  std::vector<IpAddress> addresses;
  for (const addrinfo* entry = first; entry != nullptr; entry = entry->ai_next)
    if (const auto address = IpAddress::of(*entry->ai_addr)) addresses.push_back(*address);
  return addresses;
}

/// In all the forms that a number may have for a look-up: "127.1" is one of them.
std::optional<IpAddress> ipv4WrittenAs(const char* text) {
  // Unlike a look-up, inet_aton takes any text behind a blank.
  if (std::strpbrk(text, " \t\n\v\f\r") != nullptr) return std::nullopt;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  if (::inet_aton(text, &address.sin_addr) == 0) return std::nullopt;
  return IpAddress::of(reinterpret_cast<const sockaddr&>(address));
}

bool isOfOneLink(const in6_addr& address) {
  return IN6_IS_ADDR_LINKLOCAL(&address) || IN6_IS_ADDR_MC_LINKLOCAL(&address) ||
         IN6_IS_ADDR_MC_NODELOCAL(&address);
}

/// A link by its name, where the address is of one link, or any number.
std::optional<std::uint32_t> scopeWrittenAs(const std::string& text, const in6_addr& address) {
  if (isOfOneLink(address))
    if (const unsigned index = ::if_nametoindex(text.c_str()); index != 0) return index;
  std::uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && rest == end ? std::optional(number) : std::nullopt;
}

std::optional<IpAddress> ipv6WrittenAs(const std::string& text) {
  const std::size_t scopeMark = text.find('%');
  sockaddr_in6 address{};
  address.sin6_family = AF_INET6;
  if (::inet_pton(AF_INET6, text.substr(0, scopeMark).c_str(), &address.sin6_addr) != 1) return std::nullopt;
  if (scopeMark != std::string::npos) {
    const auto scope = scopeWrittenAs(text.substr(scopeMark + 1), address.sin6_addr);
    if (!scope) return std::nullopt;
    address.sin6_scope_id = *scope;
  }
  return IpAddress::of(reinterpret_cast<const sockaddr&>(address));
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
  const std::string text = host == "localhost" ? "127.0.0.1" : host.c_str();
  const auto address = ipv4WrittenAs(text.c_str());
  return address ? address : ipv6WrittenAs(text);
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
      std::vector<IpAddress> addresses = lookUp(host_);
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
