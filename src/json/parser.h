// Goes through JSON text once and hands its content to whoever wants it, without building anything: the
// caller asks what the next element is and reads it, or skips it. It checks the order of tokens, refuses
// names given twice in one object, and limits the depth. Texts are views as the scanner gives them.
//
// Everything that is wrong ends in a ScanException or a ParseException. When tokens stand in a wrong order,
// the rest of the text is scanned before that is thrown, since a ScanException goes before a ParseException.
#pragma once

#include "json/member_names.h"
#include "json/scanner.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kx::json {

enum class ElementType : std::uint8_t {
  ObjectElement,
  ArrayElement,
  StringElement,
  NumberElement,
  BooleanElement,
  NullElement
};

class Parser {
 public:
  // The deepest nesting of objects and arrays that is read: the parser can be given text that nothing has
  // checked.
  static constexpr int kMaxNesting = 512;

  explicit Parser(std::string_view text) : scanner_(text) {}

  // The type of the element that comes next. One of its type's functions, or skip(), has to follow.
  ElementType next();

  // Calls onMember for each member with its name; onMember reads or skips the member's element.
  template <typename OnMember>
  void readObject(OnMember onMember) {
    enter('{');
    MemberNames names(openNames_);
    if (!scanner_.consumeIf('}')) {
      do {
        expect('"');
        const std::size_t begin = scanner_.offset();
        const std::string_view name = scanner_.consumeString();
        const std::size_t end = scanner_.offset();
        consume(':');
        onMember(name);
        if (!names.add(name)) {
          fail("Duplicate object member token: " + std::string(name), {begin, end, name});
        }
      } while (scanner_.consumeIf(','));
      consume('}');
    }
    --depth_;
  }

  // Calls onItem for each item; onItem reads or skips it.
  template <typename OnItem>
  void readArray(OnItem onItem) {
    enter('[');
    if (!scanner_.consumeIf(']')) {
      do {
        onItem();
      } while (scanner_.consumeIf(','));
      consume(']');
    }
    --depth_;
  }

  std::string_view readString() {
    expect('"');
    return scanner_.consumeString();
  }
  double readNumber();
  bool readBoolean();
  void readNull();

  void skip();

  // Nothing but whitespace may follow.
  void readEnd();

  // Hands over what the strings with escapes are views of.
  Scanner::Values releaseValues() { return scanner_.releaseValues(); }

 private:
  void enter(char open) {
    expect(open);
    if (depth_ == kMaxNesting) {
      fail("Nesting too deep", {scanner_.offset(), scanner_.offset() + 1, {}});
    }
    ++depth_;
    scanner_.consumeIf(open);
  }
  void expect(char token) {
    if (scanner_.peek() != token) {
      failAtNextToken("Unexpected token: ");
    }
  }
  void consume(char token) {
    if (!scanner_.consumeIf(token)) {
      failAtNextToken("Unexpected token: ");
    }
  }
  std::string_view consumeNumber();

  // Scans what is left, and throws.
  [[noreturn]] void fail(const std::string& message, const Token& token);
  [[noreturn]] void failAtNextToken(const std::string& message);

  Scanner scanner_;
  std::vector<std::string_view> openNames_;
  int depth_ = 0;
};

}  // namespace kx::json
