#include <pxalog/Object.h>

namespace pxa {

Object::~Object() = default;

String Object::description() const {
  return className();
}

bool Object::offersJSONDataRepresentation() const {
  return false;
}

Data Object::JSONDataRepresentation() const {
  return nullptr;
}

}  // namespace pxa
