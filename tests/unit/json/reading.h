// Reads a text for a test, and gives its picture or the error in one line.
#pragma once

#include "json/errors.h"
#include "json/parser.h"
#include "support/json_text.h"

#include <string>
#include <string_view>

namespace kx {

inline std::string read(const std::string& text) {
  json::Parser parser(text);
  const std::string picture = pictureOf(parser);
  parser.readEnd();
  return picture;
}

// Reads a text that must be an object.
inline void readObject(const std::string& text) {
  json::Parser parser(text);
  parser.readObject([&](std::string_view /*name*/) { parser.skip(); });
  parser.readEnd();
}

// The error as "kind: message @ line/offset/document offset", for tokens in a wrong order with the place
// behind the token too.
template <typename Read>
std::string errorOf(const std::string& text, Read readText) {
  const auto place = [](const json::Reader::Location& location) {
    return std::to_string(location.m_nLine) + "/" + std::to_string(location.m_nLineOffset) + "/" +
           std::to_string(location.m_nDocOffset);
  };
  try {
    readText(text);
  } catch (const json::Reader::ScanException& e) {
    return std::string("scan: ") + e.what() + " @ " + place(e.m_locError);
  } catch (const json::Reader::ParseException& e) {
    return std::string("parse: ") + e.what() + " @ " + place(e.m_locTokenBegin) + " to " +
           place(e.m_locTokenEnd);
  }
  return "none";
}

inline std::string readError(const std::string& text) {
  return errorOf(text, [](const std::string& t) { read(t); });
}
inline std::string readObjectError(const std::string& text) {
  return errorOf(text, [](const std::string& t) { readObject(t); });
}

}  // namespace kx
