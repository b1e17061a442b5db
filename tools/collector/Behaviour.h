#pragma once

#include <chrono>
#include <string>

namespace pxa::tools {

/// What goes wrong with an answer, after the whole request has been read.
enum class Fault {
  None,
  CutBeforeHead,  ///< the connection is cut, nothing is sent
  CutAfterHead,   ///< the head goes out and promises a body, then the connection is cut
  Silent,         ///< nothing is sent until the client goes away or the server stops
};

/// How a request is answered. After a status below 200 the connection is closed: no final answer will follow.
struct Behaviour {
  int status = 200;  ///< 100 to 599
  std::chrono::milliseconds delay{0};
  Fault fault = Fault::None;
  std::string location = {};  ///< where the answer sends the client on to; empty for nowhere
};

}  // namespace pxa::tools
