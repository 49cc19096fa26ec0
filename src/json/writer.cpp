#include "json/writer.h"

#include <algorithm>
#include <string_view>
#include <variant>

namespace kx::json {

namespace {

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
    text_ += '{';
    if (!object.Empty()) {
      ++depth_;
      for (auto member = object.Begin(); member != object.End(); ++member) {
        text_ += member == object.Begin() ? "\n" : ",\n";
        indent();
        text_ += '"';
        text_ += member->name;
        text_ += "\" : ";
        write(member->element);
      }
      --depth_;
      text_ += '\n';
      indent();
    }
    text_ += '}';
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

  void write(const Boolean& boolean) { text_ += boolean.Value() ? "true" : "false"; }

  void write(const Null&) { text_ += "null"; }

 private:
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

}  // namespace

std::string Writer::Write(const Object& object) {
  std::string text;
  TextForm(text).write(object);
  return text;
}

}  // namespace kx::json
