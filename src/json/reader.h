// Reads JSON text into an element. A character that belongs to no token is reported even when an earlier
// token stands in the wrong place. Nesting is limited, since the reader can be given text that nothing has
// checked.
#pragma once

#include "json/elements.h"

#include <istream>
#include <string>

namespace json {

class Reader {
 public:
  // The deepest nesting of objects and arrays that is read.
  static constexpr int kMaxNesting = 512;

  // A place in the text, counted from zero.
  struct Location {
    int m_nLine = 0;
    int m_nLineOffset = 0;
    int m_nDocOffset = 0;
  };

  // Something that is no token; the location is that of the first byte that does not fit.
  class ScanException : public Exception {
   public:
    ScanException(const std::string& message, const Location& location)
        : Exception(message), m_locError(location) {}

    Location m_locError;
  };

  // Tokens in a wrong order. When the text ends too early the locations are those of its last token.
  class ParseException : public Exception {
   public:
    ParseException(const std::string& message, const Location& begin, const Location& end)
        : Exception(message), m_locTokenBegin(begin), m_locTokenEnd(end) {}

    Location m_locTokenBegin;
    Location m_locTokenEnd;
  };

  // Replaces the element by what the whole text says. Throws ScanException or ParseException; the element is
  // then unchanged.
  static void Read(UnknownElement& element, std::istream& stream);

  // The same for a text that must be an object: any other is a ParseException at its first token.
  static void Read(Object& object, std::istream& stream);
};

}  // namespace json
