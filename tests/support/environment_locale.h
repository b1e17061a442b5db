#pragma once

#include <cstdlib>
#include <initializer_list>
#include <utility>

namespace pxa::test {

/// Takes the user's language out of the environment, then sets these variables.
inline void setLocale(std::initializer_list<std::pair<const char*, const char*>> variables) {
  for (const char* variable : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"}) ::unsetenv(variable);
  for (const auto& [variable, value] : variables) ::setenv(variable, value, 1);
}

}  // namespace pxa::test
