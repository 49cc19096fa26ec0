#include "script.h"

#include "escapes.h"

#include <gtest/gtest.h>

#include <string>

namespace kxsim {
namespace {

std::string complaint(const std::string& text) {
  try {
    parseScript(text);
  } catch (const ScriptError& error) {
    return error.what();
  }
  return "(none)";
}

std::vector<std::string> texts(const std::vector<const Action*>& actions) {
  std::vector<std::string> result;
  for (const Action* action : actions) {
    result.push_back(action->text);
  }
  return result;
}

using Texts = std::vector<std::string>;

TEST(Script, AnEmptyScriptChangesNothing) {
  const Script script = parseScript("\xef\xbb\xbf# only a comment\r\n\r\n");

  EXPECT_TRUE(script.rules.empty());
  EXPECT_TRUE(script.serve);
  EXPECT_EQ(600, script.idleLimitSeconds);
}

TEST(Script, SettingsAreRead) {
  const Script script = parseScript(
      "type cr\npipe my pipe\nrecord C:\\a b\nidle-limit 5\nwatch-parent "
      "77\nverbose\nlenient-macros\nserve-never\n"
      "launcher-process\nearly-connect\nserver-buffer 1\nconnections 2");

  EXPECT_EQ("cr", script.type);
  EXPECT_EQ("my pipe", script.pipe);
  EXPECT_EQ("C:\\a b", script.record);
  EXPECT_EQ(5, script.idleLimitSeconds);
  EXPECT_EQ(77, script.watchedParent);
  EXPECT_TRUE(script.verbose && script.lenientMacros && script.launcherProcess && script.earlyConnect);
  EXPECT_FALSE(script.serve);
  EXPECT_EQ(1, script.serverBuffer);
  EXPECT_EQ(2U, script.connections);
}

TEST(Script, CountsSelectOccurrencesOnEveryConnectionOrANamedOne) {
  const Script script =
      parseScript("on play log a\non play 2 log b\non play 2+ log c\non play 2-3 log d\non play@2 1 log e");
  const auto chosen = [&](const char* moment, unsigned connection, unsigned count, unsigned ownCount) {
    std::string letters;
    for (const std::string& text : texts(script.actionsFor({{moment, connection, count, ownCount}}))) {
      letters += text;
    }
    return letters;
  };

  EXPECT_EQ("", chosen("show", 1, 1, 1));
  EXPECT_EQ("a", chosen("play", 1, 1, 1));
  EXPECT_EQ("abcd", chosen("play", 1, 2, 1));
  EXPECT_EQ("acd", chosen("play", 1, 3, 1));
  EXPECT_EQ("ac", chosen("play", 1, 4, 1));
  EXPECT_EQ("ace", chosen("play", 2, 5, 1));
  EXPECT_EQ("ac", chosen("play", 2, 6, 2));
}

TEST(Script, RulesForAnyRequestMixWithThoseForItsTypeInTheOrderOfTheScript) {
  const Script script = parseScript("on play log a\nalways log b\non play log c\non request 2 log d");

  EXPECT_EQ((Texts{"a", "b", "c", "d"}), texts(script.actionsFor({{"request", 1, 2, 2}, {"play", 1, 1, 1}})));
}

TEST(Script, ActionsTakeTheirArguments) {
  const Script script =
      parseScript("on play result -5 a  b\non play pieces 1 2 3\non play member x {\"y\": 1}\non play send");

  EXPECT_EQ(std::vector<long long>{-5}, script.rules[0].action.numbers);
  EXPECT_EQ("a  b", script.rules[0].action.text);
  EXPECT_EQ((std::vector<long long>{1, 2, 3}), script.rules[1].action.numbers);
  EXPECT_EQ("x", script.rules[2].action.word);
  EXPECT_EQ("{\"y\": 1}", script.rules[2].action.text);
  EXPECT_TRUE(script.rules[3].action.numbers.empty());
}

TEST(Script, AMistakeIsToldWithItsLine) {
  EXPECT_EQ("line 2: there is no setting 'foo'", complaint("\nfoo 1"));
  EXPECT_EQ("line 1: there is no action 'foo'", complaint("on play 2 foo"));
  EXPECT_EQ("line 1: there is no action ''", complaint("on play"));
  EXPECT_EQ("line 1: there is no moment ''", complaint("on"));
  EXPECT_EQ("line 1: there is no moment 'plya'", complaint("on plya 2 hold"));
  EXPECT_EQ("line 1: 'reply' has nothing to work on at that moment", complaint("on connected reply x"));
  EXPECT_EQ("line 1: 'read' has nothing to work on at that moment", complaint("on play read 5"));
  EXPECT_EQ("line 1: 'x' is not a number", complaint("on play delay x"));
  EXPECT_EQ("line 1: '' is not a number", complaint("on play delay"));
  EXPECT_EQ("line 1: a negative number does not fit here", complaint("on play delay -1"));
  EXPECT_EQ("line 1: '0' is not a count from 1", complaint("on play 0 hold"));
  EXPECT_EQ("line 1: '2+3' is not a count", complaint("on play 2+3 hold"));
  EXPECT_EQ("line 1: there is more on the line than the action takes: 'now'", complaint("on play hold now"));
}

TEST(Escapes, BytesAreWrittenWithBackslashes) {
  EXPECT_EQ(std::string("a\n\r\t\\\0\xff", 7), unescapeBytes("a\\n\\r\\t\\\\\\x00\\xFF"));
}

TEST(Escapes, OtherBackslashesStay) {
  EXPECT_EQ("\\\"\\u00e9\\x1\\xg0\\", unescapeBytes("\\\"\\u00e9\\x1\\xg0\\"));
}

TEST(Escapes, ALogLineHoldsNoControlBytes) {
  EXPECT_EQ("a\\n\\r\\t\\x07\\x7f C:\\\xc3\xa9", escapeForLog("a\n\r\t\x07\x7f C:\\\xc3\xa9"));
}

TEST(Escapes, NamesAreReplacedByWhatIsKnownOfThem) {
  const Lookup lookup = [](const std::string& name) {
    return name == "a" ? std::optional<std::string>("1$(a)") : std::nullopt;
  };

  const Substituted result = substitute("$(a)$$(a) $(b) $ $(", lookup);

  EXPECT_EQ("1$(a)$(a) $(b) $ $(", result.text);
  EXPECT_EQ("b", result.unknownName);
}

}  // namespace
}  // namespace kxsim
