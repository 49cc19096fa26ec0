// The options strings of the benchmarks: the usual one, and long ones of every shape.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

struct OptionText {
  const char* name;
  std::string text;
};

// The usual one first; the others are of about that many bytes.
std::vector<OptionText> optionTexts(std::size_t size);
