// A host application built against the installed library alone.
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <stdexcept>

#include <pxalog/CJSONSerializer.h>
#include <pxalog/Diagnostics.h>
#include <pxalog/Host.h>
#include <pxalog/PXALog.h>

namespace {

/// Whether C++ exceptions are still the compiler's own. The library brings another that has the same names.
bool throwsByTheCompilersOwn() {
  for (const char* name : {"_Unwind_RaiseException", "_Unwind_Resume", "_Unwind_Resume_or_Rethrow",
                           "_Unwind_ForcedUnwind", "_Unwind_Backtrace", "_Unwind_FindEnclosingFunction"}) {
    Dl_info info{};
    const void* function = ::dlsym(RTLD_DEFAULT, name);
    if (function == nullptr || ::dladdr(function, &info) == 0 ||
        std::strstr(info.dli_fname, "libgcc_s") == nullptr) {
      std::printf("%s is of %s\n", name, info.dli_fname == nullptr ? "nobody" : info.dli_fname);
      return false;
    }
  }
  try {
    throw std::runtime_error("caught");
  } catch (const std::exception& caught) {
    return std::strcmp(caught.what(), "caught") == 0;
  }
}

}  // namespace

int main() {
  if (!throwsByTheCompilersOwn()) return 2;
  if (pxa::PXALog::init_ofAppKey_withVersion("ftp://collector", "app", "1.0")) return 1;
  pxa::PXALog::info_withMessage(nullptr, "nobody listens");
  const pxa::Data json = pxa::CJSONSerializer::serializer().serializeObject_error(pxa::Array{1, "two", true});
  std::printf("%.*s\n", static_cast<int>(json.size()), json.view().data());
  return pxa::Diagnostics::snapshot().events.entered == 0 ? 0 : 1;
}
