#include "json/elements.h"

namespace json {

// The members that need the complete UnknownElement are defined here, since it holds arrays and objects
// itself.

Array::Array() = default;
Array::Array(const Array& other) = default;
Array::Array(Array&& other) noexcept = default;
Array& Array::operator=(const Array& other) = default;
Array& Array::operator=(Array&& other) noexcept = default;
Array::~Array() = default;

std::size_t Array::Size() const {
  return elements_.size();
}
bool Array::Empty() const {
  return elements_.empty();
}
void Array::Insert(UnknownElement element) {
  elements_.push_back(std::move(element));
}
Array::iterator Array::Begin() {
  return elements_.begin();
}
Array::iterator Array::End() {
  return elements_.end();
}
Array::const_iterator Array::Begin() const {
  return elements_.begin();
}
Array::const_iterator Array::End() const {
  return elements_.end();
}

Object::Object() = default;
Object::Object(const Object& other) = default;
Object::Object(Object&& other) noexcept = default;
Object& Object::operator=(const Object& other) = default;
Object& Object::operator=(Object&& other) noexcept = default;
Object::~Object() = default;

std::size_t Object::Size() const {
  return members_.size();
}
bool Object::Empty() const {
  return members_.empty();
}
Object::const_iterator Object::Begin() const {
  return members_.begin();
}
Object::const_iterator Object::End() const {
  return members_.end();
}

void Object::Insert(Member member) {
  if (!positions_.try_emplace(member.name, members_.size()).second) {
    throw Exception("Object member already exists: " + member.name);
  }
  members_.push_back(std::move(member));
}

UnknownElement& Object::operator[](const std::string& name) {
  const auto [position, isNew] = positions_.try_emplace(name, members_.size());
  if (isNew) {
    members_.push_back({name, {}});
  }
  return members_[position->second].element;
}

UnknownElement::UnknownElement() = default;
UnknownElement::UnknownElement(Boolean element) : value_(element) {}
UnknownElement::UnknownElement(Number element) : value_(element) {}
UnknownElement::UnknownElement(String element) : value_(std::move(element)) {}
UnknownElement::UnknownElement(Array element) : value_(std::move(element)) {}
UnknownElement::UnknownElement(Object element) : value_(std::move(element)) {}

}  // namespace json
