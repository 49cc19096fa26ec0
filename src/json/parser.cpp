#include "json/parser.h"

#include "json/numbers.h"

namespace kx::json {

ElementType Parser::next() {
  switch (scanner_.peek()) {
    case '{':
      return ElementType::ObjectElement;
    case '[':
      return ElementType::ArrayElement;
    case '"':
      return ElementType::StringElement;
    case 't':
    case 'f':
      return ElementType::BooleanElement;
    case 'n':
      return ElementType::NullElement;
    case '-':
    case '0':
    case '1':
    case '2':
    case '3':
    case '4':
    case '5':
    case '6':
    case '7':
    case '8':
    case '9':
      return ElementType::NumberElement;
    default:
      failAtNextToken("Unexpected token: ");
  }
}

void Parser::skip() {
  switch (next()) {
    case ElementType::ObjectElement:
      readObject([this](std::string_view /*name*/) { skip(); });
      break;
    case ElementType::ArrayElement:
      readArray([this] { skip(); });
      break;
    case ElementType::StringElement:
      scanner_.consumeString();
      break;
    case ElementType::NumberElement:
      consumeNumber();
      break;
    case ElementType::BooleanElement:
      readBoolean();
      break;
    case ElementType::NullElement:
      readNull();
      break;
  }
}

double Parser::readNumber() {
  return numberValue(consumeNumber());
}

std::string_view Parser::consumeNumber() {
  const std::size_t begin = scanner_.offset();
  const auto [number, length] = scanner_.consumeNumber();
  if (length < number.size() || isCutShort(number)) {
    const char c = length < number.size() ? number[length] : number.back();
    fail(std::string("Unexpected character in NUMBER token: ") + c, {begin, scanner_.offset(), number});
  }
  return number;
}

bool Parser::readBoolean() {
  const bool value = scanner_.peek() == 't';
  scanner_.consumeWord(value ? "true" : "false");
  return value;
}

void Parser::readNull() {
  scanner_.consumeWord("null");
}

void Parser::readEnd() {
  if (scanner_.skipWhitespace()) {
    failAtNextToken("Expected End of token stream; found ");
  }
}

void Parser::fail(const std::string& message, const Token& token) {
  const std::string_view text = scanner_.text();
  for (Scanner rest(text, scanner_.offset()); rest.skipWhitespace();) {
    rest.consumeToken();
  }
  throw Reader::ParseException(message, locationOf(text, token.begin), locationOf(text, token.end));
}

void Parser::failAtNextToken(const std::string& message) {
  const std::string_view text = scanner_.text();
  if (Scanner rest(text, scanner_.offset()); rest.skipWhitespace()) {
    const Token token = rest.consumeToken();
    fail(message + std::string(token.value), token);
  }
  // The text ends too early: the place is that of its last token.
  Token last;
  for (Scanner all(text); all.skipWhitespace();) {
    last = all.consumeToken();
  }
  fail("Unexpected end of token stream", last);
}

}  // namespace kx::json
