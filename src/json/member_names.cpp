#include "json/member_names.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

namespace kx::json {

namespace {

constexpr std::size_t kFirstTableSize = 64;

// Every byte counts, eight at a time.
std::uint32_t hashOf(std::string_view name) {
  constexpr std::uint64_t kOdd = 0x9E3779B97F4A7C15;
  constexpr std::size_t kStep = sizeof(std::uint64_t);
  std::uint64_t hash = name.size();
  const auto mix = [&hash](std::uint64_t bytes) {
    hash = (std::rotl(hash, 5) ^ bytes) * kOdd;
    hash ^= hash >> 32U;
  };
  while (name.size() >= kStep) {
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, name.data(), kStep);
    mix(bytes);
    name.remove_prefix(kStep);
  }
  std::uint64_t rest = 0;
  for (const char c : name) {
    rest = (rest << 8U) | static_cast<unsigned char>(c);
  }
  mix(rest);
  return static_cast<std::uint32_t>(hash);
}

}  // namespace

bool MemberNames::isNewAmongFew(std::string_view name) const {
  const auto begin = openNames_.begin() + static_cast<std::ptrdiff_t>(begin_);
  return std::find(begin, openNames_.end(), name) == openNames_.end();
}

bool MemberNames::addToMany(std::string_view name) {
  if (sorted_ == nullptr && collisions_ > kCollisionsPerName * (openNames_.size() - begin_)) {
    sortNames();
  }
  return sorted_ != nullptr ? sorted_->insert(name).second : addToTable(name);
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
    ++collisions_;
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

void MemberNames::sortNames() {
  const auto begin = openNames_.begin() + static_cast<std::ptrdiff_t>(begin_);
  sorted_ = std::make_unique<std::set<std::string_view>>(begin, openNames_.end());
  table_ = {};
}

void MemberNames::place(const Slot& slot) {
  std::size_t i = slot.hash & (table_.size() - 1);
  while (table_[i].position != 0) {
    i = (i + 1) & (table_.size() - 1);
  }
  table_[i] = slot;
}

}  // namespace kx::json
