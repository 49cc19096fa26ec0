// The JSON document model: objects that keep their members in the order of insertion, arrays, texts, numbers,
// booleans, null, and UnknownElement, which holds any one of them. Elements are plain values: copying copies
// the whole tree, and nothing is shared. Not synchronised; used by one thread at a time.
//
// The method names are those that JSON libraries of this interface use, so that one could take this module's
// place.
#pragma once

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

namespace json {

class UnknownElement;
struct Member;

// The base of all errors of this module.
class Exception : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Null {};

// A text, a number or a boolean.
template <typename T>
class Trivial {
 public:
  Trivial() = default;
  explicit Trivial(T value) : value_(std::move(value)) {}

  const T& Value() const { return value_; }

 private:
  T value_{};
};

using String = Trivial<std::string>;
using Number = Trivial<double>;
using Boolean = Trivial<bool>;

class Array {
 public:
  using iterator = std::vector<UnknownElement>::iterator;
  using const_iterator = std::vector<UnknownElement>::const_iterator;

  Array();
  Array(const Array& other);
  Array(Array&& other) noexcept;
  Array& operator=(const Array& other);
  Array& operator=(Array&& other) noexcept;
  ~Array();

  std::size_t Size() const;
  bool Empty() const;
  void Insert(UnknownElement element);

  iterator Begin();
  iterator End();
  const_iterator Begin() const;
  const_iterator End() const;

 private:
  std::vector<UnknownElement> elements_;
};

class Object {
 public:
  using const_iterator = std::vector<Member>::const_iterator;

  Object();
  Object(const Object& other);
  Object(Object&& other) noexcept;
  Object& operator=(const Object& other);
  Object& operator=(Object&& other) noexcept;
  ~Object();

  std::size_t Size() const;
  bool Empty() const;

  // Appends a member. Throws Exception, with nothing changed, when there is a member of that name. Takes the
  // same time however many members there are.
  void Insert(Member member);

  // The member of that name; a missing one is created as null, behind the others.
  UnknownElement& operator[](const std::string& name);

  const_iterator Begin() const;
  const_iterator End() const;

 private:
  using Positions = std::unordered_map<std::string, std::size_t>;

  // The position of a member, or the number of members when there is none of that name.
  std::size_t find(const std::string& name) const;
  void append(Member member);
  bool goesBehindAll(const std::string& name) const;

  std::vector<Member> members_;
  // Whether the names ascend, as those of macro variables do: then they are their own table.
  bool isSorted_ = true;
  // Where each name stands. Made only once there are too many members to look at one after another.
  std::unique_ptr<Positions> positions_;
};

// Holds one element of any type, null at first. The non-const conversion to a type replaces an element of
// another type by an empty one of the wanted type; the const conversion throws Exception instead.
class UnknownElement {
 public:
  using Value = std::variant<Null, Boolean, Number, String, Array, Object>;

  UnknownElement();
  UnknownElement(Boolean element);  // NOLINT(google-explicit-constructor): an element is an unknown element
  UnknownElement(Number element);   // NOLINT(google-explicit-constructor)
  UnknownElement(String element);   // NOLINT(google-explicit-constructor)
  UnknownElement(Array element);    // NOLINT(google-explicit-constructor)
  UnknownElement(Object element);   // NOLINT(google-explicit-constructor)

  template <typename Element>
  requires std::is_constructible_v<Value, std::in_place_type_t<Element>>
  operator Element&() {  // NOLINT(google-explicit-constructor): `json::String& text = element;`
    Element* held = std::get_if<Element>(&value_);
    return held != nullptr ? *held : value_.template emplace<Element>();
  }

  template <typename Element>
  requires std::is_constructible_v<Value, std::in_place_type_t<Element>>
  operator const Element&() const {  // NOLINT(google-explicit-constructor)
    const Element* held = std::get_if<Element>(&value_);
    if (held == nullptr) {
      throw Exception("Bad cast");
    }
    return *held;
  }

  const Value& Held() const { return value_; }

 private:
  Value value_;
};

struct Member {
  std::string name;
  UnknownElement element;
};

}  // namespace json
