// A one-line picture of an element that owes nothing to the library's writer: what a test of the reader
// compares. Texts stand between single quotes with their bytes as they are, numbers with all the digits that
// tell them apart.
#pragma once

#include "json/elements.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <string>

inline std::string pictureOf(const json::UnknownElement& element);

inline std::string pictureOf(double number) {
  std::array<char, 64> digits{};
  std::snprintf(digits.data(), digits.size(), "%.17g", number);
  return digits.data();
}

inline std::string pictureOf(const json::Object& object) {
  std::string text = "{";
  for (auto member = object.Begin(); member != object.End(); ++member) {
    text += (member == object.Begin() ? "'" : ", '") + member->name + "': " + pictureOf(member->element);
  }
  return text + "}";
}

inline std::string pictureOf(const json::Array& array) {
  std::string text = "[";
  for (auto item = array.Begin(); item != array.End(); ++item) {
    text += (item == array.Begin() ? "" : ", ") + pictureOf(*item);
  }
  return text + "]";
}

inline std::string pictureOf(const json::String& held) {
  return "'" + held.Value() + "'";
}
inline std::string pictureOf(const json::Number& held) {
  return pictureOf(held.Value());
}
inline std::string pictureOf(const json::Boolean& held) {
  return held.Value() ? "true" : "false";
}
inline std::string pictureOf(const json::Null& /*held*/) {
  return "null";
}

inline std::string pictureOf(const json::UnknownElement& element) {
  return std::visit([](const auto& held) { return pictureOf(held); }, element.Held());
}
