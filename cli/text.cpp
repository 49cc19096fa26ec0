#include "cli/text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <numeric>

namespace kx::cli {
namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view kUtf16Mark = "\xFF\xFE";
constexpr std::string_view kUtf16MarkTurned = "\xFE\xFF";

unsigned char byteAt(std::string_view text, std::size_t index) {
  return static_cast<unsigned char>(text[index]);
}

bool isContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

bool isControl(char c) {
  return static_cast<unsigned char>(c) < 0x20U || c == '\x7F';
}

// The length of the character that begins there, or 0 when none does.
std::size_t characterLength(std::string_view text, std::size_t index) {
  const unsigned char first = byteAt(text, index);
  if (first < 0x80U) {
    return 1;
  }
  const std::size_t length = first >= 0xC2U && first <= 0xDFU   ? 2
                             : first >= 0xE0U && first <= 0xEFU ? 3
                             : first >= 0xF0U && first <= 0xF4U ? 4
                                                                : 0;
  if (length == 0 || text.size() - index < length) {
    return 0;
  }
  for (std::size_t i = 1; i < length; ++i) {
    if (!isContinuation(text[index + i])) {
      return 0;
    }
  }
  // Overlong forms, surrogates, and what lies beyond the last character.
  const unsigned char second = byteAt(text, index + 1);
  const bool isRefused = (first == 0xE0U && second < 0xA0U) || (first == 0xEDU && second > 0x9FU) ||
                         (first == 0xF0U && second < 0x90U) || (first == 0xF4U && second > 0x8FU);
  return isRefused ? 0 : length;
}

std::string hexByte(char byte) {
  std::array<char, 3> digits{};
  std::snprintf(digits.data(), digits.size(), "%02X", static_cast<unsigned char>(byte));
  return digits.data();
}

std::string at(const std::string& name, std::string_view text, std::size_t offset) {
  const Place place = placeOf(text, offset);
  return name + ", line " + std::to_string(place.line) + ", column " + std::to_string(place.column) + ": ";
}

std::size_t distance(std::string_view one, std::string_view other) {
  std::vector<std::size_t> row(other.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < one.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i + 1;
    for (std::size_t j = 0; j < other.size(); ++j) {
      const std::size_t replaced = diagonal + (one[i] == other[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
    }
  }
  return row.back();
}

// The patterns's parts between its placeholders; the first and the last may be empty.
std::vector<std::string_view> literalParts(std::string_view pattern) {
  std::vector<std::string_view> parts;
  while (true) {
    const std::size_t open = pattern.find('{');
    const std::size_t close = open == std::string_view::npos ? open : pattern.find('}', open);
    if (close == std::string_view::npos) {
      parts.push_back(pattern);
      return parts;
    }
    parts.push_back(pattern.substr(0, open));
    pattern.remove_prefix(close + 1);
  }
}

}  // namespace

Place placeOf(std::string_view text, std::size_t offset) {
  Place place;
  for (std::size_t i = 0; i < std::min(offset, text.size()); ++i) {
    if (text[i] == '\n') {
      ++place.line;
      place.column = 1;
    } else if (!isContinuation(text[i])) {
      ++place.column;
    }
  }
  return place;
}

std::optional<std::size_t> firstNonUtf8(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t length = characterLength(text, i);
    if (length == 0) {
      return i;
    }
    i += length;
  }
  return std::nullopt;
}

std::string plainText(std::string bytes, const std::string& name, std::string& problem) {
  if (bytes.starts_with(kUtf16Mark) || bytes.starts_with(kUtf16MarkTurned)) {
    problem = name + " is in UTF-16. Save it as UTF-8.";
    return {};
  }
  if (bytes.starts_with(kUtf8Mark)) {
    bytes.erase(0, kUtf8Mark.size());
  }
  if (const auto offset = firstNonUtf8(bytes)) {
    problem = at(name, bytes, *offset) + "the byte 0x" + hexByte(bytes[*offset]) +
              " is not UTF-8 there. Save the file as UTF-8.";
    return {};
  }
  if (const std::size_t zero = bytes.find('\0'); zero != std::string::npos) {
    problem = at(name, bytes, zero) + "a zero byte, which would end the text. Take it out.";
    return {};
  }
  return bytes;
}

std::size_t width(std::string_view text) {
  return text.size() - static_cast<std::size_t>(std::count_if(text.begin(), text.end(), isContinuation));
}

std::string padded(std::string_view text, std::size_t columns) {
  std::string result(text);
  result.append(columns - std::min(columns, width(text)), ' ');
  return result;
}

std::string shortened(std::string_view text, std::size_t columns) {
  constexpr std::string_view kDots = "...";
  if (width(text) <= columns || columns < kDots.size()) {
    return std::string(text);
  }
  std::size_t bytes = 0;
  for (std::size_t left = columns - kDots.size() + 1; bytes < text.size(); ++bytes) {
    if (!isContinuation(text[bytes]) && --left == 0) {
      break;
    }
  }
  return std::string(text.substr(0, bytes)).append(kDots);
}

std::string onOneLine(std::string_view text) {
  std::string line;
  for (const char c : text) {
    if (c == '\n') {
      line += "\\n";
    } else if (c == '\r') {
      line += "\\r";
    } else if (c == '\t') {
      line += "\\t";
    } else if (isControl(c)) {
      line += "\\x" + hexByte(c);
    } else {
      line += c;
    }
  }
  return line;
}

std::string counted(std::size_t count, std::string_view thing) {
  return std::to_string(count) + " " + std::string(thing) + (count == 1 ? "" : "s");
}

std::string wrapped(std::string_view text, std::size_t columns, std::string_view indentation) {
  std::string result;
  std::size_t used = 0;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(' '), text.size());
    const std::string_view word = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (used > 0 && used + 1 + width(word) <= columns) {
      result += ' ';
      used += 1 + width(word);
    } else {
      result.append(used > 0 ? "\n" : "").append(indentation);
      used = width(indentation) + width(word);
    }
    result += word;
  }
  return result;
}

