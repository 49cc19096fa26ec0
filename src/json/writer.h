// Writes an element as text, in the one form in which requests go out: members on lines of their own, one
// blank of indentation per level, " : " between name and value, no line end at the end. Member names are
// written as they are, without escapes.
#pragma once

#include "json/elements.h"

#include <ostream>
#include <string>

namespace json {

class Writer {
 public:
  static void Write(const UnknownElement& element, std::ostream& stream);
  static void Write(const Object& object, std::ostream& stream);
  // The same text, without a stream on the way.
  static std::string Text(const Object& object);
};

}  // namespace json
