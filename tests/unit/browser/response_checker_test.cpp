#include "browser/response_checker.h"

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace kx {

namespace {

using State = ResponseChecker::State;

constexpr std::array<const char*, ResponseChecker::kStateCount> kStateNames = {
    "start", "ok", "object", "key",   "colon", "value",   "array",    "string", "escape", "u1",
    "u2",    "u3", "u4",     "minus", "zero",  "integer", "fraction", "e",      "ex",     "exp",
    "t",     "tr", "tru",    "f",     "fa",    "fal",     "fals",     "n",      "nu",     "nul",
};

std::string nameOf(State state) {
  return kStateNames[static_cast<std::size_t>(state)];
}

// The place of the first rejected byte, or nothing.
std::optional<std::size_t> rejectedAt(ResponseChecker& checker, std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!checker.feed(static_cast<unsigned char>(text[i]))) {
      return i;
    }
  }
  return std::nullopt;
}

// What becomes of a text, and for a rejected one the byte that does it.
std::string verdict(std::string_view text) {
  ResponseChecker checker;
  if (const std::optional<std::size_t> place = rejectedAt(checker, text)) {
    return "rejected at " + std::to_string(*place);
  }
  return checker.isComplete() ? "complete" : "incomplete";
}

// ---- every state and every byte ----

constexpr char kBlanks[] = " \t\n\r";
constexpr char kHexadecimal[] = "0123456789abcdefABCDEF";
constexpr char kDigits[] = "0123456789";
constexpr char kDigitsButZero[] = "123456789";

// All bytes that may stand in a text without ending it: from 32 up, but for quote and backslash.
std::string textBytes() {
  std::string bytes;
  for (int byte = 32; byte < 256; ++byte) {
    if (byte != '"' && byte != '\\') {
      bytes += static_cast<char>(byte);
    }
  }
  return bytes;
}

struct Step {
  std::string bytes;
  const char* next;
};

using Steps = std::vector<Step>;

// A place in a response: how to get there, the state there, and all the bytes that may follow.
struct Place {
  const char* prefix;
  const char* state;
  Steps steps;
};

const Steps kEndInObject = {{kBlanks, "ok"}, {"}", "ok"}, {",", "key"}};
const Steps kEndInArray = {{kBlanks, "ok"}, {"]", "ok"}, {",", "value"}};

