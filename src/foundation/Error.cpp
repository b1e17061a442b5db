#include <pxalog/Error.h>

namespace pxa {

const char* const Error::kLocalizedDescriptionKey = "NSLocalizedDescription";

Error Error::withDescription(String domain, int code, String message) {
  return Error(std::move(domain), code, Dictionary{{kLocalizedDescriptionKey, std::move(message)}});
}

String Error::localizedDescription() const {
  return userInfo_.value(kLocalizedDescriptionKey).string();
}

}  // namespace pxa
