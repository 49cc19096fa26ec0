// How an options string is taken apart, seen in the profile that a command line names.
#include "host/host_test.h"

#include <ostream>
#include <string>

namespace {

struct Case {
  std::string name;
  std::string options;
  std::string profile;
};

void PrintTo(const Case& test, std::ostream* stream) {
  *stream << test.options;
}

class Options : public HostTest {
 protected:
  std::string line(const std::string& options) const {
    const int size = dll.kxr_GetCommandLine("fx", options.c_str(), nullptr, 0, nullptr);
    std::string text(size > 0 ? static_cast<std::size_t>(size) : 0, '?');
    if (!text.empty()) {
      EXPECT_EQ(dll.kxr_GetCommandLine("fx", options.c_str(), text.data(), size, nullptr), KX_OK);
      text.pop_back();
    }
    return text;
  }
};

class ProfileInOptions : public Options, public ::testing::WithParamInterface<Case> {};

TEST_P(ProfileInOptions, IsFound) {
  EXPECT_EQ(line(GetParam().options), "-no-remote -P \"" + GetParam().profile +
                                          "\" -kx-pipe \"\\\\.\\pipe\\" + GetParam().profile + ".runner\"");
  EXPECT_FALSE(fileExists(log.path()));
}

INSTANTIATE_TEST_SUITE_P(
    That, ProfileInOptions,
    ::testing::Values(Case{"FollowsABlank", "-runner -fxProfile a", "a"},
                      Case{"FollowsASign", "-runner -fxProfile=a", "a"},
                      Case{"FollowsASignBetweenBlanks", "-runner -fxProfile \t= \n a", "a"},
                      Case{"FollowsASignBehindABlank", "-runner -fxProfile =a", "a"},
                      Case{"FollowsALineEnd", "-runner\r\n-fxProfile\r\na\r\n", "a"},
                      Case{"StandsInQuotes", "-runner -fxProfile \"x y\"", "x y"},
                      Case{"StandsInQuotesBehindASign", "-runner -fxProfile = \"x y\"", "x y"},
                      Case{"EndsAtTheFirstBlank", "-runner -fxProfile x y", "x"},
                      Case{"EndsAtTheSecondQuote", "-runner -fxProfile \"a\"\"b\"", "a"},
                      Case{"BeginsWithAHyphenBehindASign", "-runner -fxProfile=-b", "-b"},
                      Case{"IsEmptyBeforeAnotherOption", "-fxProfile -runner", ""},
                      Case{"IsEmptyBeforeAnotherOptionBehindTwoBlanks", "-fxProfile  -runner", ""},
                      Case{"IsEmptyAtTheEnd", "-runner -fxProfile", ""},
                      Case{"IsEmptyInEmptyQuotes", "-runner -fxProfile \"\"", ""},
                      Case{"IsGivenTwice", "-fxProfile a -runner -fxProfile b", "b"},
                      Case{"IsGivenTwiceAndEmptyAtLast", "-fxProfile a -runner -fxProfile", ""},
                      Case{"IsAPath", "-runner -fxProfile \"C:\\my dir\\\"", "C:\\my dir\\"},
                      Case{"HasAnOpenQuote", "-runner -fxProfile \"open", "\"open"},
                      Case{"IsOneQuote", "-runner -fxProfile \"", "\""},
                      Case{"HasASignInside", "-runner -fxProfile a=b", "a=b"},
                      Case{"IsASignAlone", "-runner -fxProfile =", "="},
                      Case{"HasTwoSigns", "-runner -fxProfile==a", "=a"},
                      Case{"StandsBehindOtherWords", "-runner some words -fxProfile a", "a"},
                      Case{"IsNamedInsideAWord", "-runner=1 foo-fxProfile a", "a"},
                      Case{"KeepsItsQuotesAroundALineFeed", "-runner -fxProfile \"a\nb\"", "\"a\nb\""},
                      Case{"IsNotReachedByABlankOutsideAscii", "-runner -fxProfile\xC2\xA0x", ""},
                      Case{"HasUnknownOptionsAround", "-x 1 --y -runner -z=\"2\" -fxProfile a -w", "a"}),
    [](const auto& test) { return test.param.name; });

TEST_F(Options, WithALongerNameAreOthers) {
  EXPECT_EQ(line("-runner -fxProfile-x a"), "");
  EXPECT_EQ(line("-runner --fxProfile a"), "");
  EXPECT_EQ(line("-runner -fxProfile_ a"), "");

  EXPECT_EQ(log.text(), HostLog()
                            .error("-fxProfile required for kxr_GetCommandLine()")
                            .error("-fxProfile required for kxr_GetCommandLine()")
                            .error("-fxProfile required for kxr_GetCommandLine()")
                            .text());
}

TEST_F(Options, MayBeTakenForAValue) {
  // Behind a blank everything that does not begin with a hyphen is the value of the option before it.
  EXPECT_EQ(line("-runner foo-fxProfile a"), "");

  EXPECT_EQ(log.text(), HostLog().error("-fxProfile required for kxr_GetCommandLine()").text());
}

}  // namespace
