#include "json/scanner.h"

#include "common/strings.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace json {

namespace {

void appendUtf8(std::string& text, std::uint32_t codePoint) {
  const auto put = [&text](std::uint32_t byte) { text += static_cast<char>(byte); };
  if (codePoint < 0x80U) {
    put(codePoint);
  } else if (codePoint < 0x800U) {
    put(0xC0U | (codePoint >> 6U));
    put(0x80U | (codePoint & 0x3FU));
  } else if (codePoint < 0x10000U) {
    put(0xE0U | (codePoint >> 12U));
    put(0x80U | ((codePoint >> 6U) & 0x3FU));
    put(0x80U | (codePoint & 0x3FU));
  } else {
    put(0xF0U | (codePoint >> 18U));
    put(0x80U | ((codePoint >> 12U) & 0x3FU));
    put(0x80U | ((codePoint >> 6U) & 0x3FU));
    put(0x80U | (codePoint & 0x3FU));
  }
}

constexpr std::uint32_t kReplacementCharacter = 0xFFFDU;

bool isHighSurrogate(std::uint32_t unit) {
  return unit >= 0xD800U && unit <= 0xDBFFU;
}
bool isLowSurrogate(std::uint32_t unit) {
  return unit >= 0xDC00U && unit <= 0xDFFFU;
}

// Reads the escapes of a string, one after another.
class EscapeReader {
 public:
  // The whole text, for the locations of errors, and the offset behind the first backslash.
  EscapeReader(std::string_view text, std::size_t position) : text_(text), position_(position) {}

  // Appends what the escape stands for, and gives the offset behind it. A pair of surrogates is one
  // character, and two escapes; a surrogate without its other half is no character.
  std::size_t read(std::string& value) {
    static constexpr std::string_view kEscapes = "\"\\/bfnrt";
    static constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
    const char c = text_[position_];
    if (const std::size_t i = kEscapes.find(c); i != std::string_view::npos) {
      ++position_;
      value += kMeanings[i];
    } else if (c == 'u') {
      ++position_;
      readUnicode(value);
    } else {
      fail(c);
    }
    return position_;
  }

 private:
  [[noreturn]] void fail(char c) const {
    throw Reader::ScanException(std::string("Unrecognized escape sequence found in string: \\") + c,
                                locationOf(text_, position_));
  }

  void readUnicode(std::string& value) {
    std::uint32_t unit = readCodeUnit();
    while (isHighSurrogate(unit) && text_.substr(position_, 2) == "\\u") {
      position_ += 2;
      const std::uint32_t next = readCodeUnit();
      if (isLowSurrogate(next)) {
        appendUtf8(value, 0x10000U + ((unit - 0xD800U) << 10U) + (next - 0xDC00U));
        return;
      }
      appendUtf8(value, kReplacementCharacter);
      unit = next;
    }
    const bool isLone = isHighSurrogate(unit) || isLowSurrogate(unit);
    appendUtf8(value, isLone ? kReplacementCharacter : unit);
  }

  std::uint32_t readCodeUnit() {
    std::uint32_t unit = 0;
    for (int i = 0; i < 4; ++i) {
      std::uint32_t digit = 0;
      const std::string_view rest = text_.substr(position_, 1);
      if (std::from_chars(rest.data(), rest.data() + rest.size(), digit, 16).ec != std::errc()) {
        fail('u');
      }
      ++position_;
      unit = unit * 16U + digit;
    }
    return unit;
  }

