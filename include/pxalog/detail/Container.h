#pragma once

#include <atomic>
#include <cstdint>

#include <pxalog/Export.h>

namespace pxa::detail {

/// What an Array and a Dictionary have in common: a counted body. Counting is thread-safe.
class Container {
 public:
  [[nodiscard]] bool isMutable() const noexcept { return isMutable_; }
  void makeImmutable() noexcept { isMutable_ = false; }

  void retain() noexcept { references_.fetch_add(1, std::memory_order_relaxed); }
  void release() noexcept {
    // The only holder needs no atomic subtraction to know that it is the last one.
    if (references_.load(std::memory_order_acquire) == 1 ||
        references_.fetch_sub(1, std::memory_order_acq_rel) == 1)
      destroy();
  }

 protected:
  enum class Type : std::uint8_t { Array, Dictionary };
  Container(Type type, std::uint16_t place) noexcept : type_(type), place_(place) {}
  ~Container() = default;

 private:
  /// Destroys this body and whatever it alone holds, however deeply nested, in constant stack.
  PXALOG_EXPORT void destroy() noexcept;
  void destroyBody() noexcept;

  std::atomic<std::uint32_t> references_{1};
  const Type type_;
  bool isMutable_ = true;
  const std::uint16_t place_;  // in a block of a BlockArena
  Container* nextToDestroy_ = nullptr;
};

class ArrayBody;
class DictionaryBody;
struct Adopt;
struct Borrow;

}  // namespace pxa::detail
