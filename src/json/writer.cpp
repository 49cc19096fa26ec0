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
  explicit TextForm(std::ostream& stream) : stream_(stream) {}

  void write(const UnknownElement& element) {
    std::visit([this](const auto& held) { write(held); }, element.Held());
  }

  void write(const Object& object) {
    writeContainer(object, '{', '}', [this](const Member& member) {
      stream_ << '"' << member.name << "\" : ";
      write(member.element);
    });
  }

  void write(const Array& array) {
    writeContainer(array, '[', ']', [this](const UnknownElement& element) { write(element); });
  }

  void write(const String& text) {
    stream_ << '"';
    std::string_view rest = text.Value();
    for (std::size_t plain = plainLength(rest); plain < rest.size(); plain = plainLength(rest)) {
      stream_ << rest.substr(0, plain) << '\\' << kEscapes[kEscaped.find(rest[plain])];
      rest.remove_prefix(plain + 1);
    }
    stream_ << rest << '"';
  }

  void write(const Number& number) {
    // Independent of the locale, which in a DLL is the host's.
    std::array<char, 64> digits{};
    const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), number.Value(),
                                      std::chars_format::general, kNumberDigits);
    stream_ << std::string_view(digits.data(), static_cast<std::size_t>(result.ptr - digits.data()));
  }

  void write(const Boolean& boolean) { stream_ << (boolean.Value() ? "true" : "false"); }

  void write(const Null&) { stream_ << "null"; }

 private:
  template <typename Container, typename WriteItem>
  void writeContainer(const Container& container, char open, char close, WriteItem writeItem) {
    stream_ << open;
    if (!container.Empty()) {
      ++depth_;
      for (auto item = container.Begin(); item != container.End(); ++item) {
        stream_ << (item == container.Begin() ? "\n" : ",\n");
        indent();
        writeItem(*item);
      }
      --depth_;
      stream_ << '\n';
      indent();
    }
    stream_ << close;
  }

  void indent() {
    for (int i = 0; i < depth_; ++i) {
      stream_ << ' ';
    }
  }

  // How many bytes at the beginning are written as they are.
  static std::size_t plainLength(std::string_view text) {
    return static_cast<std::size_t>(std::find_if(text.begin(), text.end(), isEscaped) - text.begin());
  }

  // A quicker kEscaped.find().
  static bool isEscaped(char c) { return c == '"' || c == '\\' || (c >= '\b' && c <= '\r' && c != '\v'); }

  std::ostream& stream_;
  int depth_ = 0;
};

}  // namespace

void Writer::Write(const UnknownElement& element, std::ostream& stream) {
  TextForm(stream).write(element);
}

void Writer::Write(const Object& object, std::ostream& stream) {
  TextForm(stream).write(object);
}

}  // namespace json
