// A host application built against the installed library alone.
#include <cstdio>

#include <pxalog/CJSONSerializer.h>
#include <pxalog/Diagnostics.h>
#include <pxalog/Host.h>
#include <pxalog/PXALog.h>

int main() {
  if (pxa::PXALog::init_ofAppKey_withVersion("ftp://collector", "app", "1.0")) return 1;
  pxa::PXALog::info_withMessage(nullptr, "nobody listens");
  const pxa::Data json = pxa::CJSONSerializer::serializer().serializeObject_error(pxa::Array{1, "two", true});
  std::printf("%.*s\n", static_cast<int>(json.size()), json.view().data());
  return pxa::Diagnostics::snapshot().events.entered == 0 ? 0 : 1;
}
