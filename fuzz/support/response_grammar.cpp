#include "fuzz/support/response_grammar.h"

namespace {

constexpr int kMostOpen = 19;

// Thrown at the first byte that does not fit, and at the end of a text that may still go on.
struct Stop {};

class Descent {
 public:
  explicit Descent(std::string_view text) : text_(text) {}

  Verdict response() {
    try {
      blanks();
      if (peek() == '{') {
        object(1);
      } else if (peek() == '[') {
        array(1);
      } else {
        throw Stop();
      }
      return {at_, true};
    } catch (const Stop&) {
      return {at_, false};
    }
  }

 private:
  unsigned char peek() const {
    if (at_ == text_.size()) {
      throw Stop();
    }
    return static_cast<unsigned char>(text_[at_]);
  }

  void take(char c) {
    if (peek() != static_cast<unsigned char>(c)) {
      throw Stop();
    }
    ++at_;
  }

  void takeAll(std::string_view word) {
    for (const char c : word) {
      take(c);
    }
  }

  void blanks() {
    while (at_ < text_.size() && std::string_view(" \t\n\r").find(text_[at_]) != std::string_view::npos) {
      ++at_;
    }
  }

  void object(int open) {
    if (open > kMostOpen) {
      throw Stop();
    }
    take('{');
    blanks();
    if (peek() == '}') {
      ++at_;
      return;
    }
    for (;;) {
      string();
      blanks();
      take(':');
      value(open);
      if (peek() == '}') {
        ++at_;
        return;
      }
      take(',');
      blanks();
    }
  }

  void array(int open) {
    if (open > kMostOpen) {
      throw Stop();
    }
    take('[');
    blanks();
    if (peek() == ']') {
      ++at_;
      return;
    }
    for (;;) {
      value(open);
      if (peek() == ']') {
        ++at_;
        return;
      }
      take(',');
    }
  }

  void value(int open) {
    blanks();
    switch (peek()) {
      case '{':
        object(open + 1);
        break;
      case '[':
        array(open + 1);
        break;
      case '"':
        string();
        break;
      case 't':
        takeAll("true");
        break;
      case 'f':
        takeAll("false");
        break;
      case 'n':
        takeAll("null");
        break;
      default:
        number();
        break;
    }
    blanks();
  }

  void string() {
    take('"');
    while (peek() != '"') {
      if (peek() == '\\') {
        ++at_;
        escape();
      } else if (peek() < 0x20) {
        throw Stop();
      } else {
        ++at_;
      }
    }
    ++at_;
  }

  void escape() {
    if (std::string_view("\"\\/bfnrt").find(static_cast<char>(peek())) != std::string_view::npos) {
      ++at_;
      return;
    }
    take('u');
    for (int digit = 0; digit < 4; ++digit) {
      const unsigned char c = peek();
      if (!isDigit(c) && !(c >= 'a' && c <= 'f') && !(c >= 'A' && c <= 'F')) {
        throw Stop();
      }
      ++at_;
    }
  }

  // number = [-] (0 [. digits [exponent]] | 1-9 digits [. digits] [exponent])
  void number() {
    if (peek() == '-') {
      ++at_;
    }
    if (!isDigit(peek())) {
      throw Stop();
    }
    const bool isZero = peek() == '0';
    ++at_;
    if (!isZero) {
      digits();
    }
    const bool hasPoint = nextIs('.');
    if (hasPoint) {
      ++at_;
      digits();
    }
    // A lone zero takes no exponent: it has to become 0. first.
    if ((!isZero || hasPoint) && (nextIs('e') || nextIs('E'))) {
      ++at_;
      if (peek() == '+' || peek() == '-') {
        ++at_;
      }
      if (!isDigit(peek())) {
        throw Stop();
      }
      digits();
    }
  }

  void digits() {
    while (at_ < text_.size() && isDigit(static_cast<unsigned char>(text_[at_]))) {
      ++at_;
    }
  }

  bool nextIs(char c) const { return at_ < text_.size() && text_[at_] == c; }
  static bool isDigit(unsigned char c) { return c >= '0' && c <= '9'; }

  std::string_view text_;
  std::size_t at_ = 0;
};

}  // namespace

Verdict verdictByGrammar(std::string_view text) {
  return Descent(text).response();
}
