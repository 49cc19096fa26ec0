#include "json/writer.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

namespace json {

namespace {

constexpr int kNumberDigits = 20;

// The only bytes of a text that are escaped, and what stands behind the backslash for each. All others, other
// control characters included, are written as they are.
constexpr std::string_view kEscaped = "\b\t\n\f\r\"\\";
constexpr std::string_view kEscapes = "btnfr\"\\";

class TextForm {
 public:
  explicit TextForm(std::string& text) : text_(text) {}

  void write(const UnknownElement& element) {
    std::visit([this](const auto& held) { write(held); }, element.Held());
  }

  void write(const Object& object) {
    writeContainer(object, '{', '}', [this](const Member& member) {
      text_ += '"';
      text_ += member.name;
      text_ += "\" : ";
      write(member.element);
    });
  }

  void write(const Array& array) {
    writeContainer(array, '[', ']', [this](const UnknownElement& element) { write(element); });
  }

  void write(const String& string) {
    text_ += '"';
    std::string_view rest = string.Value();
    for (std::size_t plain = plainLength(rest); plain < rest.size(); plain = plainLength(rest)) {
      text_ += rest.substr(0, plain);
      text_ += '\\';
      text_ += kEscapes[kEscaped.find(rest[plain])];
      rest.remove_prefix(plain + 1);
    }
    text_ += rest;
    text_ += '"';
  }

  void write(const Number& number) {
    // Independent of the locale, which in a DLL is the host's.
    std::array<char, 64> digits{};
    const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), number.Value(),
                                      std::chars_format::general, kNumberDigits);
    text_.append(digits.data(), result.ptr);
  }

  void write(const Boolean& boolean) { text_ += boolean.Value() ? "true" : "false"; }

  void write(const Null&) { text_ += "null"; }

 private:
  template <typename Container, typename WriteItem>
  void writeContainer(const Container& container, char open, char close, WriteItem writeItem) {
    text_ += open;
    if (!container.Empty()) {
      ++depth_;
      for (auto item = container.Begin(); item != container.End(); ++item) {
        text_ += item == container.Begin() ? "\n" : ",\n";
        indent();
        writeItem(*item);
      }
      --depth_;
      text_ += '\n';
      indent();
    }
    text_ += close;
  }

  void indent() { text_.append(depth_, ' '); }

  // How many bytes at the beginning are written as they are.
  static std::size_t plainLength(std::string_view text) {
    return static_cast<std::size_t>(std::find_if(text.begin(), text.end(), isEscaped) - text.begin());
  }

  // A quicker kEscaped.find().
  static bool isEscaped(char c) { return c == '"' || c == '\\' || (c >= '\b' && c <= '\r' && c != '\v'); }

  std::string& text_;
  std::size_t depth_ = 0;
};

template <typename Element>
std::string textOf(const Element& element) {
  std::string text;
  TextForm(text).write(element);
  return text;
}

}  // namespace

void Writer::Write(const UnknownElement& element, std::ostream& stream) {
  stream << textOf(element);
}

void Writer::Write(const Object& object, std::ostream& stream) {
  stream << textOf(object);
}

std::string Writer::Text(const Object& object) {
  return textOf(object);
}

}  // namespace json
