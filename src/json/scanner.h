// Splits JSON text into tokens, one after another, and gives what each stands for. Strings without
// escapes are views of the text itself; those with escapes are views of a memory of their own, made once for
// all of them. The text must outlive both.
#pragma once

#include "json/errors.h"
#include "json/plain_text.h"
#include "json/whitespace.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace kx::json {

// A token's place in the text, as offsets, and what it stands for: a string's value, or the bytes of any
// other token. A string's quotes belong to its place.
struct Token {
  std::size_t begin = 0;
  std::size_t end = 0;
  std::string_view value;
};

// The line and column of an offset. Counted only when they are needed, which is for an error.
Reader::Location locationOf(std::string_view text, std::size_t offset);

// Every consume...() throws Reader::ScanException at the first byte that does not fit.
class Scanner {
 public:
  // The memory of the strings that hold escapes.
  using Values = std::unique_ptr<char[]>;

  explicit Scanner(std::string_view text, std::size_t offset = 0)
      : text_(text), next_(text.data() + offset), last_(text.data() + text.size()) {}

  // Goes to the next token, which begins with the next byte that is no whitespace. False when there is none.
  bool skipWhitespace() {
    next_ = endOfWhitespace(next_, last_);
    return next_ != last_;
  }
  // The same; gives the byte, or 0, which begins no token, when there is none.
  char peek() { return skipWhitespace() ? *next_ : '\0'; }

  std::size_t offset() const { return static_cast<std::size_t>(next_ - text_.data()); }
  std::string_view text() const { return text_; }

  // Consumes a token of one byte, if it is the next one.
  bool consumeIf(char token) {
    const bool found = peek() == token;
    next_ += found ? 1 : 0;
    return found;
  }

  // The next token, after peek() has shown it to be one of that kind.
  std::string_view consumeString() {
    const char* const first = next_ + 1;
    const char* const end = endOfPlain(first, last_);
    if (end == last_ || *end != '"') {
      return consumeUnusualString(end);
    }
    next_ = end + 1;
    return {first, static_cast<std::size_t>(end - first)};
  }
  // A run of bytes that occur in numbers, and how many of them, from the first, make one.
  struct NumberRun {
    std::string_view bytes;
    std::size_t numberLength;
  };
  NumberRun consumeNumber();
  void consumeWord(std::string_view word);

  // The next token of whatever kind, after skipWhitespace().
  Token consumeToken();

  // Hands over what the strings with escapes are views of.
  Values releaseValues() { return std::move(values_); }

 private:
  [[noreturn]] void fail(const std::string& message) const;
  [[noreturn]] void failAtEscape(char escape) const;

  // A string that is not plain up to its quote; plainEnd is how far it is.
  std::string_view consumeUnusualString(const char* plainEnd);
  std::string_view consumeStringWithEscapes(const char* first, const char* backslash);
  char* consumeEscape(char* target);
  char* consumeUnicodeEscape(char* target);
  std::uint32_t consumeCodeUnit();

  std::string_view text_;
  const char* next_;
  const char* last_;
  // No value is longer than its string, so what is left of the text at the first one has room for all.
  Values values_;
  char* valuesEnd_ = nullptr;
};

}  // namespace kx::json
