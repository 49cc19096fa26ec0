// The responses that the benchmarks receive, generated from a seed, of every shape that costs something of
// its own; and what they say, so that results can be checked. The same shape, size and seed give the same
// text in every program. Portable, and apart from the library, so that a slip there cannot agree with itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

enum class Shape {
  Small,       // a success, and nothing else
  OneString,   // one long text as profiler data
  OneExtract,  // one long text as the only extract
  Escapes,     // profiler data in which every few characters is an escape
  ShortItems,  // short extracts and performance entries
  Members,     // unknown members of all types; here the size is their number
  Layout,      // short extracts, each on a line of its own behind blanks
  Numbers,     // one unknown array of numbers
};

// The shape's name in results: "one_string".
const char* nameOf(Shape shape);

// The shape of that name. Throws std::runtime_error when there is none.
Shape shapeNamed(std::string_view name);

struct ResponseFields {
  std::string status;
  int errorCode = 0;
  std::vector<std::string> extracts;
  std::vector<std::pair<std::string, std::string>> performance;
  std::uint32_t waitForProcessId = 0;
  std::string profilerData;

  bool operator==(const ResponseFields&) const = default;
  void clear();
};

struct ResponseText {
  std::string json;
  ResponseFields fields;
};

// A text of about that many bytes, or with that many members. A success, whatever else it says.
ResponseText responseText(Shape shape, std::size_t size, std::uint32_t seed);
