// Finds a second member of one name in an object. The names of all objects that are open lie in one stack,
// since objects close in the reverse order of their opening. A few are compared one after another; more get a
// table, so that the time for each stays the same however many there are. Names that were chosen to collide
// in the table are sorted instead.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <string_view>
#include <vector>

namespace kx::json {

// The names of one open object, on top of the stack while they are added to.
class MemberNames {
 public:
  explicit MemberNames(std::vector<std::string_view>& openNames)
      : openNames_(openNames), begin_(openNames.size()) {}
  MemberNames(const MemberNames&) = delete;
  MemberNames& operator=(const MemberNames&) = delete;
  ~MemberNames() { openNames_.resize(begin_); }

  // False when the object has a member of that name already. The name must outlive the object.
  bool add(std::string_view name) {
    const std::size_t count = openNames_.size() - begin_;
    const bool isNew = count < kFew ? isNewAmongFew(name) : addToMany(name);
    openNames_.push_back(name);
    return isNew;
  }

  // The collisions in the table so far. When there are many for each name, the table is given up and the
  // names are kept sorted.
  std::size_t collisions() const { return collisions_; }
  bool areSorted() const { return sorted_ != nullptr; }

 private:
  static constexpr std::size_t kFew = 16;
  // A name that was not chosen to collide has one or two.
  static constexpr std::size_t kCollisionsPerName = 16;

  // Where a name stands, counted from 1, and the beginning of its hash, which tells most names apart.
  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t position = 0;
  };

  bool isNewAmongFew(std::string_view name) const;
  bool addToMany(std::string_view name);
  bool addToTable(std::string_view name);
  void growTable();
  void place(const Slot& slot);
  void sortNames();

  std::vector<std::string_view>& openNames_;
  std::size_t begin_;
  // Open addressing, at most half full; its size is a power of two.
  std::vector<Slot> table_;
  std::size_t collisions_ = 0;
  std::unique_ptr<std::set<std::string_view>> sorted_;
};

}  // namespace kx::json
