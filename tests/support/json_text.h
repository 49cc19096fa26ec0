// A one-line picture of JSON text as the library's parser tells of it. Texts stand between single quotes with
// their bytes as they are, numbers with all the digits that tell them apart.
#pragma once

#include "json/parser.h"

#include <array>
#include <cstdio>
#include <string>
#include <string_view>

namespace kx {

inline std::string pictureOf(double number) {
  std::array<char, 64> digits{};
  std::snprintf(digits.data(), digits.size(), "%.17g", number);
  return digits.data();
}

// Of the element that comes next.
inline std::string pictureOf(json::Parser& parser) {
  std::string text;
  const auto separate = [&text] { text += text.size() == 1 ? "" : ", "; };
  switch (parser.next()) {
    case json::ElementType::ObjectElement:
      text = "{";
      parser.readObject([&](std::string_view name) {
        separate();
        text += "'" + std::string(name) + "': " + pictureOf(parser);
      });
      return text + "}";
    case json::ElementType::ArrayElement:
      text = "[";
      parser.readArray([&] {
        separate();
        text += pictureOf(parser);
      });
      return text + "]";
    case json::ElementType::StringElement:
      return "'" + std::string(parser.readString()) + "'";
    case json::ElementType::NumberElement:
      return pictureOf(parser.readNumber());
    case json::ElementType::BooleanElement:
      return parser.readBoolean() ? "true" : "false";
    case json::ElementType::NullElement:
      break;
  }
  parser.readNull();
  return "null";
}

}  // namespace kx
