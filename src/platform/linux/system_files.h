#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include <pxalog/String.h>

/// Facts that the system keeps in small files.
namespace pxa {

/// The first line of the first of the files that has one, without white space and null bytes around it; nil
/// when none has.
String firstLineOf(std::initializer_list<const char*> paths);

/// The value of VERSION_ID in the text of an os-release file; nil when it has none.
String versionIn(std::string_view osRelease);
/// The system's os-release file; "" when it cannot be read.
std::string osRelease();

/// The value of a kernel parameter by its dotted name ("kernel.ostype"); nil when there is none.
String kernelParameter(const String& name);

}  // namespace pxa
