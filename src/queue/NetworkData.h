#pragma once

#include <utility>

#include <pxalog/String.h>

namespace pxa {

/// One job of the network-insight probe: an address, and the handle whose settings named it. Not
/// synchronised.
class NetworkData {
 public:
  [[nodiscard]] const String& handlerId() const { return handlerId_; }
  void setHandlerId(String handlerId) { handlerId_ = std::move(handlerId); }
  [[nodiscard]] const String& url() const { return url_; }
  void setUrl(String url) { url_ = std::move(url); }

 private:
  String handlerId_;
  String url_;
};

}  // namespace pxa
