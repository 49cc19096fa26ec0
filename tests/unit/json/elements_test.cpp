#include "json/elements.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <variant>

namespace kx {

namespace {

json::String text(const char* value) {
  return json::String(value);
}

std::string valueOf(const json::UnknownElement& element) {
  return std::get<json::String>(element.Held()).Value();
}

// The names and texts of an object whose members are texts, in their order.
std::string listOf(const json::Object& object) {
  std::string list;
  for (auto member = object.Begin(); member != object.End(); ++member) {
    list += member->name + "=" + valueOf(member->element) + ";";
  }
  return list;
}

TEST(JsonObject, MembersKeepTheOrderOfInsertionAndNamesAreComparedByteByByte) {
  json::Object object;
  EXPECT_TRUE(object.Empty());

  object["b"] = text("1");
  object["a"] = text("2");
  object["A"] = text("3");
  object[std::string("a\0", 2)] = text("4");
  object[""] = text("5");

  EXPECT_EQ(listOf(object), std::string("b=1;a=2;A=3;a\0=4;=5;", 20));
  EXPECT_FALSE(object.Empty());
}

TEST(JsonObject, AccessCreatesAMissingMemberAsNullBehindTheOthers) {
  json::Object object;
  object["a"] = text("1");

  EXPECT_TRUE(std::holds_alternative<json::Null>(object["b"].Held()));
  EXPECT_EQ((object.End() - 1)->name, "b");
}

TEST(JsonObject, AccessFindsEveryMemberInWhateverOrderTheyCame) {
  for (const std::string names : {"abc", "bac", "cba", "acb"}) {
    json::Object object;
    for (const char* value : {"old", "new"}) {
      for (const char name : names) {
        object[std::string(1, name)] = text(value);
      }
    }

    EXPECT_EQ(listOf(object), names.substr(0, 1) + "=new;" + names[1] + "=new;" + names[2] + "=new;");
  }
}

TEST(JsonObject, ACopyIsIndependent) {
  json::Object original;
  original["a"] = text("1");
  json::Object copy = original;
  json::Object moved = json::Object(copy);

  copy["a"] = text("2");
  moved["a"] = text("3");

  EXPECT_EQ(listOf(original) + listOf(copy) + listOf(moved), "a=1;a=2;a=3;");
}

}  // namespace

}  // namespace kx
