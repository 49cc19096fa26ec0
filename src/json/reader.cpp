#include "json/reader.h"

#include "json/numbers.h"
#include "json/scanner.h"

#include <array>
#include <string_view>

namespace json {

namespace {

// Puts tokens together.
class Parser {
 public:
  explicit Parser(std::string_view text) : text_(text), tokens_(scan(text)) {}

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

  [[noreturn]] void fail(const std::string& message, const Token& token) const {
    throw Reader::ParseException(message, locationOf(text_, token.begin), locationOf(text_, token.end));
  }

  std::string_view written(const Token& token) const {
    return text_.substr(token.begin, token.end - token.begin);
  }

  // What a string stands for; any other token as it is written.
  std::string valueOf(const Token& token) const {
    return token.type == TokenType::StringToken ? stringValue(text_, token) : std::string(written(token));
  }

  const Token& peek() const {
    if (atEnd()) {
      fail("Unexpected end of token stream", tokens_.empty() ? Token{} : tokens_.back());
    }
    return tokens_[next_];
  }

  bool nextIs(TokenType type) const { return !atEnd() && tokens_[next_].type == type; }

  const Token& take(TokenType type) {
    const Token& token = peek();
    if (token.type != type) {
      fail("Unexpected token: " + valueOf(token), token);
    }
    ++next_;
    return token;
  }

  void expectEnd() const {
    if (!atEnd()) {
      fail("Expected End of token stream; found " + valueOf(tokens_[next_]), tokens_[next_]);
    }
  }

  UnknownElement parseElement() {
    const Token& token = peek();
    switch (token.type) {
      case TokenType::ObjectBegin:
        return parseObject();
      case TokenType::ArrayBegin:
        return parseArray();
      case TokenType::StringToken:
        ++next_;
        return String(valueOf(token));
      case TokenType::NumberToken:
        return parseNumber();
      case TokenType::BooleanToken:
        ++next_;
        return Boolean(written(token) == "true");
      case TokenType::NullToken:
        ++next_;
        return {};
      default:
        fail("Unexpected token: " + valueOf(token), token);
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
      const Token& name = take(TokenType::StringToken);
      take(TokenType::Colon);
      insert(object, name, parseElement());
    }
    leave(TokenType::ObjectEnd);
    return object;
  }

  void insert(Object& object, const Token& token, UnknownElement element) const {
    const std::string name = valueOf(token);
    const std::size_t position = object.Size();
    UnknownElement& member = object[name];
    if (object.Size() == position) {
      fail("Duplicate object member token: " + name, token);
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
    const Token& token = take(TokenType::NumberToken);
    const std::string_view number = written(token);
    const std::size_t length = numberLength(number);
    if (length < number.size() || isCutShort(number)) {
      const char c = length < number.size() ? number[length] : number.back();
      fail(std::string("Unexpected character in NUMBER token: ") + c, token);
    }
    return Number(numberValue(number));
  }

  std::string_view text_;
  std::vector<Token> tokens_;
  std::size_t next_ = 0;
  int depth_ = 0;
};

std::string wholeText(std::istream& stream) {
  std::string text;
  std::array<char, 4096> piece;
  do {
    stream.read(piece.data(), piece.size());
    text.append(piece.data(), static_cast<std::size_t>(stream.gcount()));
  } while (stream);
  return text;
}

}  // namespace

void Reader::Read(UnknownElement& element, std::istream& stream) {
  const std::string text = wholeText(stream);
  element = Parser(text).parseElementOnly();
}

void Reader::Read(Object& object, std::istream& stream) {
  const std::string text = wholeText(stream);
  object = Parser(text).parseObjectOnly();
}

}  // namespace json
