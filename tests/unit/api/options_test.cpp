#include "api/options.h"

#include <gtest/gtest.h>

namespace kx {

namespace {

TEST(Options, OptionsAreNamesAndValuesOfACommandLine) {
  struct Case {
    const char* rule;
    const char* text;
    Options expected;
  };
  const Case cases[] = {
      {"a null text has none", nullptr, {}},
      {"an empty one has none", "", {}},
      {"nor has whitespace", " \t\n", {}},
      {"an option alone has an empty value", "-profiler", {{"-profiler", ""}}},
      {"a blank introduces a value", "-a x", {{"-a", "x"}}},
      {"so does an equals sign", "-a=x", {{"-a", "x"}}},
      {"and any whitespace", "-a \t\n\v\f\r x", {{"-a", "x"}}},
      {"and both", "-a \t= \n x", {{"-a", "x"}}},
      {"a blank and a hyphen introduce the next option", "-a -b", {{"-a", ""}, {"-b", ""}}},
      {"which may have a value", "-a   -b x", {{"-a", ""}, {"-b", "x"}}},
      {"an equals sign introduces a value that begins with a hyphen", "-a=-b", {{"-a", "-b"}}},
      {"also between blanks", "-a = -b -c", {{"-a", "-b"}, {"-c", ""}}},
      {"a quoted value may hold blanks and loses its quotes", "-a   =   \"x y\"", {{"-a", "x y"}}},
      {"also behind a blank", "-a \"x y\"", {{"-a", "x y"}}},
      {"it may be empty", "-a=\"\"", {{"-a", ""}}},
      {"it may begin with a hyphen", "-a \"-b\"", {{"-a", "-b"}}},
      {"an unquoted value ends at its first blank", "-a x y", {{"-a", "x"}}},
      {"a quoted one at its second quote", "-o \"a\"\"b\"", {{"-o", "a"}}},
      {"whatever follows", "-o \"a\"b -c", {{"-o", "a"}, {"-c", ""}}},
      {"a quote that is never closed is part of an unquoted value",
       "-a \"x y -b",
       {{"-a", "\"x"}, {"-b", ""}}},
      {"also alone", "-a=\"", {{"-a", "\""}}},
      {"a quote inside a value is any character", "-a x\"y z\"", {{"-a", "x\"y"}}},
      {"also at its end", "-a=x\"", {{"-a", "x\""}}},
      {"words without a hyphen are ignored", "word -a x \"quoted\" more=1 -b", {{"-a", "x"}, {"-b", ""}}},
      {"also alone", "word = \"x y\"", {}},
      {"a hyphen inside a word begins an option", "foo-bar baz", {{"-bar", "baz"}}},
      {"a name is made of letters, digits, underlines and hyphens", "-a_Z-09 x", {{"-a_Z-09", "x"}}},
      {"it may be hyphens", "--", {{"--", ""}}},
      {"or begin with them", "---x=1", {{"---x", "1"}}},
      {"a point ends it", "-a.b x", {{"-a", ""}}},
      {"so does a letter outside ASCII", "-a\xC3\xA9 x", {{"-a", ""}}},
      {"a hyphen alone is none", "-", {}},
      {"nor before a blank", "- a", {}},
      {"nor before an equals sign", "-=x", {}},
      {"nor behind an option", "-a -", {{"-a", ""}}},
      {"an equals sign behind a blank is the value when nothing follows", "-a =", {{"-a", "="}}},
      {"or only whitespace", "-a = ", {{"-a", "="}}},
      {"without the blank it is not", "-a=", {{"-a", ""}}},
      {"nor before whitespace", "-a= ", {{"-a", ""}}},
      {"a second equals sign belongs to the value", "-a==x", {{"-a", "=x"}}},
      {"also behind a blank", "-a = = x", {{"-a", "="}}},
      {"0xA0 is no whitespace behind a name", "-a\xA0x", {{"-a", ""}}},
      {"nor in a value", "-a x\xA0y", {{"-a", "x\xA0y"}}},
      {"also as a part of a character", "-a x\xC2\xA0y z", {{"-a", "x\xC2\xA0y"}}},
      {"the last of two values counts", "-fxProfile a -fxProfile b", {{"-fxProfile", "b"}}},
      {"also an empty one", "-fxProfile a -fxProfile", {{"-fxProfile", ""}}},
      {"the case of a name matters", "-fxprofile a -fxProfile b", {{"-fxprofile", "a"}, {"-fxProfile", "b"}}},
      {"a quoted path keeps its backslash",
       R"(-fxProfile "C:\P F\dir\")",
       {{"-fxProfile", R"(C:\P F\dir\)"}}},
      {"so does another",
       R"(-crUserDataDir=C:\dir -runner)",
       {{"-crUserDataDir", R"(C:\dir)"}, {"-runner", ""}}},
      {"a value may hold any other byte",
       "-a G\xC3\xB6\xFF\x01=\\n -b",
       {{"-a", "G\xC3\xB6\xFF\x01=\\n"}, {"-b", ""}}},
      {"a quoted value with a line end keeps its quotes", "-a \"x\ny\" -b", {{"-a", "\"x\ny\""}, {"-b", ""}}},
      {"a carriage return is one", "-a \"x\ry\"", {{"-a", "\"x\ry\""}}},
      {"other whitespace is not", "-a \"x\ty\v\fz\"", {{"-a", "x\ty\v\fz"}}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(parseOptions(c.text), c.expected) << c.rule;
  }
}

TEST(Options, OptionsAreLookedUpByTheirNamesOfWhichFourAreFixed) {
  const Options options = parseOptions("-a x -b");

  ASSERT_NE(findOption(options, "-a"), nullptr);
  EXPECT_EQ(*findOption(options, "-a"), "x");
  ASSERT_NE(findOption(options, "-b"), nullptr);
  EXPECT_EQ(*findOption(options, "-b"), "");
  EXPECT_EQ(findOption(options, "-c"), nullptr);
  EXPECT_EQ(findOption(options, "a"), nullptr);
  EXPECT_STREQ(kOptionFirefoxProfile, "-fxProfile");
  EXPECT_STREQ(kOptionChromeDataFolder, "-crUserDataDir");
  EXPECT_STREQ(kOptionProfiler, "-profiler");
  EXPECT_STREQ(kOptionRunner, "-runner");
}

TEST(Unquote, UnquotingTakesOnePairOfQuotesOffAWholeValueAndLeavesAnyOtherUnchanged) {
  EXPECT_EQ(unquote("\"x y\""), "x y");
  EXPECT_EQ(unquote("\"\""), "");
  EXPECT_EQ(unquote("\"\"x\"\""), "\"x\"");
  EXPECT_EQ(unquote("\"a\" \"b\""), "a\" \"b");
  for (const char* value :
       {"", "x", "\"", "\"x", "x\"", " \"x\"", "\"x\" ", "'x'", "\"x\n\"", "\"\r\"", "\"x\"\n"}) {
    EXPECT_EQ(unquote(value), value);
  }
}

// A stack of some kilobytes per character would overflow long before the end of these texts.
TEST(Options, TextsOfAMegabyteAreRead) {
  constexpr std::size_t kMegabyte = 1 << 20;
  const std::string value(kMegabyte, 'v');
  const std::string name(kMegabyte, '-');
  const std::string blanks(kMegabyte, ' ');
  std::string words;
  std::string options;
  std::string quotes;
  while (words.size() < kMegabyte) {
    words += "word - = \" ";
    options += "-a= -b \"x y\" ";
    quotes += "-q=\"";
  }

  EXPECT_EQ(parseOptions(("-a " + value + " -b").c_str()), (Options{{"-a", value}, {"-b", ""}}));
  EXPECT_EQ(parseOptions(("-a=\"" + value + " x\"").c_str()), (Options{{"-a", value + " x"}}));
  EXPECT_EQ(parseOptions(("-a \"" + value).c_str()), (Options{{"-a", "\"" + value}}));
  EXPECT_EQ(parseOptions((name + " x").c_str()), (Options{{name, "x"}}));
  EXPECT_EQ(parseOptions(("-a" + blanks).c_str()), (Options{{"-a", ""}}));
  EXPECT_EQ(parseOptions(("-a" + blanks + "=" + blanks + "x").c_str()), (Options{{"-a", "x"}}));
  EXPECT_EQ(parseOptions((blanks + "-a" + blanks + "-b").c_str()), (Options{{"-a", ""}, {"-b", ""}}));
  EXPECT_EQ(parseOptions(words.c_str()), Options());
  // The last "-a=" is followed by one more option, which is its value.
  EXPECT_EQ(parseOptions(options.c_str()), (Options{{"-a", "-b"}}));
  EXPECT_EQ(parseOptions((quotes + "-q=\"").c_str()).size(), 1U);
}

}  // namespace

}  // namespace kx
