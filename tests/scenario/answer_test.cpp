// What a host reads back after a play: extracts, performance entries, and answers of every size and shape.
#include "scenario/conversation.h"
#include "support/win32/log_file.h"

namespace {

class Answer : public Conversation {
 protected:
  // What the simulator generates: the alphabet, again and again.
  static std::string filled(std::size_t bytes) {
    std::string text(bytes, ' ');
    for (std::size_t i = 0; i < bytes; ++i) {
      text[i] = static_cast<char>('a' + i % 26);
    }
    return text;
  }

  SimulatedBrowser browser_;
};

TEST_F(Answer, ExtractsAreReadOneByOneAndAllTogether) {
  attach(browser_);

  ASSERT_EQ(play("extract one\nextract two\nextract three"), KX_OK);

  EXPECT_EQ(extract(0), "one[EXTRACT]two[EXTRACT]three");
  EXPECT_EQ(extract(-1), "one[EXTRACT]two[EXTRACT]three");
  EXPECT_EQ(extract(1), "one");
  EXPECT_EQ(extract(2), "two");
  EXPECT_EQ(extract(3), "three");
  EXPECT_EQ(dll_.kx_GetLastExtract(context_, nullptr, 0, 4), 0);
  EXPECT_EQ(dll_.kx_GetLastExtract(context_, nullptr, 0, -2), 0);
}

TEST_F(Answer, AnEmptyExtractCountsAsOne) {
  attach(browser_);

  ASSERT_EQ(play("extract one\nextract\nextract three"), KX_OK);

  EXPECT_EQ(extract(0), "one[EXTRACT][EXTRACT]three");
  EXPECT_EQ(dll_.kx_GetLastExtract(context_, nullptr, 0, 2), 0);
}

TEST_F(Answer, ExtractsMayHoldAnyCharacter) {
  browser_.script(
      R"(on play reply {"status":"\\u00fc","errorCode":1,"extractData":["\\"\\\\\\/\\b\\f\\n\\r\\t\\u20ac\\ud83d\\ude00\\ud83dx"]})");
  attach(browser_);

  ASSERT_EQ(play("x"), KX_OK);

  EXPECT_EQ(extract(1), "\"\\/\b\f\n\r\t\xe2\x82\xac\xf0\x9f\x98\x80\xef\xbf\xbdx");
  EXPECT_EQ(errorText(), "\xc3\xbc");
}

TEST_F(Answer, TheNextPlayForgetsTheExtractsOfTheLast) {
  attach(browser_);
  ASSERT_EQ(play("extract one\nperformance load 1"), KX_OK);

  ASSERT_EQ(play("extract two"), KX_OK);

  EXPECT_EQ(extract(0), "two");
  int nameSize = 0;
  int valueSize = 0;
  EXPECT_EQ(dll_.kx_GetLastPerformance(context_, 1, nullptr, &nameSize, nullptr, &valueSize), KX_FAILED);
}

TEST_F(Answer, AFailedMacroKeepsWhatItHadExtracted) {
  attach(browser_);

  ASSERT_EQ(play("extract one\nfail -50 no\nextract two"), KX_FAILED);

  EXPECT_EQ(extract(0), "one");
}

TEST_F(Answer, OtherAnswersAddTheirExtracts) {
  browser_.script("on show extract shown");
  attach(browser_);
  ASSERT_EQ(play("extract played"), KX_OK);

  ASSERT_EQ(dll_.kx_Display(context_, "hello", 30), KX_OK);

  EXPECT_EQ(extract(0), "played[EXTRACT]shown");
}

