// kx_Play(): what the browser gets, byte for byte, and what it costs the variables.
#include "scenario/conversation.h"
#include "support/win32/log_file.h"

namespace {

class Play : public Conversation {
 protected:
  Play() {
    // The macros of these tests are any text.
    browser_.script("lenient-macros");
    attach(browser_);
  }

  SimulatedBrowser browser_;
};

TEST_F(Play, AMacroIsSentWithoutVariables) {
  EXPECT_EQ(play("extract x"), KX_OK);

  EXPECT_EQ(browser_.request(2), playRequest("extract x"));
}

TEST_F(Play, AnEmptyMacroIsSentToo) {
  EXPECT_EQ(play(""), KX_OK);

  EXPECT_EQ(browser_.request(2), playRequest(""));
}

TEST_F(Play, VariablesAreSentInTheOrderOfTheirBytes) {
  for (const char* name : {"b", "a", "B", "_", "\xc3\xa4", "aa", "1", ""}) {
    ASSERT_EQ(setVariable(name, std::string("value of ") + name), KX_OK);
  }

  EXPECT_EQ(play("x"), KX_OK);

  EXPECT_EQ(browser_.request(2), playRequest("x", {{"", "value of "},
                                                   {"1", "value of 1"},
                                                   {"B", "value of B"},
                                                   {"_", "value of _"},
                                                   {"a", "value of a"},
                                                   {"aa", "value of aa"},
                                                   {"b", "value of b"},
                                                   {"\xc3\xa4", "value of \xc3\xa4"}}));
}

TEST_F(Play, TheLastValueOfAVariableCounts) {
  setVariable("city", "Oslo");
  setVariable("city", "Bergen");

  EXPECT_EQ(play("extract $(city)"), KX_OK);

  EXPECT_EQ(browser_.request(2), playRequest("extract $(city)", {{"city", "Bergen"}}));
  EXPECT_EQ(extract(), "Bergen");
}

TEST_F(Play, AVariableMayBeEmpty) {
  setVariable("nothing", "");

  EXPECT_EQ(play("x"), KX_OK);

  EXPECT_EQ(browser_.request(2), playRequest("x", {{"nothing", ""}}));
}

TEST_F(Play, SevenCharactersOfAMacroAreEscaped) {
  EXPECT_EQ(play("extract \b\t\f\r\"\\/\nextract second"), KX_OK);

  EXPECT_EQ(browser_.request(2), playRequest(R"(extract \b\t\f\r\"\\/\nextract second)"));
}

TEST_F(Play, OtherControlCharactersAreSentAsTheyAre) {
  std::string controls;
  for (char c = 1; c < 32; ++c) {
    if (std::string("\b\t\n\f\r").find(c) == std::string::npos) {
      controls += c;
    }
  }
  controls += '\x7f';

  EXPECT_EQ(play("extract " + controls), KX_OK);

  EXPECT_EQ(browser_.request(2), playRequest("extract " + controls));
}

TEST_F(Play, BytesThatAreNoUtf8AreSentAsTheyAre) {
  const std::string bytes = "\x80\xff\xc3(\xed\xa0\x80";

  EXPECT_EQ(play("extract " + bytes), KX_OK);

  EXPECT_EQ(browser_.request(2), playRequest("extract " + bytes));
}

TEST_F(Play, AValueIsEscapedLikeAMacro) {
  setVariable("text", "a \"quoted\"\nline\\ \x01");

  EXPECT_EQ(play("x"), KX_OK);

  EXPECT_EQ(browser_.request(2), playRequest("x", {{"text", "a \\\"quoted\\\"\\nline\\\\ \x01"}}));
}

TEST_F(Play, ANameIsSentUnescaped) {
  setVariable("a \"name\"\\", "v");

  static_cast<void>(play("x"));

  EXPECT_EQ(browser_.request(2), playRequest("x", {{"a \"name\"\\", "v"}}));
}

TEST_F(Play, APlayThatReachedTheBrowserUsesUpTheVariables) {
  setVariable("city", "Oslo");
  ASSERT_EQ(play("x"), KX_OK);

  EXPECT_EQ(play("y"), KX_OK);

  EXPECT_EQ(browser_.request(3), playRequest("y"));
}

TEST_F(Play, AMacroThatFailedUsesUpTheVariablesToo) {
  setVariable("city", "Oslo");
  ASSERT_EQ(play("fail -50 no"), KX_FAILED);

  EXPECT_EQ(play("y"), KX_OK);

  EXPECT_EQ(browser_.request(3), playRequest("y"));
}

TEST_F(Play, OtherRequestsKeepTheVariables) {
  setVariable("city", "Oslo");
  ASSERT_EQ(dll_.kx_Display(context_, "hello", 30), KX_OK);

  EXPECT_EQ(play("x"), KX_OK);

  EXPECT_EQ(browser_.request(3), playRequest("x", {{"city", "Oslo"}}));
}

TEST_F(Play, WithoutAnInitialisedContextVariablesAreRefused) {
  const int fresh = dll_.kx_ContextCreate();

  EXPECT_EQ(dll_.kx_SetVar(fresh, "city", "Oslo"), KX_FAILED);
}

TEST_F(Play, AMacroOfAMegabyteArrivesWhole) {
  std::string macro(1000000, 'm');
  for (std::size_t i = 0; i < macro.size(); i += 1000) {
    macro[i] = static_cast<char>('a' + i / 1000 % 26);
  }

  EXPECT_EQ(play(macro), KX_OK);

  EXPECT_TRUE(browser_.request(2) == playRequest(macro));
}

TEST_F(Play, ThousandVariablesArriveInOrder) {
  std::vector<std::pair<std::string, std::string>> variables;
  for (int i = 1000; i < 2000; ++i) {
    variables.emplace_back("name" + std::to_string(i), "value" + std::to_string(i));
  }
  for (auto variable = variables.rbegin(); variable != variables.rend(); ++variable) {
    ASSERT_EQ(setVariable(variable->first, variable->second), KX_OK);
  }

  EXPECT_EQ(play("x"), KX_OK);

  EXPECT_EQ(browser_.request(2), playRequest("x", variables));
}

TEST_F(Play, TheSuccessOfAMacroIsNumberOne) {
  EXPECT_EQ(play("status done"), KX_OK);

  EXPECT_EQ(errorNumber(), KX_ERROR_SUCCESS);
  EXPECT_EQ(errorText(), "done");
}

struct Outcome {
  const char* name;
  const char* reportedNumber;
  int result;
  int errorNumber;
};

class PlayOutcome : public Play, public ::testing::WithParamInterface<Outcome> {};

TEST_P(PlayOutcome, FollowsFromTheReportedNumber) {
  EXPECT_EQ(play(std::string("fail ") + GetParam().reportedNumber + " what happened"), GetParam().result);

  EXPECT_EQ(errorNumber(), GetParam().errorNumber);
  EXPECT_EQ(errorText(), "what happened");
}

INSTANTIATE_TEST_SUITE_P(Numbers, PlayOutcome,
                         ::testing::Values(Outcome{"Success", "1", KX_OK, 1},
                                           Outcome{"Zero", "0", KX_FAILED, 0},
                                           Outcome{"Positive", "2", KX_FAILED, -2},
                                           Outcome{"Negative", "-50", KX_FAILED, -50},
                                           Outcome{"MinusOne", "-1", KX_FAILED, -1},
                                           Outcome{"Large", "2147483647", KX_FAILED, -2147483647}),
                         [](const auto& tested) { return tested.param.name; });

TEST_F(Play, WithoutTheProfilerNoProfilerDataAreAskedFor) {
  ASSERT_EQ(play("extract x"), KX_OK);

  EXPECT_EQ(dll_.profilerData(context_), "");
  EXPECT_EQ(dll_.kx_GetPerformance(context_, nullptr, 0), 1);
}

class ProfiledPlay : public Conversation {
 protected:
  void attachWithProfiler(const std::string& option = "-profiler") {
    browser_.start();
    ASSERT_EQ(init({.options = option}), KX_OK);
  }

