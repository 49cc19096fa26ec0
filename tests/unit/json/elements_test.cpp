#include "json/elements.h"

#include "support/json_text.h"

#include <gtest/gtest.h>

#include <variant>

namespace {

json::String text(const char* value) {
  return json::String(value);
}

template <typename Element>
bool holds(const json::UnknownElement& element) {
  return std::holds_alternative<Element>(element.Held());
}

TEST(JsonElements, FreshElementsAreEmpty) {
  EXPECT_EQ(pictureOf(json::UnknownElement()), "null");
  EXPECT_EQ(json::String().Value(), "");
  EXPECT_EQ(json::Number().Value(), 0.0);
  EXPECT_EQ(json::Boolean().Value(), false);
  EXPECT_TRUE(json::Object().Empty());
  EXPECT_TRUE(json::Array().Empty());
}

TEST(JsonElements, AnUnknownElementHoldsWhatItWasMadeOf) {
  EXPECT_EQ(pictureOf(json::UnknownElement(text("a"))), "'a'");
  EXPECT_EQ(pictureOf(json::UnknownElement(json::Number(1.5))), "1.5");
  EXPECT_EQ(pictureOf(json::UnknownElement(json::Boolean(true))), "true");
  EXPECT_EQ(pictureOf(json::UnknownElement(json::Array())), "[]");
  EXPECT_EQ(pictureOf(json::UnknownElement(json::Object())), "{}");
}

TEST(JsonObject, MembersKeepTheOrderOfInsertion) {
  json::Object object;
  object["b"] = json::Number(1);
  object["a"] = json::Number(2);
  object.Insert({"0", json::Number(3)});

  EXPECT_EQ(pictureOf(object), "{'b': 1, 'a': 2, '0': 3}");
  EXPECT_EQ(object.Size(), 3U);
  EXPECT_FALSE(object.Empty());
}

TEST(JsonObject, AccessCreatesAMissingMemberAsNullBehindTheOthers) {
  json::Object object;
  object["a"] = json::Number(1);

  EXPECT_TRUE(holds<json::Null>(object["b"]));
  EXPECT_EQ(pictureOf(object), "{'a': 1, 'b': null}");
}

TEST(JsonObject, AccessFindsAMemberThatIsThere) {
  json::Object object;
  object["a"] = json::Number(1);
  object["b"] = json::Number(2);
  object["a"] = text("x");

  EXPECT_EQ(pictureOf(object), "{'a': 'x', 'b': 2}");
}

TEST(JsonObject, NamesAreComparedByteByByte) {
  json::Object object;
  object["a"] = json::Number(1);
  object["A"] = json::Number(2);
  object[std::string("a\0", 2)] = json::Number(3);
  object[""] = json::Number(4);

  EXPECT_EQ(object.Size(), 4U);
}

TEST(JsonObject, ASecondMemberOfANameIsRefusedAndChangesNothing) {
  json::Object object;
  object["a"] = json::Number(1);

  try {
    object.Insert({"a", json::Number(2)});
    FAIL() << "nothing was thrown";
  } catch (const json::Exception& e) {
    EXPECT_STREQ(e.what(), "Object member already exists: a");
  }
  EXPECT_EQ(pictureOf(object), "{'a': 1}");
}

TEST(JsonObject, ACopyIsIndependent) {
  json::Object original;
  original["a"] = json::Object();
  json::Object copy = original;

  static_cast<json::Object&>(copy["a"])["x"] = json::Number(1);
  copy["b"] = json::Number(2);

  EXPECT_EQ(pictureOf(original), "{'a': {}}");
  EXPECT_EQ(pictureOf(copy), "{'a': {'x': 1}, 'b': 2}");
}

TEST(JsonObject, AnAssignedOrMovedObjectStillFindsItsMembers) {
  json::Object original;
  original["a"] = json::Number(1);
  json::Object assigned;
  assigned["z"] = json::UnknownElement();
  assigned = original;
  json::Object moved = std::move(original);
  json::Object moveAssigned;
  moveAssigned = json::Object(moved);

  assigned["a"] = json::Number(2);
  moved["a"] = json::Number(3);
  moveAssigned["a"] = json::Number(4);

  EXPECT_EQ(pictureOf(assigned), "{'a': 2}");
  EXPECT_EQ(pictureOf(moved), "{'a': 3}");
  EXPECT_EQ(pictureOf(moveAssigned), "{'a': 4}");
}

// A larger object finds its members in another way than a small one.
json::Object largeObject(int size) {
  json::Object object;
  for (int i = 0; i < size; ++i) {
    object["m" + std::to_string(i)] = json::Number(i);
  }
  return object;
}

TEST(JsonObject, OfAnySizeFindsEveryMember) {
  for (int size = 0; size < 40; ++size) {
    json::Object object = largeObject(size);

    for (int i = 0; i < size; ++i) {
      EXPECT_EQ(pictureOf(object["m" + std::to_string(i)]), std::to_string(i));
      EXPECT_THROW(object.Insert({"m" + std::to_string(i), {}}), json::Exception);
    }
    EXPECT_EQ(object.Size(), static_cast<std::size_t>(size));
    EXPECT_EQ(pictureOf(object["new"]), "null");
    EXPECT_EQ(object.Size(), static_cast<std::size_t>(size) + 1);
  }
}

// Members whose names ascend are found in yet another way.
TEST(JsonObject, WithAscendingNamesFindsEveryMemberUntilOneGoesBetween) {
  for (int size = 1; size < 40; ++size) {
    json::Object object;
    const auto nameOf = [](int i) { return std::to_string(1000 + 10 * i); };
    for (int i = 0; i < size; ++i) {
      object[nameOf(i)] = json::Number(i);
    }

    const auto expectAll = [&] {
      for (int i = 0; i < size; ++i) {
        EXPECT_EQ(pictureOf(object[nameOf(i)]), std::to_string(i));
        EXPECT_THROW(object.Insert({nameOf(i), {}}), json::Exception);
      }
    };
    expectAll();
    EXPECT_EQ(object.Size(), static_cast<std::size_t>(size));
    object["1005"] = json::String("between");
    object["0"] = json::String("before");
    expectAll();
    EXPECT_EQ(pictureOf(object["1005"]), "'between'");
    EXPECT_EQ(pictureOf(object["0"]), "'before'");
    EXPECT_EQ(object.Size(), static_cast<std::size_t>(size) + 2);
  }
}

TEST(JsonObject, OfAnySizeIsCopiedAndMovedWithItsMembers) {
  for (const int size : {1, 16, 17, 40}) {
    json::Object original = largeObject(size);
    json::Object copy = original;
    json::Object assigned = largeObject(3);
    assigned = original;
    const json::Object& same = assigned;
    assigned = same;

    copy["m0"] = json::String("copy");
    copy["new"] = json::Boolean(true);
    assigned["m0"] = json::String("assigned");
    json::Object moved = std::move(copy);
    original["m0"] = json::String("original");

    EXPECT_EQ(pictureOf(original["m0"]), "'original'");
    EXPECT_EQ(pictureOf(assigned["m0"]), "'assigned'");
    EXPECT_EQ(pictureOf(moved["m0"]), "'copy'");
    EXPECT_EQ(pictureOf(moved["new"]), "true");
    EXPECT_EQ(original.Size(), static_cast<std::size_t>(size));
    EXPECT_EQ(assigned.Size(), static_cast<std::size_t>(size));
    EXPECT_EQ(moved.Size(), static_cast<std::size_t>(size) + 1);
  }
}

TEST(JsonArray, ItemsKeepTheirOrderAndMayRepeat) {
  json::Array array;
  array.Insert(text("b"));
  array.Insert(text("a"));
  array.Insert(text("b"));

  EXPECT_EQ(pictureOf(array), "['b', 'a', 'b']");
  EXPECT_EQ(array.Size(), 3U);
  EXPECT_FALSE(array.Empty());
}

TEST(JsonArray, ItemsCanBeChangedInPlace) {
  json::Array array;
  array.Insert(json::Number(1));

  *array.Begin() = text("x");

  EXPECT_EQ(pictureOf(array), "['x']");
  EXPECT_EQ(array.End() - array.Begin(), 1);
}

TEST(JsonArray, ACopyIsIndependent) {
  json::Array original;
  original.Insert(json::Number(1));
  json::Array copy = original;
  json::Array assigned;
  assigned = original;

  copy.Insert(json::Number(2));
  assigned.Insert(json::Number(3));

  EXPECT_EQ(pictureOf(original), "[1]");
  EXPECT_EQ(pictureOf(copy), "[1, 2]");
  EXPECT_EQ(pictureOf(assigned), "[1, 3]");
  EXPECT_EQ(pictureOf(json::Array(std::move(copy))), "[1, 2]");
}

TEST(JsonConversion, ToTheTypeThatIsHeldGivesWhatIsHeld) {
  json::UnknownElement element = text("a");

  json::String& held = element;
  held = text("b");

  EXPECT_EQ(pictureOf(element), "'b'");
}

TEST(JsonConversion, OfAnElementThatMayChangeReplacesAnotherTypeByAnEmptyOne) {
  json::UnknownElement element = text("a");

  EXPECT_EQ(pictureOf(static_cast<json::Number&>(element)), "0");
  EXPECT_TRUE(holds<json::Number>(element));
  EXPECT_EQ(pictureOf(static_cast<json::Boolean&>(element)), "false");
  EXPECT_TRUE(holds<json::Boolean>(element));
  EXPECT_EQ(pictureOf(static_cast<json::Array&>(element)), "[]");
  EXPECT_TRUE(holds<json::Array>(element));
  EXPECT_EQ(pictureOf(static_cast<json::Object&>(element)), "{}");
  EXPECT_TRUE(holds<json::Object>(element));
  EXPECT_EQ(pictureOf(static_cast<json::String&>(element)), "''");
  EXPECT_TRUE(holds<json::String>(element));
  EXPECT_EQ(pictureOf(static_cast<json::Null&>(element)), "null");
  EXPECT_TRUE(holds<json::Null>(element));
}

TEST(JsonConversion, OfAConstantElementToAnotherTypeThrows) {
  const json::UnknownElement element = text("a");

  EXPECT_EQ(static_cast<const json::String&>(element).Value(), "a");
  try {
    const json::Number& number = element;
    FAIL() << number.Value();
  } catch (const json::Exception& e) {
    EXPECT_STREQ(e.what(), "Bad cast");
  }
  EXPECT_EQ(pictureOf(element), "'a'");
}

TEST(JsonException, IsARuntimeError) {
  const json::Exception exception("text");

  EXPECT_STREQ(static_cast<const std::runtime_error&>(exception).what(), "text");
}

}  // namespace
