// The texts of the native benchmarks: three of each shape, made once.
#pragma once

#include "texts/response_texts.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

inline constexpr std::size_t kTextBytes = std::size_t{4} << 20;
inline constexpr std::size_t kTextMembers = 50000;

// Those that cost something per byte.
inline constexpr Shape kLongShapes[] = {Shape::OneString,  Shape::OneExtract, Shape::Escapes,
                                        Shape::ShortItems, Shape::Members,    Shape::Layout,
                                        Shape::Numbers};

inline const std::vector<ResponseText>& textsOf(Shape shape) {
  static std::map<Shape, std::vector<ResponseText>> texts;
  std::vector<ResponseText>& known = texts[shape];
  for (std::uint32_t seed = 1; known.size() < 3; ++seed) {
    known.push_back(responseText(shape, shape == Shape::Members ? kTextMembers : kTextBytes, seed));
  }
  return known;
}

inline std::int64_t bytesOf(const std::vector<ResponseText>& texts) {
  std::size_t bytes = 0;
  for (const ResponseText& text : texts) {
    bytes += text.json.size();
  }
  return static_cast<std::int64_t>(bytes);
}