TEST_F(Answer, PerformanceEntriesAreReadByTheirNumbers) {
  attach(browser_);
  ASSERT_EQ(play("performance load 0.25\nperformance draw 17 ms"), KX_OK);
  char name[16] = "";
  char value[16] = "";
  int nameSize = sizeof(name);
  int valueSize = sizeof(value);

  EXPECT_EQ(dll_.kx_GetLastPerformance(context_, 1, name, &nameSize, value, &valueSize), KX_OK);
  EXPECT_STREQ(name, "load");
  EXPECT_STREQ(value, "0.25");
  EXPECT_EQ(dll_.kx_GetLastPerformance(context_, 2, name, &nameSize, value, &valueSize), KX_OK);
  EXPECT_STREQ(name, "draw");
  EXPECT_STREQ(value, "17 ms");
  EXPECT_EQ(nameSize, 16);
  EXPECT_EQ(valueSize, 16);
}

TEST_F(Answer, ThereIsNoPerformanceEntryBesideThose) {
  attach(browser_);
  ASSERT_EQ(play("performance load 0.25"), KX_OK);
  int nameSize = 7;
  int valueSize = 7;

  for (const int index : {0, 2, -1}) {
    EXPECT_EQ(dll_.kx_GetLastPerformance(context_, index, nullptr, &nameSize, nullptr, &valueSize), KX_FAILED)
        << index;
  }
  EXPECT_EQ(nameSize, 7);
  EXPECT_EQ(valueSize, 7);
}

TEST_F(Answer, TheSizesOfAPerformanceEntryAreAskedForFirst) {
  attach(browser_);
  ASSERT_EQ(play("performance load 0.25"), KX_OK);
  int nameSize = 0;
  int valueSize = 0;

  EXPECT_EQ(dll_.kx_GetLastPerformance(context_, 1, nullptr, &nameSize, nullptr, &valueSize), KX_OK);

  EXPECT_EQ(nameSize, 5);
  EXPECT_EQ(valueSize, 5);
}

TEST_F(Answer, AnAnswerOfAMegabyteIsReadWhole) {
  browser_.script("on play reply-size 1000000");
  attach(browser_);

  ASSERT_EQ(play(""), KX_OK);

  const std::string reply = browser_.reply(2);
  ASSERT_EQ(reply.size(), 1000000U);
  const std::size_t before = reply.find("[\"") + 2;
  EXPECT_TRUE(extract(1) == filled(reply.find("\"]") - before));
}

TEST_F(Answer, TenThousandExtractsAreReadWhole) {
  browser_.script("on play extract-table 10000 100");
  attach(browser_);

  ASSERT_EQ(play(""), KX_OK);

  EXPECT_EQ(extract(1), filled(100));
  EXPECT_EQ(extract(10000), filled(100));
  EXPECT_EQ(dll_.kx_GetLastExtract(context_, nullptr, 0, 10001), 0);
  EXPECT_EQ(dll_.kx_GetLastExtract(context_, nullptr, 0, 0), 10000 * 100 + 9999 * 9 + 1);
}

TEST_F(Answer, SixtyFourKilobytesOfProfilerDataAreReadWhole) {
  browser_.script("on play member profilerData \"" + filled(65536) + "\"");
  attach(browser_);

  ASSERT_EQ(play(""), KX_OK);

  EXPECT_TRUE(dll_.profilerData(context_) == filled(65536));
}

TEST_F(Answer, AnAnswerInSingleBytesIsReadAsOne) {
  const LogFile log;
  browser_.script("on play chunk 1");
  attach(browser_);

  ASSERT_EQ(play("extract one\nextract two"), KX_OK);

  EXPECT_EQ(extract(0), "one[EXTRACT]two");
  EXPECT_EQ(occurrences(log.text(), "Client: Read 1 bytes from communication pipe\n"),
            static_cast<int>(browser_.reply(2).size()));
}

TEST_F(Answer, AnAnswerIsReadInPiecesOfAtMostFourKilobytes) {
  const LogFile log;
  browser_.script("on play reply-size 10000");
  attach(browser_);

  ASSERT_EQ(play(""), KX_OK);

  EXPECT_EQ(occurrences(log.text(), "Client: Read 4096 bytes from communication pipe\n"), 2);
  EXPECT_EQ(occurrences(log.text(), "Client: Read 1808 bytes from communication pipe\n"), 1);
}

