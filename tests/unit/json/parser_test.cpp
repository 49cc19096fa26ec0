#include "json/parser.h"

#include "unit/json/reading.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace kx {

namespace {

TEST(JsonParser, TheParserReadsEveryKindOfElementInItsOrderWithWhitespaceBetweenAllTokens) {
  for (const char* text : {"null", "true", "false", "12", "[]", "{}"}) {
    EXPECT_EQ(read(text), text);
  }
  EXPECT_EQ(read(R"({"b":[1,"x",[],{}],"a":{"c":null,"":true}})"),
            "{'b': [1, 'x', [], {}], 'a': {'c': null, '': true}}");
  EXPECT_EQ(read(" \t\r\n{ \"a\"\t:\r1\n,\n\"b\" : [ 2 , 3 ] } \t\r\n"), "{'a': 1, 'b': [2, 3]}");
}

// ---- tokens in a wrong order ----

TEST(JsonParserOrder, ATokenInAWrongPlaceOrNoneAtAllIsReportedWithItsPlaces) {
  const std::pair<std::string, const char*> cases[] = {
      {"[1, 23", "Unexpected end of token stream @ 0/4/4 to 0/6/6"},
      {"{\n \"a\"", "Unexpected end of token stream @ 1/1/3 to 1/4/6"},
      {"{\"a\":  \n", "Unexpected end of token stream @ 0/4/4 to 0/5/5"},
      {"[", "Unexpected end of token stream @ 0/0/0 to 0/1/1"},
      {"[1,", "Unexpected end of token stream @ 0/2/2 to 0/3/3"},
      {"{", "Unexpected end of token stream @ 0/0/0 to 0/1/1"},
      {"{\"a\":1,", "Unexpected end of token stream @ 0/6/6 to 0/7/7"},
      {"", "Unexpected end of token stream @ 0/0/0 to 0/0/0"},
      {" \n ", "Unexpected end of token stream @ 0/0/0 to 0/0/0"},
      {"]", "Unexpected token: ] @ 0/0/0 to 0/1/1"},
      {"}", "Unexpected token: } @ 0/0/0 to 0/1/1"},
      {",", "Unexpected token: , @ 0/0/0 to 0/1/1"},
      {":", "Unexpected token: : @ 0/0/0 to 0/1/1"},
      {"[,1]", "Unexpected token: , @ 0/1/1 to 0/2/2"},
      {"[1,]", "Unexpected token: ] @ 0/3/3 to 0/4/4"},
      {"[1 2]", "Unexpected token: 2 @ 0/3/3 to 0/4/4"},
      {"[1}", "Unexpected token: } @ 0/2/2 to 0/3/3"},
      {"[1:2]", "Unexpected token: : @ 0/2/2 to 0/3/3"},
      {"{1:2}", "Unexpected token: 1 @ 0/1/1 to 0/2/2"},
      {"{true:2}", "Unexpected token: true @ 0/1/1 to 0/5/5"},
      {"{false:2}", "Unexpected token: false @ 0/1/1 to 0/6/6"},
      {"{null:2}", "Unexpected token: null @ 0/1/1 to 0/5/5"},
      {"{,}", "Unexpected token: , @ 0/1/1 to 0/2/2"},
      {R"({"a" 1})", "Unexpected token: 1 @ 0/5/5 to 0/6/6"},
      {R"({"a","b"})", "Unexpected token: , @ 0/4/4 to 0/5/5"},
      {R"({"a":})", "Unexpected token: } @ 0/5/5 to 0/6/6"},
      {R"({"a":1,})", "Unexpected token: } @ 0/7/7 to 0/8/8"},
      {R"({"a":1 "b":2})", "Unexpected token: b @ 0/7/7 to 0/10/10"},
      {R"({"a":1])", "Unexpected token: ] @ 0/6/6 to 0/7/7"},
      {"{}{}", "Expected End of token stream; found { @ 0/2/2 to 0/3/3"},
      {"[] null", "Expected End of token stream; found null @ 0/3/3 to 0/7/7"},
      {"1 \"x\"", "Expected End of token stream; found x @ 0/2/2 to 0/5/5"},
      {"[1\n\"a\nb\"]", "Unexpected token: a\nb @ 1/0/3 to 2/2/8"},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(readError(text), std::string("parse: ") + expected);
  }
  EXPECT_EQ(readObjectError(""), "parse: Unexpected end of token stream @ 0/0/0 to 0/0/0");
  EXPECT_EQ(readObjectError("{}\n]"), "parse: Expected End of token stream; found ] @ 1/0/3 to 1/1/4");
}

TEST(JsonParserOrder, AnObjectIsReadFromNothingElse) {
  EXPECT_EQ(readObjectError("[]"), "parse: Unexpected token: [ @ 0/0/0 to 0/1/1");
  EXPECT_EQ(readObjectError(" 5"), "parse: Unexpected token: 5 @ 0/1/1 to 0/2/2");
  EXPECT_EQ(readObjectError("\"x\""), "parse: Unexpected token: x @ 0/0/0 to 0/3/3");
  EXPECT_EQ(readObjectError("null"), "parse: Unexpected token: null @ 0/0/0 to 0/4/4");
  EXPECT_EQ(readObjectError("{}"), "none");
}

TEST(JsonParserOrder, ASecondMemberOfANameIsReportedAtThatName) {
  EXPECT_EQ(readError(R"({"a":1,"b":2,"a":3})"),
            "parse: Duplicate object member token: a @ 0/13/13 to 0/16/16");
  EXPECT_EQ(readError(R"({"a":1,"\u0061":3})"), "parse: Duplicate object member token: a @ 0/7/7 to 0/15/15");
  EXPECT_EQ(readError(R"({"":1,"":3})"), "parse: Duplicate object member token:  @ 0/6/6 to 0/8/8");
  EXPECT_EQ(readError(R"([{"x":{"a":1,"a":3}}])"),
            "parse: Duplicate object member token: a @ 0/13/13 to 0/16/16");
}

TEST(JsonParserOrder, ASecondMemberIsFoundAmongAnyNumberOfOthers) {
  for (int count = 1; count < 40; ++count) {
    std::string text = "{";
    for (int i = 0; i < count; ++i) {
      text += "\"" + std::to_string(i) + "\":0,";
    }
    for (const int repeated : {0, count / 2, count - 1}) {
      const std::string name = std::to_string(repeated);
      const std::string error = readError(text + "\"" + name + "\":0}");
      EXPECT_EQ(error.substr(0, error.find(" @")), "parse: Duplicate object member token: " + name);
    }
    EXPECT_EQ(readError(text + "\"x\":0}"), "none");
  }
}

TEST(JsonParserOrder, AnErrorInTheSecondMembersValueComesBeforeItsName) {
  EXPECT_EQ(readError(R"({"a":1,"a":,})"), "parse: Unexpected token: , @ 0/11/11 to 0/12/12");
}

TEST(JsonParserOrder, TheSameNameMayOccurInDifferentObjects) {
  EXPECT_EQ(read(R"({"a":{"a":1},"b":[{"a":2},{"a":3}],"A":4})"),
            "{'a': {'a': 1}, 'b': [{'a': 2}, {'a': 3}], 'A': 4}");
}

TEST(JsonParserOrder, ManyMembersAreReadInLinearTime) {
  // With a comparison of each name to each, these members would take hours.
  constexpr int kMembers = 400000;
  std::string text = "{";
  for (int i = 0; i < kMembers; ++i) {
    text += "\"member-" + std::to_string(i) + "\":0,";
  }
  const std::string last = std::to_string(text.size());

  EXPECT_EQ(readError(text + "\"end\":0}"), "none");
  EXPECT_EQ(readError(text + "\"member-0\":0}"),
            "parse: Duplicate object member token: member-0 @ 0/" + last + "/" + last + " to 0/" +
                std::to_string(text.size() + 10) + "/" + std::to_string(text.size() + 10));
}

// ---- nesting ----

std::string times(int count, const std::string& text) {
  std::string result;
  for (int i = 0; i < count; ++i) {
    result += text;
  }
  return result;
}

std::string nested(int depth, const std::string& open, const std::string& inside, const std::string& close) {
  return times(depth, open) + inside + times(depth, close);
}

TEST(JsonParserNesting, FiveHundredAndTwelveLevelsAreRead) {
  EXPECT_EQ(json::Parser::kMaxNesting, 512);
  EXPECT_EQ(read(nested(512, "[", "", "]")), nested(512, "[", "", "]"));
  EXPECT_EQ(readObjectError(nested(511, "{\"a\":", "{}", "}")), "none");
  EXPECT_EQ(readError(nested(256, "[{\"a\":", "1", "}]")), "none");
}

TEST(JsonParserNesting, OneLevelMoreIsReportedAtItsToken) {
  EXPECT_EQ(readError(nested(513, "[", "", "]")), "parse: Nesting too deep @ 0/512/512 to 0/513/513");
  EXPECT_EQ(readError(nested(512, "[", "{}", "]")), "parse: Nesting too deep @ 0/512/512 to 0/513/513");
  EXPECT_EQ(readObjectError(nested(513, "{\"a\":", "1", "}")),
            "parse: Nesting too deep @ 0/2560/2560 to 0/2561/2561");
}

TEST(JsonParserNesting, ContainersThatHaveClosedOrStandSideBySideDoNotCount) {
  const std::string siblings = "[]" + times(600, ",[],{}");
  const std::string deep = nested(511, "[", "", "]");

  EXPECT_EQ(readError("[" + deep + "," + siblings + "," + deep + "]"), "none");
  for (const int depth : {1, 2, 3}) {
    EXPECT_EQ(readError(nested(depth, "[", siblings, "]")), "none") << depth;
  }
}

TEST(JsonParserNesting, AHundredThousandLevelsDoNotOverflowTheStack) {
  EXPECT_EQ(readError(std::string(100000, '[')), "parse: Nesting too deep @ 0/512/512 to 0/513/513");
}

}  // namespace

}  // namespace kx
