#include "support/OwnNetwork.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace pxa::test {

bool enterOwnNetwork() {
  return ::unshare(CLONE_NEWNET) == 0 && ip("link show lo");
}

bool ip(std::string_view arguments) {
  // The tests of one process are one thread while they set up their network.
  return std::system(("ip " + std::string(arguments) + " >/dev/null").c_str()) == 0;  // NOLINT(cert-env33-c)
}

bool makeLinkPair(const std::string& name) {
  const std::string far = name + "-far";
  bool isMade = ip("link add " + name + " type veth peer name " + far);
  for (const std::string& link : {name, far})
    isMade = isMade && ip("link set " + link + " addrgenmode none") && ip("link set " + link + " up");
  return isMade;
}

bool showInstead(const std::string& path, const std::string& shown) {
  return ::unshare(CLONE_NEWNS) == 0 && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         ::mount(shown.c_str(), path.c_str(), nullptr, MS_BIND, nullptr) == 0;
}

bool forbidNetlink() {
  constexpr auto kNumber = static_cast<unsigned>(offsetof(seccomp_data, nr));
  constexpr auto kFamily = static_cast<unsigned>(offsetof(seccomp_data, args));
  sock_filter steps[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, kNumber),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_socket, 0, 3),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, kFamily),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, AF_NETLINK, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog program{.len = sizeof(steps) / sizeof(steps[0]), .filter = steps};
  return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         ::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_TSYNC, &program) == 0;
}

}  // namespace pxa::test
