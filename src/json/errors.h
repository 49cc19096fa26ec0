// What is thrown about JSON text that cannot be read. The names are those that JSON libraries of this
// interface use.
#pragma once

#include <stdexcept>
#include <string>

namespace kx::json {

// The base of all errors of this module.
class Exception : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Reader {
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
};

}  // namespace kx::json