Steps operator+(Steps left, const Steps& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

const Steps kValue = {
    {kBlanks, "value"}, {"{", "object"}, {"[", "array"}, {"\"", "string"}, {"-", "minus"},
    {"0", "zero"},      {"t", "t"},      {"f", "f"},     {"n", "n"},       {kDigitsButZero, "integer"}};
const Steps kText = {{textBytes(), "string"}, {"\\", "escape"}};
const Steps kEscape = {{"\"\\/bfnrt", "string"}, {"u", "u1"}};

std::vector<Place> places() {
  return {
      {"", "start", {{kBlanks, "start"}, {"{", "object"}, {"[", "array"}}},
      {" \t\r\n", "start", {{kBlanks, "start"}, {"{", "object"}, {"[", "array"}}},

      {"{}", "ok", {{kBlanks, "ok"}}},
      {"[]", "ok", {{kBlanks, "ok"}}},
      {"{\"a\":1}", "ok", {{kBlanks, "ok"}}},
      {"[[1 ", "ok", kEndInArray},
      {"[{}", "ok", kEndInArray},
      {"[{\"a\":1}", "ok", kEndInArray},
      {"{\"a\":1 ", "ok", kEndInObject},
      {"{\"a\":[]", "ok", kEndInObject},
      {"{\"a\":{}", "ok", kEndInObject},
      {"[\"a\"", "ok", kEndInArray},
      {"{\"a\":\"b\"", "ok", kEndInObject},
      {"[true", "ok", kEndInArray},
      {"{\"a\":false", "ok", kEndInObject},
      {"[null", "ok", kEndInArray},

      {"{", "object", {{kBlanks, "object"}, {"}", "ok"}, {"\"", "string"}}},
      {"[{ ", "object", {{kBlanks, "object"}, {"}", "ok"}, {"\"", "string"}}},

      {"{\"a\":1,", "key", {{kBlanks, "key"}, {"\"", "string"}}},
      {"[{\"a\":1 , ", "key", {{kBlanks, "key"}, {"\"", "string"}}},

      {"{\"a\"", "colon", {{kBlanks, "colon"}, {":", "value"}}},
      {"{\"a\":1,\"b\" ", "colon", {{kBlanks, "colon"}, {":", "value"}}},

      {"{\"a\":", "value", kValue},
      {"{\"a\": ", "value", kValue},
      {"[1,", "value", kValue},
      {"[1, ", "value", kValue},

      {"[", "array", Steps{{"]", "ok"}, {kBlanks, "array"}} + Steps(kValue.begin() + 1, kValue.end())},
      {"{\"a\":[ ", "array",
       Steps{{"]", "ok"}, {kBlanks, "array"}} + Steps(kValue.begin() + 1, kValue.end())},

      {"[\"", "string", Steps{{"\"", "ok"}} + kText},
      {"{\"", "string", Steps{{"\"", "colon"}} + kText},
      {"{\"a\":1,\"", "string", Steps{{"\"", "colon"}} + kText},
      {"{\"a\":\"", "string", Steps{{"\"", "ok"}} + kText},

      {"[\"\\", "escape", kEscape},
      {"{\"\\", "escape", kEscape},
      {"[\"\\u", "u1", {{kHexadecimal, "u2"}}},
      {"[\"\\u0", "u2", {{kHexadecimal, "u3"}}},
      {"[\"\\u0a", "u3", {{kHexadecimal, "u4"}}},
      {"[\"\\u0aF", "u4", {{kHexadecimal, "string"}}},

      {"[-", "minus", {{"0", "zero"}, {kDigitsButZero, "integer"}}},
      {"[0", "zero", Steps{{".", "fraction"}} + kEndInArray},
      {"[-0", "zero", Steps{{".", "fraction"}} + kEndInArray},
      {"{\"a\":0", "zero", Steps{{".", "fraction"}} + kEndInObject},
      {"[1", "integer", Steps{{".", "fraction"}, {"eE", "e"}, {kDigits, "integer"}} + kEndInArray},
      {"[-10", "integer", Steps{{".", "fraction"}, {"eE", "e"}, {kDigits, "integer"}} + kEndInArray},
      {"{\"a\":1", "integer", Steps{{".", "fraction"}, {"eE", "e"}, {kDigits, "integer"}} + kEndInObject},
      {"[1.", "fraction", Steps{{"eE", "e"}, {kDigits, "fraction"}} + kEndInArray},
      {"[0.5", "fraction", Steps{{"eE", "e"}, {kDigits, "fraction"}} + kEndInArray},
      {"{\"a\":1.", "fraction", Steps{{"eE", "e"}, {kDigits, "fraction"}} + kEndInObject},
      {"[1e", "e", {{"+-", "ex"}, {kDigits, "exp"}}},
      {"[1.E", "e", {{"+-", "ex"}, {kDigits, "exp"}}},
      {"[1e+", "ex", {{kDigits, "exp"}}},
      {"[1e-", "ex", {{kDigits, "exp"}}},
      {"[1e5", "exp", Steps{{kDigits, "exp"}} + kEndInArray},
      {"[1e+5", "exp", Steps{{kDigits, "exp"}} + kEndInArray},
      {"{\"a\":1e5", "exp", Steps{{kDigits, "exp"}} + kEndInObject},

      {"[t", "t", {{"r", "tr"}}},
      {"[tr", "tr", {{"u", "tru"}}},
      {"[tru", "tru", {{"e", "ok"}}},
      {"[f", "f", {{"a", "fa"}}},
      {"[fa", "fa", {{"l", "fal"}}},
      {"[fal", "fal", {{"s", "fals"}}},
      {"[fals", "fals", {{"e", "ok"}}},
      {"[n", "n", {{"u", "nu"}}},
      {"[nu", "nu", {{"l", "nul"}}},
      {"[nul", "nul", {{"l", "ok"}}},
  };
}

// The state that a byte leads to from a place, or "rejected".
std::string expectedState(const Place& place, char byte) {
  for (const Step& step : place.steps) {
    if (step.bytes.find(byte) != std::string::npos) {
      return step.next;
    }
  }
  return "rejected";
}

TEST(ResponseChecker, FromEveryPlaceEveryByteLeadsWhereTheGrammarSays) {
  for (const Place& place : places()) {
    SCOPED_TRACE(place.prefix);
    ResponseChecker atPlace;
    ASSERT_EQ(rejectedAt(atPlace, place.prefix), std::nullopt);
    ASSERT_EQ(nameOf(atPlace.state()), place.state);
    for (int byte = 0; byte < 256; ++byte) {
      ResponseChecker checker = atPlace;
      const bool isAccepted = checker.feed(static_cast<unsigned char>(byte));
      EXPECT_EQ(isAccepted ? nameOf(checker.state()) : "rejected",
                expectedState(place, static_cast<char>(byte)))
          << "byte " << byte;
    }
  }
}

TEST(ResponseChecker, ThePlacesCoverEveryState) {
  std::set<std::string> covered;
  for (const Place& place : places()) {
    covered.insert(place.state);
  }
  EXPECT_EQ(covered, std::set<std::string>(kStateNames.begin(), kStateNames.end()));
}

// ---- whole texts ----

TEST(ResponseChecker, AResponseIsCompleteWhenTheTopLevelContainerHasJustClosed) {
  for (const char* text :
       {"{}", " \t\r\n[]", "{ }", "[\n]", R"({"a":{"b":[]},"c":"x"})", "[[],{},[{}]]", R"({"":"","":2})",
        R"(["\"\\\/\b\f\n\r\t\u00e9"])", "[true,false,null]", "[0,-0,1,-1,10,1.5,0.5,1.,1.e5,0.e5,0.5e5]",
        "[1e5,1E5,1e+5,1e-5]", "[\"\x80\xC3\xA9\xFF\x7F\"]", "{}  "}) {
    EXPECT_EQ(verdict(text), "complete") << text;
  }
}

