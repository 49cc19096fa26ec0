#include "json/member_names.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace json {

namespace {

constexpr std::size_t kFirstTableSize = 64;

std::uint32_t hashOf(std::string_view name) {
  return static_cast<std::uint32_t>(std::hash<std::string_view>()(name));
}

}  // namespace

bool MemberNames::isNewAmongFew(std::string_view name) const {
  const auto begin = openNames_.begin() + static_cast<std::ptrdiff_t>(begin_);
  return std::find(begin, openNames_.end(), name) == openNames_.end();
}

bool MemberNames::addToTable(std::string_view name) {
  const std::size_t count = openNames_.size() - begin_;
  if (table_.empty()) {
    table_.resize(kFirstTableSize);
    for (std::size_t i = 0; i < count; ++i) {
      place({hashOf(openNames_[begin_ + i]), static_cast<std::uint32_t>(i + 1)});
    }
  } else if (2 * count >= table_.size()) {
    growTable();
  }
  const std::uint32_t hash = hashOf(name);
  std::size_t i = hash & (table_.size() - 1);
  while (table_[i].position != 0) {
    if (table_[i].hash == hash && openNames_[begin_ + table_[i].position - 1] == name) {
      return false;
    }
    i = (i + 1) & (table_.size() - 1);
  }
  table_[i] = {hash, static_cast<std::uint32_t>(count + 1)};
  return true;
}

void MemberNames::growTable() {
  const std::vector<Slot> old = std::exchange(table_, std::vector<Slot>(4 * table_.size()));
  for (const Slot& slot : old) {
    if (slot.position != 0) {
      place(slot);
    }
  }
}

void MemberNames::place(const Slot& slot) {
  std::size_t i = slot.hash & (table_.size() - 1);
  while (table_[i].position != 0) {
    i = (i + 1) & (table_.size() - 1);
  }
  table_[i] = slot;
}

}  // namespace json
