#pragma once

namespace pxa::crash {

/// Descriptors that are kept for the handling of a crash, should the process have used up its own.
class DescriptorReserve {
 public:
  /// Once.
  void open() noexcept;

  // For signal handlers.

  /// Closes them for good.
  void release() noexcept;
  /// Closes the copies of a process that has this one's memory, but a table of descriptors of its own.
  void closeCopies() const noexcept;

 private:
  int descriptors_[8] = {-1, -1, -1, -1, -1, -1, -1, -1};
};

/// The one of this process.
DescriptorReserve& descriptorReserve() noexcept;

}  // namespace pxa::crash
