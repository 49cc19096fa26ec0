#include "api/options.h"

#include "common/strings.h"

#include <cstddef>

namespace kx {

namespace {

// Walks through the text the way a search with this pattern does, match after match, but without its
// backtracking:
//   (-[\w-]+)(?:(?:\s*=\s*|\s+(?=[^-]))("[^"]*"|\S+))?
// Regular expression engines recurse once per character here, and a long value overflows the host's stack.
class OptionScanner {
 public:
  explicit OptionScanner(std::string_view text) : text_(text) {}

  // Moves to the next option. False when there is none.
  bool next() {
    while (position_ < text_.size()) {
      if (text_[position_] == '-' && position_ + 1 < text_.size() && isNameCharacter(text_[position_ + 1])) {
        consumeName();
        consumeValue();
        return true;
      }
      ++position_;
    }
    return false;
  }

  std::string_view name() const { return name_; }
  std::string_view value() const { return value_; }

 private:
  static bool isNameCharacter(char c) { return isAsciiLetter(c) || isAsciiDigit(c) || c == '_' || c == '-'; }

  std::size_t endOfWhitespace(std::size_t first) const {
    while (first < text_.size() && isAsciiSpace(text_[first])) {
      ++first;
    }
    return first;
  }

  void consumeName() {
    std::size_t end = position_ + 1;
    while (end < text_.size() && isNameCharacter(text_[end])) {
      ++end;
    }
    name_ = text_.substr(position_, end - position_);
    position_ = end;
  }

  void consumeValue() {
    value_ = {};
    const std::size_t afterWhitespace = endOfWhitespace(position_);
    if (afterWhitespace == text_.size()) {
      return;
    }
    if (text_[afterWhitespace] == '=') {
      const std::size_t afterSign = endOfWhitespace(afterWhitespace + 1);
      if (afterSign < text_.size()) {
        consumeValueAt(afterSign);
        return;
      }
      // With nothing behind it the sign is a value itself, if whitespace comes before it.
    }
    if (afterWhitespace > position_ && text_[afterWhitespace] != '-') {
      consumeValueAt(afterWhitespace);
    }
  }

  void consumeValueAt(std::size_t first) {
    std::size_t end = text_[first] == '"' ? endOfQuoted(first) : std::string_view::npos;
    if (end == std::string_view::npos) {
      end = first;
      while (end < text_.size() && !isAsciiSpace(text_[end])) {
        ++end;
      }
    }
    value_ = text_.substr(first, end - first);
    position_ = end;
  }

  // The end of a quoted run, or npos when it is never closed. That is found out once only: the text behind an
  // unclosed quote has no further quote, or the run would have been closed there.
  std::size_t endOfQuoted(std::size_t first) const {
    const std::size_t closing = text_.find('"', first + 1);
    return closing == std::string_view::npos ? closing : closing + 1;
  }

  std::string_view text_;
  std::size_t position_ = 0;
  std::string_view name_;
  std::string_view value_;
};

// One search for each character: a search for either would look at every character by itself.
bool isOneLine(std::string_view value) {
  return value.find('\r') == std::string_view::npos && value.find('\n') == std::string_view::npos;
}

}  // namespace

Options parseOptions(const char* options) {
  Options result;
  OptionScanner scanner(options != nullptr ? std::string_view(options) : std::string_view());
  while (scanner.next()) {
    result.insert_or_assign(std::string(scanner.name()), unquote(scanner.value()));
  }
  return result;
}

std::string unquote(std::string_view value) {
  const bool isQuoted = value.size() >= 2 && value.starts_with('"') && value.ends_with('"');
  return std::string(isQuoted && isOneLine(value) ? value.substr(1, value.size() - 2) : value);
}

const std::string* findOption(const Options& options, const char* name) {
  const auto option = options.find(name);
  return option != options.end() ? &option->second : nullptr;
}

}  // namespace kx