TEST_F(Answer, AnAnswerMayStopAnywhereAndGoOn) {
  const NamedEvent go;
  browser_.script("on play send 10");
  browser_.script("on play wait-event " + go.name());
  attach(browser_);
  const LogFile log;
  const LogSignal afterTheFirstPiece("Client: Read 10 bytes", 1, [&] { go.signal(); });

  EXPECT_EQ(play("extract x"), KX_OK);

  EXPECT_EQ(extract(), "x");
}

TEST_F(Answer, BlanksAroundAnAnswerAreNoMatter) {
  browser_.script(R"(on play prepend \x20\x09\x0d\x0a)");
  browser_.script(R"(on play append \x20\x09\x0d\x0a)");
  attach(browser_);

  EXPECT_EQ(play("extract one"), KX_OK);
  EXPECT_EQ(extract(), "one");
  EXPECT_EQ(play("extract two"), KX_OK);
  EXPECT_EQ(extract(), "two");
}

TEST_F(Answer, MembersMayComeInAnyOrderAmongUnknownOnes) {
  browser_.script(
      R"(on play reply {"x":[{"y":null}],"profilerData":"p","lastPerformance":[{"value":"v","name":"n"}],"extractData":["e"],"errorCode":1,"status":"s"})");
  attach(browser_);

  EXPECT_EQ(play(""), KX_OK);

  EXPECT_EQ(errorText(), "s");
  EXPECT_EQ(extract(), "e");
  EXPECT_EQ(dll_.profilerData(context_), "p");
}

TEST_F(Answer, AnEmptyAnswerReportsNothing) {
  browser_.script("on play reply {}");
  attach(browser_);

  EXPECT_EQ(play(""), KX_FAILED);

  EXPECT_EQ(errorNumber(), KX_ERROR_NONE);
  EXPECT_EQ(errorText(), "");
}

TEST_F(Answer, MembersOfOtherTypesCountAsEmpty) {
  browser_.script(
      R"(on play reply {"status":5,"errorCode":"1","extractData":[1,"two",null],"lastPerformance":[5,{"name":1}],"profilerData":{}})");
  attach(browser_);

  EXPECT_EQ(play(""), KX_FAILED);

  EXPECT_EQ(errorNumber(), KX_ERROR_NONE);
  EXPECT_EQ(errorText(), "");
  EXPECT_EQ(extract(0), "[EXTRACT]two[EXTRACT]");
  EXPECT_EQ(dll_.profilerData(context_), "");
  int nameSize = 0;
  int valueSize = 0;
  EXPECT_EQ(dll_.kx_GetLastPerformance(context_, 2, nullptr, &nameSize, nullptr, &valueSize), KX_OK);
  EXPECT_EQ(nameSize, 1);
}

struct NumberCase {
  const char* name;
  const char* json;
  int errorNumber;
};

class AnswerNumber : public Answer, public ::testing::WithParamInterface<NumberCase> {};

TEST_P(AnswerNumber, IsCutTowardsZero) {
  browser_.script(std::string("on play reply {\"errorCode\":") + GetParam().json + "}");
  attach(browser_);

  static_cast<void>(play(""));

  EXPECT_EQ(errorNumber(), GetParam().errorNumber);
}

INSTANTIATE_TEST_SUITE_P(Numbers, AnswerNumber,
                         ::testing::Values(NumberCase{"Fraction", "2.9", -2},
                                           NumberCase{"NegativeFraction", "-1.5", -1},
                                           NumberCase{"JustSuccess", "1.999", 1},
                                           NumberCase{"AlmostSuccess", "0.999", 0},
                                           NumberCase{"Exponent", "5e1", -50},
                                           NumberCase{"BeyondTheRange", "-1e10", -2147483647 - 1}),
                         [](const auto& tested) { return tested.param.name; });

}  // namespace