  SimulatedBrowser browser_;
};

TEST_F(ProfiledPlay, ProfilerDataAreAskedForAndReadBack) {
  attachWithProfiler();

  ASSERT_EQ(play("extract x\nprofile spent 3 ms"), KX_OK);

  EXPECT_EQ(browser_.request(2), profiledPlayRequest("extract x\\nprofile spent 3 ms"));
  EXPECT_EQ(dll_.profilerData(context_), "line 1: extract\nspent 3 ms\n");
}

TEST_F(ProfiledPlay, TheValueOfTheOptionDoesNotMatter) {
  attachWithProfiler("-profiler=off");

  ASSERT_EQ(play("extract x"), KX_OK);

  EXPECT_EQ(browser_.request(2), profiledPlayRequest("extract x"));
}

TEST_F(ProfiledPlay, TheOptionIsCaseSensitive) {
  attachWithProfiler("-Profiler");

  ASSERT_EQ(play("extract x"), KX_OK);

  EXPECT_EQ(browser_.request(2), playRequest("extract x"));
}

TEST_F(ProfiledPlay, OnlyPlaysAskForProfilerData) {
  attachWithProfiler();

  ASSERT_EQ(dll_.kx_Display(context_, "hello", 30), KX_OK);

  EXPECT_EQ(browser_.request(1), initRequest(false, false));
  EXPECT_EQ(browser_.request(2), showRequest("hello"));
}

TEST_F(ProfiledPlay, EveryAnswerReplacesTheProfilerData) {
  attachWithProfiler();
  ASSERT_EQ(play("extract x"), KX_OK);

  ASSERT_EQ(dll_.kx_Display(context_, "hello", 30), KX_OK);

  EXPECT_EQ(dll_.profilerData(context_), "");
}

TEST_F(ProfiledPlay, EveryPlayOfTheContextIsProfiled) {
  attachWithProfiler();
  ASSERT_EQ(play("extract x"), KX_OK);

  ASSERT_EQ(play("status done"), KX_OK);

  EXPECT_EQ(browser_.request(3), profiledPlayRequest("status done"));
  EXPECT_EQ(dll_.profilerData(context_), "line 1: status\n");
}

}  // namespace
