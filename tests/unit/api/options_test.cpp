#include "api/options.h"

#include <gtest/gtest.h>

namespace kx {

namespace {

TEST(Options, OfANullOrEmptyTextAreNone) {
  EXPECT_EQ(parseOptions(nullptr), Options());
  EXPECT_EQ(parseOptions(""), Options());
  EXPECT_EQ(parseOptions(" \t\n"), Options());
}

TEST(Options, TheNamesThatTheLibraryLooksUpAreFixed) {
  EXPECT_STREQ(kOptionFirefoxProfile, "-fxProfile");
  EXPECT_STREQ(kOptionChromeDataFolder, "-crUserDataDir");
  EXPECT_STREQ(kOptionProfiler, "-profiler");
  EXPECT_STREQ(kOptionRunner, "-runner");
}

TEST(Options, AnOptionAloneHasAnEmptyValue) {
  EXPECT_EQ(parseOptions("-profiler"), (Options{{"-profiler", ""}}));
}

TEST(Options, ABlankOrAnEqualsSignIntroducesAValue) {
  EXPECT_EQ(parseOptions("-a x"), (Options{{"-a", "x"}}));
  EXPECT_EQ(parseOptions("-a=x"), (Options{{"-a", "x"}}));
  EXPECT_EQ(parseOptions("-a \t\n\v\f\r x"), (Options{{"-a", "x"}}));
  EXPECT_EQ(parseOptions("-a \t= \n x"), (Options{{"-a", "x"}}));
}

TEST(Options, ABlankAndAHyphenIntroduceTheNextOption) {
  EXPECT_EQ(parseOptions("-a -b"), (Options{{"-a", ""}, {"-b", ""}}));
  EXPECT_EQ(parseOptions("-a   -b x"), (Options{{"-a", ""}, {"-b", "x"}}));
}

TEST(Options, AnEqualsSignIntroducesAValueThatBeginsWithAHyphen) {
  EXPECT_EQ(parseOptions("-a=-b"), (Options{{"-a", "-b"}}));
  EXPECT_EQ(parseOptions("-a = -b -c"), (Options{{"-a", "-b"}, {"-c", ""}}));
}

TEST(Options, AQuotedValueMayHoldBlanksAndLosesItsQuotes) {
  EXPECT_EQ(parseOptions("-a   =   \"x y\""), (Options{{"-a", "x y"}}));
  EXPECT_EQ(parseOptions("-a \"x y\""), (Options{{"-a", "x y"}}));
  EXPECT_EQ(parseOptions("-a=\"\""), (Options{{"-a", ""}}));
  EXPECT_EQ(parseOptions("-a \"-b\""), (Options{{"-a", "-b"}}));
}

TEST(Options, AnUnquotedValueEndsAtItsFirstBlank) {
  EXPECT_EQ(parseOptions("-a x y"), (Options{{"-a", "x"}}));
}

TEST(Options, AQuotedValueEndsAtItsSecondQuote) {
  EXPECT_EQ(parseOptions("-o \"a\"\"b\""), (Options{{"-o", "a"}}));
  EXPECT_EQ(parseOptions("-o \"a\"b -c"), (Options{{"-o", "a"}, {"-c", ""}}));
}

TEST(Options, AQuoteThatIsNeverClosedIsPartOfAnUnquotedValue) {
  EXPECT_EQ(parseOptions("-a \"x y -b"), (Options{{"-a", "\"x"}, {"-b", ""}}));
  EXPECT_EQ(parseOptions("-a=\""), (Options{{"-a", "\""}}));
}

TEST(Options, AQuoteInsideAValueIsAnyCharacter) {
  EXPECT_EQ(parseOptions("-a x\"y z\""), (Options{{"-a", "x\"y"}}));
  EXPECT_EQ(parseOptions("-a=x\""), (Options{{"-a", "x\""}}));
}

TEST(Options, WordsWithoutAHyphenAreIgnored) {
  EXPECT_EQ(parseOptions("word -a x \"quoted\" more=1 -b"), (Options{{"-a", "x"}, {"-b", ""}}));
  EXPECT_EQ(parseOptions("word = \"x y\""), Options());
}

TEST(Options, AHyphenInsideAWordBeginsAnOption) {
  EXPECT_EQ(parseOptions("foo-bar baz"), (Options{{"-bar", "baz"}}));
}

TEST(Options, ANameIsMadeOfLettersDigitsUnderlinesAndHyphens) {
  EXPECT_EQ(parseOptions("-a_Z-09 x"), (Options{{"-a_Z-09", "x"}}));
  EXPECT_EQ(parseOptions("--"), (Options{{"--", ""}}));
  EXPECT_EQ(parseOptions("---x=1"), (Options{{"---x", "1"}}));
  EXPECT_EQ(parseOptions("-a.b x"), (Options{{"-a", ""}}));
  EXPECT_EQ(parseOptions("-a\xC3\xA9 x"), (Options{{"-a", ""}}));
}

TEST(Options, AHyphenAloneIsNone) {
  EXPECT_EQ(parseOptions("-"), Options());
  EXPECT_EQ(parseOptions("- a"), Options());
  EXPECT_EQ(parseOptions("-=x"), Options());
  EXPECT_EQ(parseOptions("-a -"), (Options{{"-a", ""}}));
}

TEST(Options, AnEqualsSignWithNothingBehindItIsTheValueOnlyAfterABlank) {
  EXPECT_EQ(parseOptions("-a ="), (Options{{"-a", "="}}));
  EXPECT_EQ(parseOptions("-a = "), (Options{{"-a", "="}}));
  EXPECT_EQ(parseOptions("-a="), (Options{{"-a", ""}}));
  EXPECT_EQ(parseOptions("-a= "), (Options{{"-a", ""}}));
}

TEST(Options, ASecondEqualsSignBelongsToTheValue) {
  EXPECT_EQ(parseOptions("-a==x"), (Options{{"-a", "=x"}}));
  EXPECT_EQ(parseOptions("-a = = x"), (Options{{"-a", "="}}));
}

TEST(Options, BlanksAreThoseOfAsciiOnly) {
  EXPECT_EQ(parseOptions("-a\xA0x"), (Options{{"-a", ""}}));
  EXPECT_EQ(parseOptions("-a x\xA0y"), (Options{{"-a", "x\xA0y"}}));
  EXPECT_EQ(parseOptions("-a x\xC2\xA0y z"), (Options{{"-a", "x\xC2\xA0y"}}));
}

TEST(Options, TheLastOfTwoValuesCounts) {
  EXPECT_EQ(parseOptions("-fxProfile a -fxProfile b"), (Options{{"-fxProfile", "b"}}));
  EXPECT_EQ(parseOptions("-fxProfile a -fxProfile"), (Options{{"-fxProfile", ""}}));
}

TEST(Options, TheCaseOfANameMatters) {
  const Options options = parseOptions("-fxprofile a");

  EXPECT_EQ(findOption(options, kOptionFirefoxProfile), nullptr);
  EXPECT_EQ(options, (Options{{"-fxprofile", "a"}}));
}

TEST(Options, WindowsPathsAreTakenAsTheyAre) {
  EXPECT_EQ(parseOptions(R"(-fxProfile "C:\Program Files\dir\")"),
            (Options{{"-fxProfile", R"(C:\Program Files\dir\)"}}));
  EXPECT_EQ(parseOptions(R"(-crUserDataDir=C:\dir -runner)"),
            (Options{{"-crUserDataDir", R"(C:\dir)"}, {"-runner", ""}}));
}

TEST(Options, AValueMayHoldAnyOtherByte) {
  EXPECT_EQ(parseOptions("-a Gr\xC3\xB6\xFF\x01=\\n -b"),
            (Options{{"-a", "Gr\xC3\xB6\xFF\x01=\\n"}, {"-b", ""}}));
}

TEST(Options, AQuotedValueThatHoldsALineEndKeepsItsQuotes) {
  EXPECT_EQ(parseOptions("-a \"x\ny\" -b"), (Options{{"-a", "\"x\ny\""}, {"-b", ""}}));
  EXPECT_EQ(parseOptions("-a \"x\ry\""), (Options{{"-a", "\"x\ry\""}}));
  EXPECT_EQ(parseOptions("-a \"x\ty\v\fz\""), (Options{{"-a", "x\ty\v\fz"}}));
}

TEST(Options, AreLookedUpByTheirName) {
  const Options options = parseOptions("-a x -b");

  ASSERT_NE(findOption(options, "-a"), nullptr);
  EXPECT_EQ(*findOption(options, "-a"), "x");
  ASSERT_NE(findOption(options, "-b"), nullptr);
  EXPECT_EQ(*findOption(options, "-b"), "");
  EXPECT_EQ(findOption(options, "-c"), nullptr);
  EXPECT_EQ(findOption(options, "a"), nullptr);
}

TEST(Unquote, TakesOnePairOfQuotesOffAWholeValue) {
  EXPECT_EQ(unquote("\"x y\""), "x y");
  EXPECT_EQ(unquote("\"\""), "");
  EXPECT_EQ(unquote("\"\"x\"\""), "\"x\"");
  EXPECT_EQ(unquote("\"a\" \"b\""), "a\" \"b");
}

TEST(Unquote, LeavesAnyOtherValueUnchanged) {
  for (const char* value :
       {"", "x", "\"", "\"x", "x\"", " \"x\"", "\"x\" ", "'x'", "\"x\n\"", "\"\r\"", "\"x\"\n"}) {
    EXPECT_EQ(unquote(value), value);
  }
}

// A stack of some kilobytes per character would overflow long before the end of these texts.
constexpr std::size_t kMegabyte = 1 << 20;

TEST(LongOptions, AValueOfAMegabyteIsTaken) {
  const std::string value(kMegabyte, 'v');

  EXPECT_EQ(parseOptions(("-a " + value + " -b").c_str()), (Options{{"-a", value}, {"-b", ""}}));
  EXPECT_EQ(parseOptions(("-a=\"" + value + " x\"").c_str()), (Options{{"-a", value + " x"}}));
  EXPECT_EQ(parseOptions(("-a \"" + value).c_str()), (Options{{"-a", "\"" + value}}));
}

TEST(LongOptions, ANameOfAMegabyteIsTaken) {
  const std::string name(kMegabyte, '-');

  EXPECT_EQ(parseOptions((name + " x").c_str()), (Options{{name, "x"}}));
}

TEST(LongOptions, AMegabyteOfBlanksIsSkipped) {
  const std::string blanks(kMegabyte, ' ');

  EXPECT_EQ(parseOptions(("-a" + blanks).c_str()), (Options{{"-a", ""}}));
  EXPECT_EQ(parseOptions(("-a" + blanks + "=" + blanks + "x").c_str()), (Options{{"-a", "x"}}));
  EXPECT_EQ(parseOptions((blanks + "-a" + blanks + "-b").c_str()), (Options{{"-a", ""}, {"-b", ""}}));
}

TEST(LongOptions, AMegabyteOfWordsOrOptionsIsRead) {
  std::string words;
  std::string options;
  std::string quotes;
  while (words.size() < kMegabyte) {
    words += "word - = \" ";
    options += "-a= -b \"x y\" ";
    quotes += "-q=\"";
  }

  EXPECT_EQ(parseOptions(words.c_str()), Options());
  // The last "-a=" is followed by one more option, which is its value.
  EXPECT_EQ(parseOptions(options.c_str()), (Options{{"-a", "-b"}}));
  EXPECT_EQ(parseOptions((quotes + "-q=\"").c_str()).size(), 1U);
}

}  // namespace

}  // namespace kx
