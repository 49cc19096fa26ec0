// Finds a second member of one name in an object. The names of all objects that are open lie in one stack,
// since objects close in the reverse order of their opening. A few are compared one after another; more get a
// table, so that the time for each stays the same however many there are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace json {

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
    const bool isNew = count < kFew ? isNewAmongFew(name) : addToTable(name);
    openNames_.push_back(name);
    return isNew;
  }

 private:
  static constexpr std::size_t kFew = 16;

  // Where a name stands, counted from 1, and the beginning of its hash, which tells most names apart.
  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t position = 0;
  };

  bool isNewAmongFew(std::string_view name) const;
  bool addToTable(std::string_view name);
  void growTable();
  void place(const Slot& slot);

  std::vector<std::string_view>& openNames_;
  std::size_t begin_;
  // Open addressing, at most half full; its size is a power of two.
  std::vector<Slot> table_;
};

}  // namespace json
