#include "json/member_names.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kx {

namespace {

using json::MemberNames;

constexpr std::size_t kMany = 100000;

std::vector<std::string> numberedNames(std::size_t count, const std::string& behind = "") {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < count; ++i) {
    names.push_back("name" + std::to_string(i) + behind);
  }
  return names;
}

// Names of one hash: of each sixteen bytes the last bit of the first eight is taken back by two bits of the
// second eight.
std::vector<std::string> collidingNames(std::size_t count) {
  constexpr std::size_t kBits = 17;
  std::vector<std::string> names;
  for (std::size_t i = 0; i < count; ++i) {
    std::string name(16 * kBits, 'a');
    for (std::size_t bit = 0; bit < kBits; ++bit) {
      if ((i >> bit & 1U) != 0) {
        name[16 * bit + 7] = '\xE1';
        name[16 * bit + 8] = 'q';
        name[16 * bit + 12] = 'q';
      }
    }
    names.push_back(name);
  }
  return names;
}

// How many of the names were new.
std::size_t addAll(MemberNames& names, const std::vector<std::string>& added) {
  std::size_t count = 0;
  for (const std::string& name : added) {
    if (names.add(name)) {
      ++count;
    }
  }
  return count;
}

TEST(MemberNames, ASecondOneIsFoundHoweverManyThereAre) {
  for (const std::size_t count : {1U, 15U, 16U, 17U, 31U, 32U, 33U, 127U, 128U, 129U, 2000U}) {
    const std::vector<std::string> all = numberedNames(count);
    for (const std::size_t twice : {std::size_t{0}, count / 2, count - 1}) {
      std::vector<std::string_view> stack;
      MemberNames names(stack);

      EXPECT_EQ(addAll(names, all), count);
      EXPECT_FALSE(names.add(all[twice])) << twice << " of " << count;
      EXPECT_TRUE(names.add("another"));
    }
  }
}

TEST(MemberNames, EveryByteTellsNamesApart) {
  for (std::size_t length = 0; length <= 24; ++length) {
    std::vector<std::string> all = numberedNames(40);
    all.emplace_back(length, 'x');
    for (std::size_t place = 0; place < length; ++place) {
      all.emplace_back(length, 'x');
      all.back()[place] = 'y';
    }
    std::vector<std::string_view> stack;
    MemberNames names(stack);

    EXPECT_EQ(addAll(names, all), all.size());
    EXPECT_EQ(addAll(names, all), 0U);
  }
}

TEST(MemberNames, ThoseOfAnInnerObjectAreItsOwnAndGoWithIt) {
  std::vector<std::string_view> stack;
  MemberNames outer(stack);
  const std::vector<std::string> all = numberedNames(100);
  EXPECT_EQ(addAll(outer, all), all.size());
  {
    MemberNames inner(stack);
    EXPECT_EQ(addAll(inner, all), all.size());
    EXPECT_EQ(stack.size(), 200U);
  }
  EXPECT_EQ(stack.size(), 100U);
  EXPECT_EQ(addAll(outer, all), 0U);
}

TEST(MemberNames, AreLookedUpInAHashTableWhileFewOfThemCollide) {
  for (const char* behind : {"", " and some words behind it"}) {
    std::vector<std::string_view> stack;
    MemberNames names(stack);
    const std::vector<std::string> all = numberedNames(kMany, behind);

    EXPECT_EQ(addAll(names, all), kMany);

    EXPECT_FALSE(names.areSorted());
    EXPECT_LT(names.collisions(), 2 * kMany);
  }
}

TEST(MemberNames, OfOneHashAreSortedAfterFewCollisions) {
  std::vector<std::string_view> stack;
  MemberNames names(stack);
  const std::vector<std::string> all = collidingNames(kMany);

  EXPECT_EQ(addAll(names, all), kMany);

  EXPECT_TRUE(names.areSorted());
  EXPECT_LT(names.collisions(), 1000U);
  EXPECT_EQ(addAll(names, all), 0U);
  EXPECT_TRUE(names.add("another"));
}

TEST(MemberNames, OfOneHashAreToldApart) {
  const std::vector<std::string> all = collidingNames(200);
  for (std::size_t count = 1; count < all.size(); ++count) {
    std::vector<std::string_view> stack;
    MemberNames names(stack);
    for (std::size_t i = 0; i < count; ++i) {
      ASSERT_TRUE(names.add(all[i])) << i;
    }
    ASSERT_FALSE(names.add(all[count / 2])) << count;
    ASSERT_TRUE(names.add(all[count])) << count;
  }
}

}  // namespace

}  // namespace kx
