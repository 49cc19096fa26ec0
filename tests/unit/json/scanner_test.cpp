#include "json/scanner.h"

#include "unit/json/reading.h"

#include <gtest/gtest.h>

namespace kx {

namespace {

// ---- texts ----

TEST(JsonText, TheEightShortEscapesAreRead) {
  EXPECT_EQ(read(R"("\"\\\/\b\f\n\r\t")"), "'\"\\/\b\f\n\r\t'");
}

TEST(JsonText, EveryByteButQuoteAndBackslashPassesAsItIs) {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) {
    if (byte != '"' && byte != '\\') {
      bytes += static_cast<char>(byte);
    }
  }

  EXPECT_EQ(read("\"" + bytes + "\""), "'" + bytes + "'");
}

TEST(JsonText, ACodePointBecomesUtf8OfItsLength) {
  EXPECT_EQ(read(R"("\u0000")"), std::string("'\0'", 3));
  EXPECT_EQ(read(R"("\u0041\u007F")"), "'A\x7F'");
  EXPECT_EQ(read(R"("\u0080\u00e9\u07ff")"), "'\xC2\x80\xC3\xA9\xDF\xBF'");
  EXPECT_EQ(read(R"("\u0800\u20AC\uD7FF")"), "'\xE0\xA0\x80\xE2\x82\xAC\xED\x9F\xBF'");
  EXPECT_EQ(read(R"("\uE000\uFFFD\uFFFF")"), "'\xEE\x80\x80\xEF\xBF\xBD\xEF\xBF\xBF'");
}

TEST(JsonText, HexadecimalDigitsMayHaveEitherCase) {
  EXPECT_EQ(read(R"("\uabcd\uABCD\uEf01")"), "'\xEA\xAF\x8D\xEA\xAF\x8D\xEE\xBC\x81'");
}

TEST(JsonText, APairOfSurrogatesIsOneCharacter) {
  EXPECT_EQ(read(R"("\uD800\uDC00")"), "'\xF0\x90\x80\x80'");
  EXPECT_EQ(read(R"("\uD83D\uDE00")"), "'\xF0\x9F\x98\x80'");
  EXPECT_EQ(read(R"("\uDBFF\uDFFF")"), "'\xF4\x8F\xBF\xBF'");
}

TEST(JsonText, ALoneSurrogateIsTheReplacementCharacter) {
  const std::string replacement = "\xEF\xBF\xBD";

  EXPECT_EQ(read(R"("\uD800")"), "'" + replacement + "'");
  EXPECT_EQ(read(R"("\uDBFFx")"), "'" + replacement + "x'");
  EXPECT_EQ(read(R"("\uDC00")"), "'" + replacement + "'");
  EXPECT_EQ(read(R"("\uDFFF\uD800")"), "'" + replacement + replacement + "'");
  EXPECT_EQ(read(R"("\uD800\n")"), "'" + replacement + "\n'");
  EXPECT_EQ(read(R"("\uD800\u0041")"), "'" + replacement + "A'");
  EXPECT_EQ(read(R"("\uD800\uE000")"), "'" + replacement + "\xEE\x80\x80'");
  EXPECT_EQ(read(R"("\uD800\uDBFF")"), "'" + replacement + replacement + "'");
}

TEST(JsonText, AHighSurrogateBeforeAPairDoesNotSpoilThePair) {
  EXPECT_EQ(read(R"("\uD800\uD83D\uDE00")"), "'\xEF\xBF\xBD\xF0\x9F\x98\x80'");
}

// ---- what is no token ----

TEST(JsonScan, OtherBlanksAreNoTokens) {
  EXPECT_EQ(readError("[1,\v2]"), "scan: Unexpected character in stream: \v @ 0/3/3");
  EXPECT_EQ(readError("\xC2\xA0"), "scan: Unexpected character in stream: \xC2 @ 0/0/0");
  EXPECT_EQ(readError("\xEF\xBB\xBF{}"), "scan: Unexpected character in stream: \xEF @ 0/0/0");
}

TEST(JsonScan, ACharacterThatBeginsNoTokenIsNamed) {
  EXPECT_EQ(readError("?"), "scan: Unexpected character in stream: ? @ 0/0/0");
  EXPECT_EQ(readError("[1, +2]"), "scan: Unexpected character in stream: + @ 0/4/4");
  EXPECT_EQ(readError("[.5]"), "scan: Unexpected character in stream: . @ 0/1/1");
  EXPECT_EQ(readError("{'a':1}"), "scan: Unexpected character in stream: ' @ 0/1/1");
  EXPECT_EQ(readError("[e]"), "scan: Unexpected character in stream: e @ 0/1/1");
  EXPECT_EQ(readError("[1/2]"), "scan: Unexpected character in stream: / @ 0/2/2");
  EXPECT_EQ(readError("[True]"), "scan: Unexpected character in stream: T @ 0/1/1");
}

TEST(JsonScan, AWordThatIsNotWhatItBeganAsIsReportedAtTheByteThatDiffers) {
  EXPECT_EQ(readError("[trux]"), "scan: Expected string: true @ 0/4/4");
  EXPECT_EQ(readError("[fAlse]"), "scan: Expected string: false @ 0/2/2");
  EXPECT_EQ(readError("[nil]"), "scan: Expected string: null @ 0/2/2");
  EXPECT_EQ(readError("tru"), "scan: Expected string: true @ 0/3/3");
  EXPECT_EQ(readError("n"), "scan: Expected string: null @ 0/1/1");
}

TEST(JsonScan, WordsNeedNoBlankBetweenThem) {
  EXPECT_EQ(readError("[truefalse]"), "parse: Unexpected token: false @ 0/5/5 to 0/10/10");
}

TEST(JsonScan, ATextThatIsNotClosedLacksItsQuoteAtTheEnd) {
  EXPECT_EQ(readError("\""), "scan: Expected string: \" @ 0/1/1");
  EXPECT_EQ(readError(R"(["abc)"), "scan: Expected string: \" @ 0/5/5");
  EXPECT_EQ(readError(R"("abc\")"), "scan: Expected string: \" @ 0/6/6");
  EXPECT_EQ(readError("\"abc\\"), "scan: Expected string: \" @ 0/5/5");
}

TEST(JsonScan, AnUnknownEscapeIsReportedAtItsCharacter) {
  EXPECT_EQ(readError(R"("a\x")"), "scan: Unrecognized escape sequence found in string: \\x @ 0/3/3");
  EXPECT_EQ(readError(R"("\'")"), "scan: Unrecognized escape sequence found in string: \\' @ 0/2/2");
  EXPECT_EQ(readError(R"("\U0041")"), "scan: Unrecognized escape sequence found in string: \\U @ 0/2/2");
  EXPECT_EQ(readError("\"\\\n\""), "scan: Unrecognized escape sequence found in string: \\\n @ 0/2/2");
}

TEST(JsonScan, OnlyTheEightLettersAndUAreEscapes) {
  const std::string known = "\"\\/bfnrtu";
  for (int byte = 1; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    if (known.find(c) == std::string::npos) {
      EXPECT_EQ(readError(std::string("\"\\") + c + "\""),
                std::string("scan: Unrecognized escape sequence found in string: \\") + c + " @ 0/2/2");
    }
  }
}

TEST(JsonScan, AZeroByteEndsTheMessageThatNamesIt) {
  EXPECT_EQ(readError(std::string("\"\\\0\"", 4)),
            "scan: Unrecognized escape sequence found in string: \\ @ 0/2/2");
  EXPECT_EQ(readError(std::string("\0", 1)), "scan: Unexpected character in stream:  @ 0/0/0");
}

TEST(JsonScan, AnEscapeWithoutFourDigitsIsReportedAtTheByteThatIsNone) {
  const std::string message = "scan: Unrecognized escape sequence found in string: \\u @ ";

  EXPECT_EQ(readError(R"("\u")"), message + "0/3/3");
  EXPECT_EQ(readError(R"("\u12")"), message + "0/5/5");
  EXPECT_EQ(readError(R"("\u12G4")"), message + "0/5/5");
  EXPECT_EQ(readError(R"("\u123g")"), message + "0/6/6");
  EXPECT_EQ(readError(R"("\u-123")"), message + "0/3/3");
  EXPECT_EQ(readError(R"("\u 123")"), message + "0/3/3");
  EXPECT_EQ(readError(R"("\u0x12")"), message + "0/4/4");
  EXPECT_EQ(readError("\"\\u12"), message + "0/5/5");
  EXPECT_EQ(readError(R"("\uD800\u12G4")"), message + "0/11/11");
}

TEST(JsonScan, AnErrorOfTheScanWinsOverAnEarlierTokenInAWrongPlace) {
  EXPECT_EQ(readError("[,] ?"), "scan: Unexpected character in stream: ? @ 0/4/4");
  EXPECT_EQ(readError("{} {} \"x"), "scan: Expected string: \" @ 0/8/8");
}

TEST(JsonScan, PlacesAreCountedFromZeroInLinesAndBytes) {
  EXPECT_EQ(readError("{\n\"a\":\n  ?}"), "scan: Unexpected character in stream: ? @ 2/2/9");
  EXPECT_EQ(readError("\n\n?"), "scan: Unexpected character in stream: ? @ 2/0/2");
  // A carriage return is a byte of its line.
  EXPECT_EQ(readError("\r\n\r?"), "scan: Unexpected character in stream: ? @ 1/1/3");
  // So is each byte of a character, and a line feed in a text begins a line.
  EXPECT_EQ(readError("\"\xC3\xA9\"?"), "scan: Unexpected character in stream: ? @ 0/4/4");
  EXPECT_EQ(readError("\"a\nb\" ?"), "scan: Unexpected character in stream: ? @ 1/3/6");
}

}  // namespace

}  // namespace kx
