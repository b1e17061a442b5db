#include <memory>
#include <vector>

#include <pxalog/Error.h>

namespace pxa {

namespace {

/// An error as a value of another one's user information.
class ErrorValue final : public Object {
 public:
  explicit ErrorValue(Error error) : error_(std::move(error)) {}
  ErrorValue(const ErrorValue&) = delete;
  ErrorValue& operator=(const ErrorValue&) = delete;
  ~ErrorValue() override {
    if (pending != nullptr) {
      pending->push_back(std::move(error_));
      return;
    }
    std::vector<Error> dying;
    pending = &dying;
    for (dying.push_back(std::move(error_)); !dying.empty();) {
      const Error next = std::move(dying.back());
      dying.pop_back();
    }
    pending = nullptr;
  }

  [[nodiscard]] String className() const override { return "Error"; }
  [[nodiscard]] String description() const override { return error_.localizedDescription(); }
  [[nodiscard]] const Error& error() const { return error_; }

 private:
  /// Errors whose last holder is gone, while the first of them is being destroyed on this thread: a chain
  /// must not cost stack.
  static inline thread_local std::vector<Error>* pending = nullptr;

  Error error_;
};

}  // namespace

const char* const Error::kLocalizedDescriptionKey = "NSLocalizedDescription";
const char* const Error::kUnderlyingErrorKey = "NSUnderlyingError";

Error Error::withDescription(String domain, int code, String message) {
  return Error(std::move(domain), code, Dictionary{{kLocalizedDescriptionKey, std::move(message)}});
}

Error Error::withUnderlying(Error cause) const {
  static const String& key = *new String(kUnderlyingErrorKey);  // made once, a chain may be long
  Dictionary facts(userInfo_.size() + 1);
  for (const Dictionary::Entry& fact : userInfo_) facts.set(fact.key, fact.value);
  facts.set(key, std::shared_ptr<Object>(std::make_shared<ErrorValue>(std::move(cause))));
  return Error(domain_, code_, std::move(facts));
}

String Error::localizedDescription() const {
  return userInfo_.value(kLocalizedDescriptionKey).string();
}

Error Error::underlyingError() const {
  const auto cause = std::dynamic_pointer_cast<ErrorValue>(userInfo_.value(kUnderlyingErrorKey).object());
  return cause == nullptr ? Error() : cause->error();
}

}  // namespace pxa
