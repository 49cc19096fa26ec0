// Writes an object as text, in the one form in which requests go out: members on lines of their own, one
// space of indentation per level, " : " between name and value, no line end at the end. Member names are
// written as they are, without escapes.
#pragma once

#include "json/elements.h"

#include <string>

namespace kx::json {

struct Writer {
  static std::string Write(const Object& object);
};

}  // namespace kx::json