TEST(ResponseChecker, ABeginningOfAResponseIsIncomplete) {
  const std::string text = R"( {"a":[1,-2.5e+3,"x\u00e9\n",true],"b":{"c":null}})";
  for (std::size_t length = 0; length < text.size(); ++length) {
    EXPECT_EQ(verdict(std::string_view(text).substr(0, length)), "incomplete") << length;
  }
  EXPECT_EQ(verdict(text), "complete");
}

TEST(ResponseChecker, AskingChangesNothing) {
  ResponseChecker checker;
  EXPECT_FALSE(checker.isComplete());
  EXPECT_EQ(rejectedAt(checker, "[]"), std::nullopt);
  EXPECT_TRUE(checker.isComplete());
  EXPECT_TRUE(checker.isComplete());
  EXPECT_TRUE(checker.feed(' '));
  EXPECT_TRUE(checker.isComplete());
}

TEST(ResponseChecker, ContainersCloseInTheOrderTheyWereOpened) {
  EXPECT_EQ(verdict("[}"), "rejected at 1");
  EXPECT_EQ(verdict("{]"), "rejected at 1");
  EXPECT_EQ(verdict("[1}"), "rejected at 2");
  EXPECT_EQ(verdict(R"({"a":1])"), "rejected at 6");
  EXPECT_EQ(verdict(R"([{"a":[1}])"), "rejected at 8");
  EXPECT_EQ(verdict("[{]"), "rejected at 2");
}

// ---- in strides ----

// Where feeding ends, and in which state.
struct Progress {
  std::size_t accepted;
  State state;
  bool isComplete;

  friend bool operator==(const Progress&, const Progress&) = default;
};

Progress fedByteByByte(std::string_view text) {
  ResponseChecker checker;
  std::size_t accepted = 0;
  while (accepted < text.size() && !checker.isComplete() &&
         checker.feed(static_cast<unsigned char>(text[accepted]))) {
    ++accepted;
  }
  return {accepted, checker.state(), checker.isComplete()};
}

// Fed in two pieces.
Progress fedInStrides(std::string_view text, std::size_t split) {
  ResponseChecker checker;
  std::size_t accepted = checker.feedUntilComplete(text.substr(0, split));
  if (accepted == split && !checker.isComplete()) {
    accepted += checker.feedUntilComplete(text.substr(split));
  }
  return {accepted, checker.state(), checker.isComplete()};
}

