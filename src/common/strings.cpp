#include "common/strings.h"

#include <algorithm>

namespace kx {

namespace {

char toAsciiLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

bool isAsciiSpace(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

bool isAsciiLetter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool isAsciiDigit(char c) {
  return c >= '0' && c <= '9';
}

bool equalsIgnoringCase(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return toAsciiLower(a) == toAsciiLower(b); });
}

std::string stripTrailingBackslash(std::string_view path) {
  if (!path.empty() && path.back() == '\\') {
    path.remove_suffix(1);
  }
  return std::string(path);
}

std::string joinWithSpaces(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) {
    if (&text != &texts.front()) {
      joined += ' ';
    }
    joined += text;
  }
  return joined;
}

std::string inDoubleQuotes(std::string_view text) {
  std::string quoted;
  quoted.reserve(text.size() + 2);
  quoted += '"';
  quoted += text;
  quoted += '"';
  return quoted;
}

}  // namespace kx
