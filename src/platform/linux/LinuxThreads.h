#pragma once

#include "platform/Threads.h"

namespace pxa {

class LinuxThreads final : public Threads {
 public:
  void start(const char* name, std::function<void()> body) override;
  bool prepareForCrash() override;
  void yield() override;
};

}  // namespace pxa
