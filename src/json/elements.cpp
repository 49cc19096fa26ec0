#include "json/elements.h"

#include <algorithm>

namespace kx::json {

// The members that need the complete UnknownElement are defined here, since it holds objects itself.

Object::Object() = default;
Object::Object(const Object& other) = default;
Object::Object(Object&& other) noexcept = default;
Object& Object::operator=(const Object& other) = default;
Object& Object::operator=(Object&& other) noexcept = default;
Object::~Object() = default;

bool Object::Empty() const {
  return members_.empty();
}
Object::const_iterator Object::Begin() const {
  return members_.begin();
}
Object::const_iterator Object::End() const {
  return members_.end();
}

UnknownElement& Object::operator[](const std::string& name) {
  const bool goesBehindAll = members_.empty() || members_.back().name < name;
  if (!isSorted_ || !goesBehindAll) {
    const auto found = std::find_if(members_.begin(), members_.end(),
                                    [&name](const Member& member) { return member.name == name; });
    if (found != members_.end()) {
      return found->element;
    }
    isSorted_ = false;
  }
  members_.push_back({name, {}});
  return members_.back().element;
}

UnknownElement::UnknownElement() = default;
UnknownElement::UnknownElement(Boolean element) : value_(element) {}
UnknownElement::UnknownElement(String element) : value_(std::move(element)) {}
UnknownElement::UnknownElement(Object element) : value_(std::move(element)) {}

}  // namespace kx::json
