#include "escapes.h"

#include <cstddef>

namespace kxsim {
namespace {

std::optional<unsigned> hexValue(char c) {
  const char lower = c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c;
  const std::size_t at = kHexDigits.find(lower);
  return at == std::string_view::npos ? std::nullopt : std::optional<unsigned>(static_cast<unsigned>(at));
}

std::optional<char> hexByte(std::string_view text, std::size_t at) {
  if (at + 1 >= text.size()) {
    return std::nullopt;
  }
  const auto high = hexValue(text[at]);
  const auto low = hexValue(text[at + 1]);
  if (!high || !low) {
    return std::nullopt;
  }
  return static_cast<char>(static_cast<unsigned char>(*high * 16 + *low));
}

}  // namespace

std::string unescapeBytes(std::string_view text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 >= text.size()) {
      bytes += text[i];
      continue;
    }
    const char kind = text[i + 1];
    if (const auto byte = kind == 'x' ? hexByte(text, i + 2) : std::nullopt) {
      bytes += *byte;
      i += 3;
    } else if (kind == 'n' || kind == 'r' || kind == 't' || kind == '\\') {
      bytes += kind == 'n' ? '\n' : kind == 'r' ? '\r' : kind == 't' ? '\t' : '\\';
      ++i;
    } else {
      bytes += '\\';
    }
  }
  return bytes;
}

std::string escapeForLog(std::string_view bytes) {
  std::string line;
  for (const char c : bytes) {
    const auto value = static_cast<unsigned char>(c);
    if (c == '\n') {
      line += "\\n";
    } else if (c == '\r') {
      line += "\\r";
    } else if (c == '\t') {
      line += "\\t";
    } else if (value < 0x20 || value == 0x7f) {
      line += "\\x";
      line += kHexDigits[value / 16];
      line += kHexDigits[value % 16];
    } else {
      line += c;
    }
  }
  return line;
}

Substituted substitute(std::string_view text, const Lookup& lookup) {
  Substituted result;
  std::size_t at = 0;
  while (at < text.size()) {
    if (text.substr(at, 2) == "$$") {
      result.text += '$';
      at += 2;
      continue;
    }
    const std::size_t end = text.substr(at, 2) == "$(" ? text.find(')', at) : std::string_view::npos;
    if (end == std::string_view::npos) {
      result.text += text[at++];
      continue;
    }
    const std::string name(text.substr(at + 2, end - at - 2));
    if (const auto value = lookup(name)) {
      result.text += *value;
    } else {
      result.text += text.substr(at, end + 1 - at);
      if (!result.unknownName) {
        result.unknownName = name;
      }
    }
    at = end + 1;
  }
  return result;
}

}  // namespace kxsim
