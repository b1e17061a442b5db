#pragma once

#include <memory>
#include <vector>

#include "platform/linux/NetworkWatcher.h"

namespace pxa::test {

/// A watcher of the network that the test is in. Its thread lives as long as the process, and so does it.
inline NetworkWatcher& newWatcher() {
  static auto& watchers = *new std::vector<std::unique_ptr<NetworkWatcher>>;
  return *watchers.emplace_back(std::make_unique<NetworkWatcher>());
}

}  // namespace pxa::test
