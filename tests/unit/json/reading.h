// Reads a text for a test, and gives the element or the error in one line.
#pragma once

#include "json/reader.h"
#include "support/json_text.h"

#include <sstream>
#include <string>

inline json::UnknownElement readElement(const std::string& text) {
  std::istringstream stream(text);
  json::UnknownElement element;
  json::Reader::Read(element, stream);
  return element;
}

inline std::string read(const std::string& text) {
  return pictureOf(readElement(text));
}

// The error as "kind: message @ line/offset/document offset", for tokens in a wrong order with the place
// behind the token too.
template <typename Element>
std::string errorOf(const std::string& text) {
  const auto place = [](const json::Reader::Location& location) {
    return std::to_string(location.m_nLine) + "/" + std::to_string(location.m_nLineOffset) + "/" +
           std::to_string(location.m_nDocOffset);
  };
  std::istringstream stream(text);
  try {
    Element element;
    json::Reader::Read(element, stream);
  } catch (const json::Reader::ScanException& e) {
    return std::string("scan: ") + e.what() + " @ " + place(e.m_locError);
  } catch (const json::Reader::ParseException& e) {
    return std::string("parse: ") + e.what() + " @ " + place(e.m_locTokenBegin) + " to " +
           place(e.m_locTokenEnd);
  }
  return "none";
}

inline std::string readError(const std::string& text) {
  return errorOf<json::UnknownElement>(text);
}
inline std::string readObjectError(const std::string& text) {
  return errorOf<json::Object>(text);
}
