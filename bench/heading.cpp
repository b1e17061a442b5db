#include "costs.h"

int main() {
  pxa::bench::reportHeading();
}
