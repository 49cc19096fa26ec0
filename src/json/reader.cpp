#include "json/reader.h"

#include "json/parser.h"

#include <array>
#include <string_view>

namespace json {

namespace {

// Builds the element that a text holds.
class TreeBuilder {
 public:
  explicit TreeBuilder(std::string_view text) : parser_(text) {}

  UnknownElement elementOnly() {
    UnknownElement only = element();
    parser_.readEnd();
    return only;
  }

  Object objectOnly() {
    Object only = object();
    parser_.readEnd();
    return only;
  }

 private:
  UnknownElement element() {
    switch (parser_.next()) {
      case ElementType::ObjectElement:
        return object();
      case ElementType::ArrayElement:
        return array();
      case ElementType::StringElement:
        return String(std::string(parser_.readString()));
      case ElementType::NumberElement:
        return Number(parser_.readNumber());
      case ElementType::BooleanElement:
        return Boolean(parser_.readBoolean());
      case ElementType::NullElement:
        break;
    }
    parser_.readNull();
    return {};
  }

  Object object() {
    Object object;
    parser_.readObject([&](std::string_view name) { object[std::string(name)] = element(); });
    return object;
  }

  Array array() {
    Array array;
    parser_.readArray([&] { array.Insert(element()); });
    return array;
  }

  Parser parser_;
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
  element = TreeBuilder(text).elementOnly();
}

void Reader::Read(Object& object, std::istream& stream) {
  const std::string text = wholeText(stream);
  object = TreeBuilder(text).objectOnly();
}

}  // namespace json
