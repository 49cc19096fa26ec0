// What requests are made of: objects that keep their members in the order of insertion, texts, booleans and
// null, and UnknownElement, which holds any one of them. Elements are plain values: copying copies the whole
// tree, and nothing is shared. Not synchronised; used by one thread at a time.
//
// The method names are those that JSON libraries of this interface use, so that one could take this module's
// place.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace kx::json {

class UnknownElement;
struct Member;

struct Null {};

// A text or a boolean.
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
using Boolean = Trivial<bool>;

class Object {
 public:
  using const_iterator = std::vector<Member>::const_iterator;

  Object();
  Object(const Object& other);
  Object(Object&& other) noexcept;
  Object& operator=(const Object& other);
  Object& operator=(Object&& other) noexcept;
  ~Object();

  bool Empty() const;

  // The member of that name; a missing one is created as null, behind the others. Names that come in
  // ascending order, as those of macro variables do, take the same time however many members there are.
  UnknownElement& operator[](const std::string& name);

  const_iterator Begin() const;
  const_iterator End() const;

 private:
  std::vector<Member> members_;
  bool isSorted_ = true;
};

// Holds one element of any type, null at first.
class UnknownElement {
 public:
  using Value = std::variant<Null, Boolean, String, Object>;

  UnknownElement();
  UnknownElement(Boolean element);  // NOLINT(google-explicit-constructor): an element is an unknown element
  UnknownElement(String element);   // NOLINT(google-explicit-constructor)
  UnknownElement(Object element);   // NOLINT(google-explicit-constructor)

  const Value& Held() const { return value_; }

 private:
  Value value_;
};

struct Member {
  std::string name;
  UnknownElement element;
};

}  // namespace kx::json