std::optional<std::string> nearest(std::string_view word, std::span<const std::string> candidates) {
  const std::string* best = nullptr;
  std::size_t least = std::min(std::max<std::size_t>(word.size() / 3, 2) + 1, word.size());
  for (const std::string& candidate : candidates) {
    const std::size_t steps = distance(word, candidate);
    if (steps < least) {
      least = steps;
      best = &candidate;
    }
  }
  return best != nullptr ? std::optional(*best) : std::nullopt;
}

bool fits(std::string_view pattern, std::string_view text) {
  const std::vector<std::string_view> parts = literalParts(pattern);
  if (parts.size() == 1) {
    return text == pattern;
  }
  if (!text.starts_with(parts.front())) {
    return false;
  }
  text.remove_prefix(parts.front().size());
  for (std::size_t i = 1; i + 1 < parts.size(); ++i) {
    const std::size_t found = text.find(parts[i]);
    if (found == std::string_view::npos) {
      return false;
    }
    text.remove_prefix(found + parts[i].size());
  }
  return text.ends_with(parts.back());
}

// Backslashes count as themselves unless a double quote follows them.
std::string quotedWord(std::string_view word) {
  std::string text = "\"";
  std::size_t backslashes = 0;
  for (const char c : word) {
    if (c == '"') {
      text.append(backslashes + 1, '\\');
    }
    backslashes = c == '\\' ? backslashes + 1 : 0;
    text += c;
  }
  return text.append(backslashes, '\\') + "\"";
}

std::string replacedAll(std::string text, std::string_view what, std::string_view by) {
  for (std::size_t found = text.find(what); found != std::string::npos;
       found = text.find(what, found + by.size())) {
    text.replace(found, what.size(), by);
  }
  return text;
}

}  // namespace kx::cli
