#include "words.h"

#include <charconv>
#include <cstddef>
#include <system_error>

namespace kxsim {

std::string_view withoutLeadingBlanks(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t");
  return first == std::string_view::npos ? std::string_view() : text.substr(first);
}

std::string takeWord(std::string_view& text) {
  text = withoutLeadingBlanks(text);
  const std::size_t end = text.find_first_of(" \t");
  std::string word(text.substr(0, end));
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return word;
}

std::string_view takeLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  if (!line.empty() && line.back() == '\r') {
    line.remove_suffix(1);
  }
  return line;
}

std::optional<long long> toNumber(std::string_view word) {
  long long value = 0;
  const auto result = std::from_chars(word.data(), word.data() + word.size(), value);
  if (word.empty() || result.ec != std::errc() || result.ptr != word.data() + word.size()) {
    return std::nullopt;
  }
  return value;
}

}  // namespace kxsim
