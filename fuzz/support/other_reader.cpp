#include "fuzz/support/other_reader.h"

#include "json/parser.h"

#include <cmath>
#include <cstdlib>
#include <set>
#include <vector>

namespace {

// Rewrites what the two libraries take differently, and finds numbers beyond a double's range.
class Rewriter {
 public:
  explicit Rewriter(std::string_view text) : text_(text) {}

  std::string rewritten() {
    while (at_ < text_.size()) {
      if (text_[at_] == '"') {
        string();
      } else if (text_[at_] == '-' || isDigit(text_[at_])) {
        number();
      } else {
        copy(1);
      }
    }
    return result_;
  }

  bool hasHugeNumber() const { return hasHugeNumber_; }

 private:
  static bool isDigit(char c) { return c >= '0' && c <= '9'; }

  void copy(std::size_t count) {
    result_ += text_.substr(at_, count);
    at_ += count;
  }

  // The code unit of "\uXXXX" at that place, or 0 when there is none; 0 itself needs no care.
  unsigned unitAt(std::size_t place) const {
    if (text_.substr(place, 2) != "\\u") {
      return 0;
    }
    return static_cast<unsigned>(std::stoul(std::string(text_.substr(place + 2, 4)), nullptr, 16));
  }

  void string() {
    copy(1);
    while (text_[at_] != '"') {
      const unsigned unit = unitAt(at_);
      if (unit >= 0xD800 && unit <= 0xDBFF) {
        const unsigned next = unitAt(at_ + 6);
        if (next >= 0xDC00 && next <= 0xDFFF) {
          copy(12);
          continue;
        }
      }
      if (unit >= 0xD800 && unit <= 0xDFFF) {
        result_ += "\\uFFFD";
        at_ += 6;
      } else {
        copy(text_[at_] == '\\' ? 2 : 1);
      }
    }
    copy(1);
  }

  void number() {
    const std::size_t first = result_.size();
    while (at_ < text_.size() &&
           std::string_view("+-.eE0123456789").find(text_[at_]) != std::string_view::npos) {
      const bool isBarePoint = text_[at_] == '.' && (at_ + 1 == text_.size() || !isDigit(text_[at_ + 1]));
      copy(1);
      if (isBarePoint) {
        result_ += '0';
      }
    }
    hasHugeNumber_ = hasHugeNumber_ || std::isinf(std::strtod(result_.c_str() + first, nullptr));
  }

  std::string_view text_;
  std::size_t at_ = 0;
  std::string result_;
  bool hasHugeNumber_ = false;
};

OtherJson nextElement(kx::json::Parser& parser) {
  switch (parser.next()) {
    case kx::json::ElementType::ObjectElement: {
      OtherJson object = OtherJson::object();
      parser.readObject(
          [&](std::string_view name) { object.emplace(std::string(name), nextElement(parser)); });
      return object;
    }
    case kx::json::ElementType::ArrayElement: {
      OtherJson array = OtherJson::array();
      parser.readArray([&] { array.push_back(nextElement(parser)); });
      return array;
    }
    case kx::json::ElementType::StringElement:
      return std::string(parser.readString());
    case kx::json::ElementType::NumberElement:
      return parser.readNumber();
    case kx::json::ElementType::BooleanElement:
      return parser.readBoolean();
    case kx::json::ElementType::NullElement:
      break;
  }
  parser.readNull();
  return nullptr;
}

}  // namespace

// By the table of well-formed sequences: shortest form, no surrogates, nothing above U+10FFFF.
bool isUtf8(std::string_view bytes) {
  for (std::size_t at = 0; at < bytes.size();) {
    const auto byte = [&](std::size_t place) -> unsigned {
      return place < bytes.size() ? static_cast<unsigned char>(bytes[place]) : 0;
    };
    const unsigned lead = byte(at);
    const std::size_t length = lead < 0x80                   ? 1
                               : lead >= 0xC2 && lead < 0xE0 ? 2
                               : lead >= 0xE0 && lead < 0xF0 ? 3
                               : lead >= 0xF0 && lead < 0xF5 ? 4
                                                             : 0;
    if (length == 0) {
      return false;
    }
    for (std::size_t i = 1; i < length; ++i) {
      if (byte(at + i) < 0x80 || byte(at + i) > 0xBF) {
        return false;
      }
    }
    const unsigned second = byte(at + 1);
    if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) ||
        (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F)) {
      return false;
    }
    at += length;
  }
  return true;
}

OtherReading readByOther(std::string_view text) {
  OtherReading reading;
  Rewriter rewriter(text);
  const std::string rewritten = rewriter.rewritten();
  reading.isNoUtf8 = !isUtf8(text);
  reading.hasHugeNumber = rewriter.hasHugeNumber();

  std::vector<std::set<std::string>> names;
  const auto look = [&](int, OtherJson::parse_event_t event, OtherJson& parsed) {
    if (event == OtherJson::parse_event_t::object_start) {
      names.emplace_back();
    } else if (event == OtherJson::parse_event_t::object_end) {
      names.pop_back();
    } else if (event == OtherJson::parse_event_t::key) {
      reading.namesOneTwice = !names.back().insert(parsed.get<std::string>()).second || reading.namesOneTwice;
    }
    return true;
  };
  OtherJson value = OtherJson::parse(rewritten, look, false);
  if (!value.is_discarded()) {
    reading.value = std::move(value);
  }
  return reading;
}

OtherJson readByOurs(std::string_view text) {
  kx::json::Parser parser(text);
  OtherJson value = nextElement(parser);
  parser.readEnd();
  return value;
}
