#include "json/elements.h"

#include <algorithm>

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
Object::Object(const Object& other)
    : members_(other.members_),
      isSorted_(other.isSorted_),
      positions_(other.positions_ ? std::make_unique<Positions>(*other.positions_) : nullptr) {}
Object::Object(Object&& other) noexcept = default;
Object& Object::operator=(const Object& other) {
  *this = Object(other);
  return *this;
}
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
  if (find(member.name) < members_.size()) {
    throw Exception("Object member already exists: " + member.name);
  }
  append(std::move(member));
}

UnknownElement& Object::operator[](const std::string& name) {
  const std::size_t position = find(name);
  if (position == members_.size()) {
    append({name, {}});
  }
  return members_[position].element;
}

bool Object::goesBehindAll(const std::string& name) const {
  return members_.empty() || members_.back().name < name;
}

std::size_t Object::find(const std::string& name) const {
  if (isSorted_) {
    if (goesBehindAll(name)) {
      return members_.size();
    }
    const auto place =
        std::lower_bound(members_.begin(), members_.end(), name,
                         [](const Member& member, const std::string& n) { return member.name < n; });
    return place->name == name ? static_cast<std::size_t>(place - members_.begin()) : members_.size();
  }
  if (positions_) {
    const auto found = positions_->find(name);
    return found != positions_->end() ? found->second : members_.size();
  }
  const auto found = std::find_if(members_.begin(), members_.end(),
                                  [&name](const Member& member) { return member.name == name; });
  return static_cast<std::size_t>(found - members_.begin());
}

void Object::append(Member member) {
  constexpr std::size_t kFewMembers = 16;
  isSorted_ = isSorted_ && goesBehindAll(member.name);
  members_.push_back(std::move(member));
  if (positions_) {
    positions_->emplace(members_.back().name, members_.size() - 1);
  } else if (!isSorted_ && members_.size() > kFewMembers) {
    positions_ = std::make_unique<Positions>();
    for (std::size_t i = 0; i < members_.size(); ++i) {
      positions_->emplace(members_[i].name, i);
    }
  }
}

UnknownElement::UnknownElement() = default;
UnknownElement::UnknownElement(Boolean element) : value_(element) {}
UnknownElement::UnknownElement(Number element) : value_(element) {}
UnknownElement::UnknownElement(String element) : value_(std::move(element)) {}
UnknownElement::UnknownElement(Array element) : value_(std::move(element)) {}
UnknownElement::UnknownElement(Object element) : value_(std::move(element)) {}

}  // namespace json
