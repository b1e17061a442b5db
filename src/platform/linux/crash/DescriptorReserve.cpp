#include "platform/linux/crash/DescriptorReserve.h"

#include <fcntl.h>
#include <unistd.h>

namespace pxa::crash {

void DescriptorReserve::open() noexcept {
  constexpr int kAboveStandardStreams = 3;
  const int source = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (source < 0) return;
  for (int& descriptor : descriptors_) descriptor = ::fcntl(source, F_DUPFD_CLOEXEC, kAboveStandardStreams);
  ::close(source);
}

void DescriptorReserve::release() noexcept {
  closeCopies();
  for (int& descriptor : descriptors_) descriptor = -1;
}

void DescriptorReserve::closeCopies() const noexcept {
  for (const int descriptor : descriptors_)
    if (descriptor >= 0) ::close(descriptor);
}

DescriptorReserve& descriptorReserve() noexcept {
  static constinit DescriptorReserve reserve;
  return reserve;
}

}  // namespace pxa::crash
