#include "json/reader.h"

#include "common/strings.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <string_view>

namespace json {

namespace {

using Location = Reader::Location;

enum class TokenType : std::uint8_t {
  ObjectBegin,
  ObjectEnd,
  ArrayBegin,
  ArrayEnd,
  Comma,
  Colon,
  Text,
  Number,
  Boolean,
  Null
};

struct Token {
  TokenType type = TokenType::Null;
  std::string text;  // a string's value; for all others the token as written
  Location begin;
  Location end;
};

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

  char get() {
    const char c = text_[position_++];
    ++location_.m_nDocOffset;
    if (c == '\n') {
      ++location_.m_nLine;
      location_.m_nLineOffset = 0;
    } else {
      ++location_.m_nLineOffset;
    }
    return c;
  }

  void skipBlanks() {
    while (!atEnd() && (peek() == ' ' || peek() == '\t' || peek() == '\n' || peek() == '\r')) {
      get();
    }
  }

  Token nextToken() {
    Token token;
    token.begin = location_;
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
        take(token, TokenType::Boolean, "true");
        break;
      case 'f':
        take(token, TokenType::Boolean, "false");
        break;
      case 'n':
        take(token, TokenType::Null, "null");
        break;
      default:
        takeNumber(token);
    }
    token.end = location_;
    return token;
  }

  void expect(std::string_view expected) {
    for (const char c : expected) {
      if (atEnd() || peek() != c) {
        throw Reader::ScanException("Expected string: " + std::string(expected), location_);
      }
      get();
    }
  }

  void take(Token& token, TokenType type, std::string_view expected) {
    expect(expected);
    token.type = type;
    token.text = expected;
  }

  // A run of characters that occur in numbers. Whether they make one is seen when the token is used.
  void takeNumber(Token& token) {
    static constexpr std::string_view kNumberCharacters = "0123456789.eE-+";
    if (peek() != '-' && !isAsciiDigit(peek())) {
      throw Reader::ScanException(std::string("Unexpected character in stream: ") + peek(), location_);
    }
    token.type = TokenType::Number;
    while (!atEnd() && kNumberCharacters.find(peek()) != std::string_view::npos) {
      token.text += get();
    }
  }

  void takeString(Token& token) {
    token.type = TokenType::Text;
    expect("\"");
    while (!atEnd() && peek() != '"') {
      const char c = get();
      if (c == '\\' && !atEnd()) {
        takeEscape(token.text);
      } else {
        token.text += c;
      }
    }
    expect("\"");
  }

  [[noreturn]] void failEscape(char c) const {
    throw Reader::ScanException(std::string("Unrecognized escape sequence found in string: \\") + c,
                                location_);
  }

  void takeEscape(std::string& text) {
    const char c = peek();
    static constexpr std::string_view kEscapes = "\"\\/bfnrt";
    static constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
    if (const std::size_t i = kEscapes.find(c); i != std::string_view::npos) {
      get();
      text += kMeanings[i];
    } else if (c == 'u') {
      get();
      takeUnicodeEscape(text);
    } else {
      failEscape(c);
    }
  }

  // The escape's four digits; a pair of surrogates is one character, a surrogate without its other half is
  // none.
  void takeUnicodeEscape(std::string& text) {
    std::uint32_t unit = takeCodeUnit();
    while (isHighSurrogate(unit)) {
      if (text_.substr(position_, 2) != "\\u") {
        appendUtf8(text, kReplacementCharacter);
        return;
      }
      get();
      get();
      const std::uint32_t next = takeCodeUnit();
      if (isLowSurrogate(next)) {
        appendUtf8(text, 0x10000U + ((unit - 0xD800U) << 10U) + (next - 0xDC00U));
        return;
      }
      appendUtf8(text, kReplacementCharacter);
      unit = next;
    }
    appendUtf8(text, isLowSurrogate(unit) ? kReplacementCharacter : unit);
  }

  std::uint32_t takeCodeUnit() {
    std::uint32_t unit = 0;
    for (int i = 0; i < 4; ++i) {
      std::uint32_t digit = 0;
      const std::string_view rest = text_.substr(position_, 1);
      if (std::from_chars(rest.data(), rest.data() + rest.size(), digit, 16).ec != std::errc()) {
        failEscape('u');
      }
      get();
      unit = unit * 16U + digit;
    }
    return unit;
  }

  std::string_view text_;
  std::size_t position_ = 0;
  Location location_;
};

// How far the text goes as a number of the JSON grammar, where a point need not be followed by digits.
std::size_t numberLength(std::string_view text) {
  std::size_t i = 0;
  const auto skipDigits = [&] {
    const std::size_t first = i;
    while (i < text.size() && isAsciiDigit(text[i])) {
      ++i;
    }
    return i != first;
  };
  if (i < text.size() && text[i] == '-') {
    ++i;
  }
  const bool leadingZero = i < text.size() && text[i] == '0';
  if (leadingZero) {
    ++i;
  } else if (!skipDigits()) {
    return i;
  }
  const bool hasPoint = i < text.size() && text[i] == '.';
  if (hasPoint) {
    ++i;
    skipDigits();
  }
  // Nothing but a point may follow a leading zero, not even an exponent.
  if ((leadingZero && !hasPoint) || i == text.size() || (text[i] != 'e' && text[i] != 'E')) {
    return i;
  }
  ++i;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
    ++i;
  }
  skipDigits();
  return i;
}

// A number that stops at its sign, or between exponent mark and exponent.
bool isCutShort(std::string_view text) {
  return !isAsciiDigit(text.back()) && text.back() != '.';
}

