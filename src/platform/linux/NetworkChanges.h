#pragma once

#include "platform/linux/FileDescriptor.h"

namespace pxa {

/// Word from the kernel that links, addresses or routes have changed. Owned by one room and guarded by its
/// lock.
class NetworkChanges {
 public:
  NetworkChanges();

  /// Whether anything changed since the last question; always true where the kernel does not tell.
  bool happened();

 private:
  FileDescriptor socket_;
};

}  // namespace pxa
