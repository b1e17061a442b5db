// How often a log call asks for memory: this program's malloc counts.

#include <cstddef>
#include <cstdlib>
#include <string>

#include <pxalog/PXALog.h>

#include "costs.h"
#include "draining_platform.h"

namespace {

thread_local long allocations = 0;

}  // namespace

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

void* malloc(std::size_t size) {
  ++allocations;
  return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
  ++allocations;
  return __libc_calloc(count, size);
}
void* realloc(void* memory, std::size_t size) {
  ++allocations;
  return __libc_realloc(memory, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
  ++allocations;
  return __libc_memalign(alignment, size);
}
}

int main() {
  constexpr int kCalls = 10'000;
  pxa::bench::installDrainingPlatform();
  if (!pxa::PXALog::init_ofAppKey_withVersion_forUserId_forHandleId("http://127.0.0.1", "bench", "1.0",
                                                                    nullptr, "Keepcell"))
    return 1;
  const std::string message = "payment 4711 was refused by the provider after three tries..";
  const auto samples = pxa::bench::inTurn({[&] {
    const long before = allocations;
    for (int i = 0; i < kCalls; ++i) pxa::PXALog::error_Keepcell_withMessage("E42", message);
    return static_cast<double>(allocations - before) / kCalls;
  }});
  pxa::bench::report({.name = "a log call, allocations", .unit = "", .measured = samples[0], .most = 4});
}