// Whether a number outside the range of double lies beyond its large end: tells so by the place of its first
// digit that is not zero, counted from the point, exponent included.
bool isHuge(std::string_view number) {
  const std::size_t exponentMark = std::min(number.find_first_of("eE"), number.size());
  const std::string_view mantissa = number.substr(0, exponentMark);
  const std::size_t point = std::min(mantissa.find('.'), mantissa.size());
  const std::size_t firstDigit = mantissa.find_first_of("123456789");
  std::int64_t magnitude = static_cast<std::int64_t>(point) - static_cast<std::int64_t>(firstDigit);
  if (exponentMark < number.size()) {
    std::string_view digits = number.substr(exponentMark + 1);
    const bool isNegative = digits.front() == '-';
    digits.remove_prefix(isNegative || digits.front() == '+' ? 1 : 0);
    std::int64_t exponent = 0;
    if (std::from_chars(digits.data(), digits.data() + digits.size(), exponent).ec != std::errc()) {
      exponent = std::numeric_limits<std::int32_t>::max();
    }
    magnitude += isNegative ? -exponent : exponent;
  }
  return magnitude > 0;
}

// The value that C's strtod() gives in the "C" locale.
double numberValue(std::string_view text) {
  double value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec == std::errc::result_out_of_range) {
    value = isHuge(text) ? HUGE_VAL : 0.0;
    return text.front() == '-' ? -value : value;
  }
  return value;
}

// Puts tokens together.
class Parser {
 public:
  explicit Parser(std::vector<Token> tokens) : tokens_(std::move(tokens)) {}

  UnknownElement parseElementOnly() {
    UnknownElement element = parseElement();
    expectEnd();
    return element;
  }

  Object parseObjectOnly() {
    Object object = parseObject();
    expectEnd();
    return object;
  }

 private:
  bool atEnd() const { return next_ == tokens_.size(); }

  [[noreturn]] static void fail(const std::string& message, const Token& token) {
    throw Reader::ParseException(message, token.begin, token.end);
  }

  Token& peek() {
    if (atEnd()) {
      fail("Unexpected end of token stream", tokens_.empty() ? Token{} : tokens_.back());
    }
    return tokens_[next_];
  }

  bool nextIs(TokenType type) const { return !atEnd() && tokens_[next_].type == type; }

  Token& take(TokenType type) {
    Token& token = peek();
    if (token.type != type) {
      fail("Unexpected token: " + token.text, token);
    }
    ++next_;
    return token;
  }

  void expectEnd() const {
    if (!atEnd()) {
      fail("Expected End of token stream; found " + tokens_[next_].text, tokens_[next_]);
    }
  }

  UnknownElement parseElement() {
    Token& token = peek();
    switch (token.type) {
      case TokenType::ObjectBegin:
        return parseObject();
      case TokenType::ArrayBegin:
        return parseArray();
      case TokenType::Text:
        ++next_;
        return String(std::move(token.text));
      case TokenType::Number:
        return parseNumber();
      case TokenType::Boolean:
        ++next_;
        return Boolean(token.text == "true");
      case TokenType::Null:
        ++next_;
        return {};
      default:
        fail("Unexpected token: " + token.text, token);
    }
  }

  void enter(TokenType type) {
    const Token& token = take(type);
    if (depth_ == Reader::kMaxNesting) {
      fail("Nesting too deep", token);
    }
    ++depth_;
  }

  void leave(TokenType type) {
    take(type);
    --depth_;
  }

  Object parseObject() {
    Object object;
    enter(TokenType::ObjectBegin);
    for (bool more = !nextIs(TokenType::ObjectEnd); more; more = takeComma()) {
      const Token& name = take(TokenType::Text);
      take(TokenType::Colon);
      insert(object, name, parseElement());
    }
    leave(TokenType::ObjectEnd);
    return object;
  }

  static void insert(Object& object, const Token& name, UnknownElement element) {
    const std::size_t position = object.Size();
    UnknownElement& member = object[name.text];
    if (object.Size() == position) {
      fail("Duplicate object member token: " + name.text, name);
    }
    member = std::move(element);
  }

  Array parseArray() {
    Array array;
    enter(TokenType::ArrayBegin);
    for (bool more = !nextIs(TokenType::ArrayEnd); more; more = takeComma()) {
      array.Insert(parseElement());
    }
    leave(TokenType::ArrayEnd);
    return array;
  }

  bool takeComma() {
    const bool found = nextIs(TokenType::Comma);
    next_ += found ? 1 : 0;
    return found;
  }

  Number parseNumber() {
    const Token& token = take(TokenType::Number);
    const std::size_t length = numberLength(token.text);
    if (length < token.text.size() || isCutShort(token.text)) {
      const char c = length < token.text.size() ? token.text[length] : token.text.back();
      fail(std::string("Unexpected character in NUMBER token: ") + c, token);
    }
    return Number(numberValue(token.text));
  }

  std::vector<Token> tokens_;
  std::size_t next_ = 0;
  int depth_ = 0;
};

std::vector<Token> tokensOf(std::istream& stream) {
  const std::string text(std::istreambuf_iterator<char>(stream), {});
  return Scanner(text).scan();
}

}  // namespace

void Reader::Read(UnknownElement& element, std::istream& stream) {
  element = Parser(tokensOf(stream)).parseElementOnly();
}

void Reader::Read(Object& object, std::istream& stream) {
  object = Parser(tokensOf(stream)).parseObjectOnly();
}

}  // namespace json
