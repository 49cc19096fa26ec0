#include "json/scanner.h"

#include "unit/json/reading.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

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

TEST(JsonText, AnEscapeBecomesUtf8AndAPairOfSurrogatesOneCharacterAndALoneOneTheReplacement) {
  const std::string lone = "\xEF\xBF\xBD";
  const std::pair<const char*, std::string> cases[] = {
      {R"(\u0000)", std::string(1, '\0')},
      {R"(\u0041\u007F)", "A\x7F"},
      {R"(\u0080\u00e9\u07ff)", "\xC2\x80\xC3\xA9\xDF\xBF"},
      {R"(\u0800\u20AC\uD7FF)", "\xE0\xA0\x80\xE2\x82\xAC\xED\x9F\xBF"},
      {R"(\uE000\uFFFD\uFFFF)", "\xEE\x80\x80\xEF\xBF\xBD\xEF\xBF\xBF"},
      {R"(\uabcd\uABCD\uEf01)", "\xEA\xAF\x8D\xEA\xAF\x8D\xEE\xBC\x81"},
      {R"(\uD800\uDC00)", "\xF0\x90\x80\x80"},
      {R"(\uD83D\uDE00)", "\xF0\x9F\x98\x80"},
      {R"(\uDBFF\uDFFF)", "\xF4\x8F\xBF\xBF"},
      {R"(\uD800)", lone},
      {R"(\uDBFFx)", lone + "x"},
      {R"(\uDC00)", lone},
      {R"(\uDFFF\uD800)", lone + lone},
      {R"(\uD800\n)", lone + "\n"},
      {R"(\uD800\u0041)", lone + "A"},
      {R"(\uD800\uE000)", lone + "\xEE\x80\x80"},
      {R"(\uD800\uDBFF)", lone + lone},
      {R"(\uD800\uD83D\uDE00)", lone + "\xF0\x9F\x98\x80"},
  };
  for (const auto& [escapes, expected] : cases) {
    EXPECT_EQ(read('"' + std::string(escapes) + '"'), "'" + expected + "'") << escapes;
  }
}

// ---- what is no token ----

TEST(JsonScan, WhatIsNoTokenOrNoEscapeIsReportedAtItsPlaceInLinesAndBytes) {
  const std::string character = "Unexpected character in stream: ";
  const std::string word = "Expected string: ";
  const std::string escape = "Unrecognized escape sequence found in string: \\";
  const std::pair<std::string, std::string> cases[] = {
      // Other whitespace, and characters that begin no token.
      {"[1,\v2]", character + "\v @ 0/3/3"},
      {"\xC2\xA0", character + "\xC2 @ 0/0/0"},
      {"\xEF\xBB\xBF{}", character + "\xEF @ 0/0/0"},
      {"?", character + "? @ 0/0/0"},
      {"[1, +2]", character + "+ @ 0/4/4"},
      {"[.5]", character + ". @ 0/1/1"},
      {"{'a':1}", character + "' @ 0/1/1"},
      {"[e]", character + "e @ 0/1/1"},
      {"[1/2]", character + "/ @ 0/2/2"},
      {"[True]", character + "T @ 0/1/1"},
      // A word that is not what it began as, at the byte that differs.
      {"[trux]", word + "true @ 0/4/4"},
      {"[fAlse]", word + "false @ 0/2/2"},
      {"[nil]", word + "null @ 0/2/2"},
      {"tru", word + "true @ 0/3/3"},
      {"n", word + "null @ 0/1/1"},
      // A text that is not closed lacks its quote at the end.
      {"\"", word + "\" @ 0/1/1"},
      {R"(["abc)", word + "\" @ 0/5/5"},
      {R"("abc\")", word + "\" @ 0/6/6"},
      {"\"abc\\", word + "\" @ 0/5/5"},
      // Escapes that are none or lack digits; a zero byte ends the message that names it.
      {R"("a\x")", escape + "x @ 0/3/3"},
      {R"("\'")", escape + "' @ 0/2/2"},
      {R"("\U0041")", escape + "U @ 0/2/2"},
      {"\"\\\n\"", escape + "\n @ 0/2/2"},
      {std::string("\"\\\0\"", 4), escape + " @ 0/2/2"},
      {std::string("\0", 1), character + " @ 0/0/0"},
      {R"("\u")", escape + "u @ 0/3/3"},
      {R"("\u12")", escape + "u @ 0/5/5"},
      {R"("\u12G4")", escape + "u @ 0/5/5"},
      {R"("\u123g")", escape + "u @ 0/6/6"},
      {R"("\u-123")", escape + "u @ 0/3/3"},
      {R"("\u 123")", escape + "u @ 0/3/3"},
      {R"("\u0x12")", escape + "u @ 0/4/4"},
      {"\"\\u12", escape + "u @ 0/5/5"},
      {R"("\uD800\u12G4")", escape + "u @ 0/11/11"},
      // An error of the scan wins over an earlier token in a wrong place.
      {"[,] ?", character + "? @ 0/4/4"},
      {"{} {} \"x", word + "\" @ 0/8/8"},
      // A carriage return is a byte of its line, and a line feed in a text begins a line.
      {"{\n\"a\":\n  ?}", character + "? @ 2/2/9"},
      {"\n\n?", character + "? @ 2/0/2"},
      {"\r\n\r?", character + "? @ 1/1/3"},
      {"\"\xC3\xA9\"?", character + "? @ 0/4/4"},
      {"\"a\nb\" ?", character + "? @ 1/3/6"},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(readError(text), "scan: " + expected) << text;
  }
  // Words need no blank between them.
  EXPECT_EQ(readError("[truefalse]"), "parse: Unexpected token: false @ 0/5/5 to 0/10/10");
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

}  // namespace

}  // namespace kx