  std::string_view text_;
  std::size_t position_;
};

// The length of a string's beginning that stands for itself.
std::size_t plainLength(std::string_view text) {
  return std::min(text.find_first_of("\"\\"), text.size());
}

// Cuts a text into tokens.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  std::vector<Token> scan() {
    std::vector<Token> tokens;
    for (skipBlanks(); !atEnd(); skipBlanks()) {
      tokens.push_back(nextToken());
    }
    return tokens;
  }

 private:
  bool atEnd() const { return position_ == text_.size(); }
  char peek() const { return text_[position_]; }

  [[noreturn]] void fail(const std::string& message) const {
    throw Reader::ScanException(message, locationOf(text_, position_));
  }

  void skipBlanks() {
    while (!atEnd() && (peek() == ' ' || peek() == '\t' || peek() == '\n' || peek() == '\r')) {
      ++position_;
    }
  }

  Token nextToken() {
    Token token;
    token.begin = position_;
    switch (peek()) {
      case '{':
        take(token, TokenType::ObjectBegin, "{");
        break;
      case '}':
        take(token, TokenType::ObjectEnd, "}");
        break;
      case '[':
        take(token, TokenType::ArrayBegin, "[");
        break;
      case ']':
        take(token, TokenType::ArrayEnd, "]");
        break;
      case ',':
        take(token, TokenType::Comma, ",");
        break;
      case ':':
        take(token, TokenType::Colon, ":");
        break;
      case '"':
        takeString(token);
        break;
      case 't':
        take(token, TokenType::BooleanToken, "true");
        break;
      case 'f':
        take(token, TokenType::BooleanToken, "false");
        break;
      case 'n':
        take(token, TokenType::NullToken, "null");
        break;
      default:
        takeNumber(token);
    }
    token.end = position_;
    return token;
  }

  void expect(std::string_view expected) {
    for (const char c : expected) {
      if (atEnd() || peek() != c) {
        fail("Expected string: " + std::string(expected));
      }
      ++position_;
    }
  }

  void take(Token& token, TokenType type, std::string_view expected) {
    expect(expected);
    token.type = type;
  }

  // A run of characters that occur in numbers. Whether they make one is seen when the token is used.
  void takeNumber(Token& token) {
    static constexpr std::string_view kNumberCharacters = "0123456789.eE-+";
    if (peek() != '-' && !isAsciiDigit(peek())) {
      fail(std::string("Unexpected character in stream: ") + peek());
    }
    token.type = TokenType::NumberToken;
    position_ = std::min(text_.find_first_not_of(kNumberCharacters, position_), text_.size());
  }

  // The escapes are checked now, and read again when the token is used: most strings have none.
  void takeString(Token& token) {
    token.type = TokenType::StringToken;
    expect("\"");
    for (position_ += plainLength(text_.substr(position_)); !atEnd() && peek() == '\\';
         position_ += plainLength(text_.substr(position_))) {
      ++position_;
      if (!atEnd()) {
        std::string ignored;
        position_ = EscapeReader(text_, position_).read(ignored);
        token.hasEscapes = true;
      }
    }
    expect("\"");
  }

  std::string_view text_;
  std::size_t position_ = 0;
};

}  // namespace

Reader::Location locationOf(std::string_view text, std::size_t offset) {
  const std::string_view before = text.substr(0, offset);
  const std::size_t lineEnd = before.rfind('\n');
  Reader::Location location;
  location.m_nLine = static_cast<int>(std::count(before.begin(), before.end(), '\n'));
  location.m_nLineOffset =
      static_cast<int>(lineEnd == std::string_view::npos ? offset : offset - lineEnd - 1);
  location.m_nDocOffset = static_cast<int>(offset);
  return location;
}

std::vector<Token> scan(std::string_view text) {
  return Scanner(text).scan();
}

std::string stringValue(std::string_view text, const Token& token) {
  const std::size_t first = token.begin + 1;
  const std::size_t end = token.end - 1;
  if (!token.hasEscapes) {
    return std::string(text.substr(first, end - first));
  }
  std::string value;
  for (std::size_t position = first; position < end;) {
    const std::size_t plain = plainLength(text.substr(position, end - position));
    value += text.substr(position, plain);
    position += plain;
    if (position < end) {
      position = EscapeReader(text, position + 1).read(value);
    }
  }
  return value;
}

}  // namespace json