// Whether the two agree wherever the text is split.
bool agree(std::string_view text) {
  const Progress expected = fedByteByByte(text);
  for (std::size_t split = 0; split <= text.size(); ++split) {
    if (fedInStrides(text, split) != expected) {
      return false;
    }
  }
  return true;
}

constexpr std::array<std::string_view, 7> kTexts = {
    R"({"name":"value","other":"x","list":["one","two","\u00e9\n","","three"],"o":{"a":"b"}} {)",
    R"([["aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa","b"],["c" , "d" ],{"e" : "f" , "g":1,"h":"i"}])",
    R"({"escapes":"\"\\\/\b\f\n\r\t\u0041\uABCDend \u12","x":-1.5e+3,"y":[true,false,null]})",
    R"(["no colon":"in a list","x"])",
    R"({"no","comma":"x"})",
    R"([0,10,-0.5,123456789012345,1.,1.e5,-2E+17,3e-1,0.25 , 7,1234567890123456789012,"x",8,[9],0])",
    "[1,\r\n        \"two\",\t\t\t  3  ,\n\n{  \"four\"  :  5  ,\n  \"six\":\n7}      ]      ",
};

TEST(ResponseCheckerInStrides, OneByteExchangedForAnyOtherIsRejectedWhereTheSingleBytesAre) {
  constexpr std::string_view kSplitEverywhere = "\"\\\n\x07{],:u0x\xE9 ";
  for (const std::string_view text : kTexts) {
    for (std::size_t place = 0; place < text.size(); ++place) {
      for (int byte = 0; byte < 256; ++byte) {
        std::string changed(text);
        changed[place] = static_cast<char>(byte);
        const bool isSplit = kSplitEverywhere.find(changed[place]) != std::string_view::npos;
        ASSERT_TRUE(isSplit ? agree(changed) : fedInStrides(changed, 0) == fedByteByByte(changed)) << changed;
      }
    }
  }
}

TEST(ResponseCheckerInStrides, BehindACompleteTextOneBlankIsTakenAndNothingElse) {
  ResponseChecker checker;
  EXPECT_EQ(checker.feedUntilComplete("{}"), 2U);

  EXPECT_EQ(checker.feedUntilComplete("  "), 1U);
  EXPECT_EQ(checker.feedUntilComplete("{}"), 0U);
}

// ---- nesting ----

std::string repeated(int count, const std::string& text) {
  std::string result;
  for (int i = 0; i < count; ++i) {
    result += text;
  }
  return result;
}

TEST(ResponseChecker, NineteenContainersMayBeOpenAtOnceAndTheTwentiethIsRejectedWhereItOpens) {
  EXPECT_EQ(verdict(repeated(19, "[") + repeated(19, "]")), "complete");
  EXPECT_EQ(verdict(repeated(18, R"({"a":)") + "{}" + repeated(18, "}")), "complete");
  EXPECT_EQ(verdict(repeated(9, R"([{"a":)") + "[1,2]" + repeated(9, "}]")), "complete");
  EXPECT_EQ(verdict(repeated(19, R"({"a":)") + "1" + repeated(19, R"(,"b":2})")), "complete");

  EXPECT_EQ(verdict(repeated(20, "[")), "rejected at 19");
  EXPECT_EQ(verdict(repeated(19, "[") + "{"), "rejected at 19");
  EXPECT_EQ(verdict(repeated(20, R"({"a":)")), "rejected at 95");
}

TEST(ResponseChecker, ContainersThatHaveClosedDoNotCountForTheDepth) {
  const std::string deep = repeated(18, "[") + repeated(18, "]");

  EXPECT_EQ(verdict("[" + repeated(50, deep + ",") + deep + "]"), "complete");
}

TEST(ResponseChecker, TheLimitCountsTheBottomOfTheStack) {
  for (const auto& [limit, text, place] :
       std::vector<std::tuple<int, const char*, std::optional<std::size_t>>>{
           {2, "[]", {}}, {2, R"({"a":1,"b":2})", {}}, {2, "[[", 1}, {1, "[", 0}}) {
    ResponseChecker checker(limit);
    EXPECT_EQ(rejectedAt(checker, text), place) << text;
    EXPECT_EQ(checker.isComplete(), !place);
  }
}

}  // namespace

}  // namespace kx
