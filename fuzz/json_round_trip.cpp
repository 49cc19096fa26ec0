// What was read and written again reads back as the same element, and its text is then the same to the byte.
#include "fuzz/property.h"
#include "json/reader.h"
#include "json/writer.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <sstream>
#include <string>
#include <variant>

namespace {

// Member names are written without escapes and numbers beyond a double's range have no digits: such elements
// are not meant to be read back.
class Readable {
 public:
  bool operator()(const json::UnknownElement& element) const { return std::visit(*this, element.Held()); }
  bool operator()(const json::Null&) const { return true; }
  bool operator()(const json::Boolean&) const { return true; }
  bool operator()(const json::String&) const { return true; }
  bool operator()(const json::Number& number) const { return std::isfinite(number.Value()); }
  bool operator()(const json::Array& array) const {
    return std::all_of(array.Begin(), array.End(), [this](const auto& element) { return (*this)(element); });
  }
  bool operator()(const json::Object& object) const {
    return std::all_of(object.Begin(), object.End(), [this](const json::Member& member) {
      return member.name.find_first_of("\"\\") == std::string::npos && (*this)(member.element);
    });
  }
};

class Same {
 public:
  bool operator()(const json::UnknownElement& one, const json::UnknownElement& other) const {
    return std::visit(*this, one.Held(), other.Held());
  }
  bool operator()(const json::Null&, const json::Null&) const { return true; }
  template <typename Value>
  bool operator()(const json::Trivial<Value>& one, const json::Trivial<Value>& other) const {
    return one.Value() == other.Value();
  }
  bool operator()(const json::Array& one, const json::Array& other) const {
    return std::equal(one.Begin(), one.End(), other.Begin(), other.End(), *this);
  }
  bool operator()(const json::Object& one, const json::Object& other) const {
    return std::equal(one.Begin(), one.End(), other.Begin(), other.End(), *this);
  }
  bool operator()(const json::Member& one, const json::Member& other) const {
    return one.name == other.name && (*this)(one.element, other.element);
  }
  template <typename One, typename Other>
  bool operator()(const One&, const Other&) const {
    return false;
  }
};

std::string written(const json::UnknownElement& element) {
  std::ostringstream stream;
  json::Writer::Write(element, stream);
  return stream.str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  json::UnknownElement element;
  try {
    std::istringstream stream(std::string(reinterpret_cast<const char*>(data), size));
    json::Reader::Read(element, stream);
  } catch (const json::Exception&) {
    return 0;
  }
  if (!Readable()(element)) {
    return 0;
  }

  const std::string text = written(element);
  json::UnknownElement again;
  try {
    std::istringstream stream(text);
    json::Reader::Read(again, stream);
  } catch (const json::Exception&) {
    FUZZ_PROPERTY(false, "written text can be read");
  }
  FUZZ_PROPERTY(Same()(element, again), "written text reads back equal");
  FUZZ_PROPERTY(written(again) == text, "writing again gives the same bytes");
  return 0;
}
