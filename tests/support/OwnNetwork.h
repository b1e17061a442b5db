#pragma once

#include <string>
#include <string_view>

namespace pxa::test {

/// Gives the calling thread, and every thread and process that it starts from then on, a network of their
/// own: nothing in it but a loopback interface that is down. It is gone when they are. False where that is
/// not permitted.
bool enterOwnNetwork();

/// Runs the system's "ip" with these arguments; false when it fails.
bool ip(std::string_view arguments);

/// Makes a pair of links, of which the second is named after the first with "-far" behind it, and switches
/// both on, without the IPv6 addresses that the kernel gives and checks by itself.
bool makeLinkPair(const std::string& name);

/// Shows other files at these paths to the calling thread and to what it starts from then on.
bool showInstead(const std::string& path, const std::string& shown);

/// From now on the kernel refuses netlink sockets to this process.
bool forbidNetlink();

}  // namespace pxa::test

/// Ends the test, as skipped, where it may have no network of its own.
#define PXA_NEEDS_OWN_NETWORK() \
  if (!::pxa::test::enterOwnNetwork()) GTEST_SKIP() << "network namespaces are forbidden here"
