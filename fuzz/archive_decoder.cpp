// Files of saved events, as anyone may have changed them: what is read is written again, and reads the same.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/Platform.h"
#include "queue/event_archive.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const pxa::Data archive(std::string_view(reinterpret_cast<const char*>(bytes), size));
  for (const char* key : {"logArray", "fileArray"}) {
    const auto events = pxa::eventsOfArchive(archive, key);
    if (!events) continue;
    const pxa::Data written = pxa::archiveOfEvents(*events, key);
    const auto again = pxa::eventsOfArchive(written, key);
    if (!again || pxa::archiveOfEvents(*again, key) != written) std::abort();
  }
  return 0;
}
