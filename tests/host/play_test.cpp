// What a host asks of a browser: variables, plays, messages, pictures.
#include "host/host_test.h"

#include <climits>
#include <string>
#include <vector>

namespace {

std::string answer(const std::string& errorCode) {
  return "{\"status\":\"said\",\"errorCode\":" + errorCode + "}";
}

class Play : public AttachedHostTest {
 protected:
  int playAnswered(const std::string& text) {
    extension.answers(text);
    return dll.kx_Play(context, "macro", 10);
  }

  // The variables of the next play, as the browser gets them.
  std::string variablesSent() {
    dll.kx_Play(context, "macro", 10);
    const std::string request = extension.requests().back();
    const std::string begin =
        "{\n \"type\" : \"play\",\n \"args\" : {\n  \"source\" : \"macro\",\n  \"vars\" : ";
    const std::string end = "\n }\n}";
    EXPECT_EQ(request.substr(0, begin.size()), begin);
    EXPECT_TRUE(request.ends_with(end));
    return request.substr(begin.size(), request.size() - begin.size() - end.size());
  }
};

TEST_F(Play, SendsTheMacroAndLogsTheExchange) {
  EXPECT_EQ(dll.kx_Play(context, "URL GOTO=x", 10), KX_OK);

  EXPECT_EQ(extension.requests().at(1), playRequest("URL GOTO=x"));
  EXPECT_EQ(log.text(), HostLog().exchanged(playRequest("URL GOTO=x")).text());
}

TEST_F(Play, SucceedsForErrorNumberOneAlone) {
  EXPECT_EQ(playAnswered(answer("1")), KX_OK);
  EXPECT_EQ(playAnswered(answer("0")), KX_FAILED);
  EXPECT_EQ(playAnswered(answer("2")), KX_FAILED);
  EXPECT_EQ(playAnswered(answer("-1")), KX_FAILED);
  EXPECT_EQ(playAnswered("{\"status\":\"OK\"}"), KX_FAILED);
  EXPECT_EQ(playAnswered("{\"errorCode\":\"1\"}"), KX_FAILED);
  EXPECT_EQ(playAnswered("{\"errorCode\":true}"), KX_FAILED);
}

TEST_F(Play, LeavesItsOutcomeAsTheContextsError) {
  playAnswered("{\"status\":\"line 3: no such element\",\"errorCode\":-921}");

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -921);
  EXPECT_EQ(dll.lastErrorText(context), "line 3: no such element");
}

TEST_F(Play, EscapesTheMacroAsTheBrowserReadsIt) {
  dll.kx_Play(context, "\"q\" \\ \b\t\n\f\r /", 10);

  EXPECT_EQ(extension.requests().at(1), playRequest("\\\"q\\\" \\\\ \\b\\t\\n\\f\\r /"));
}

TEST_F(Play, SendsEveryOtherByteAsItIs) {
  const std::string macro = "\x01\x1F\x7F \xC3\xBC \xE2\x82\xAC \xF0\x9F\x98\x80 \xFF\x80";

  dll.kx_Play(context, macro.c_str(), 10);

  EXPECT_EQ(extension.requests().at(1), playRequest(macro));
}

TEST_F(Play, SendsAnEmptyMacro) {
  EXPECT_EQ(dll.kx_Play(context, "", 10), KX_OK);

  EXPECT_EQ(extension.requests().at(1), playRequest(""));
}

TEST_F(Play, SendsAMacroLargerThanThePipesBuffers) {
  const std::string macro(700000, 'm');

  EXPECT_EQ(dll.kx_Play(context, macro.c_str(), 30), KX_OK);

  EXPECT_EQ(extension.requests().at(1), playRequest(macro));
}

TEST_F(Play, ForgetsWhatTheLastPlayLeftAlsoWhenItFails) {
  playAnswered(
      "{\"errorCode\":1,\"extractData\":[\"one\"],\"profilerData\":\"data\","
      "\"lastPerformance\":[{\"name\":\"n\",\"value\":\"v\"}]}");
  ASSERT_EQ(dll.extract(context, 1), "one");

  EXPECT_EQ(playAnswered("garbage"), KX_FAILED);

  int size = 0;
  EXPECT_EQ(dll.extract(context, 0), "");
  EXPECT_EQ(dll.profilerData(context), "");
  EXPECT_EQ(dll.kx_GetLastPerformance(context, 1, nullptr, &size, nullptr, &size), KX_FAILED);
}

TEST_F(Play, DoesNotGiveUpAtOnceWithOddTimeouts) {
  for (const int timeout : {0, -1, -5, INT_MIN, INT_MAX, 2147484}) {
    // Long enough for a wait of no time at all to run out.
    extension.runs([] { ::Sleep(30); });

    EXPECT_EQ(dll.kx_Play(context, "macro", timeout), KX_OK) << timeout;
  }
}

using Variables = Play;

TEST_F(Variables, AreNoneAtFirst) {
  EXPECT_EQ(variablesSent(), "{}");
}

TEST_F(Variables, AreSetWithoutAWordAndWithoutTheBrowser) {
  EXPECT_EQ(dll.kx_SetVar(context, "name", "value"), KX_OK);

  EXPECT_FALSE(fileExists(log.path()));
  EXPECT_EQ(extension.requests().size(), 1U);
}

TEST_F(Variables, AreSentInTheOrderOfTheirBytes) {
  for (const char* name : {"b", "a", "B", "\xC3\xA4", "_", "a1"}) {
    dll.kx_SetVar(context, name, "v");
  }

  EXPECT_EQ(
      variablesSent(),
      "{\n   \"B\" : \"v\",\n   \"_\" : \"v\",\n   \"a\" : \"v\",\n   \"a1\" : \"v\",\n   \"b\" : \"v\",\n"
      "   \"\xC3\xA4\" : \"v\"\n  }");
}

TEST_F(Variables, KeepTheSecondOfTwoValues) {
  dll.kx_SetVar(context, "name", "first");
  dll.kx_SetVar(context, "name", "second");

  EXPECT_EQ(variablesSent(), "{\n   \"name\" : \"second\"\n  }");
}

TEST_F(Variables, ThatDifferInCaseAreTwo) {
  dll.kx_SetVar(context, "name", "1");
  dll.kx_SetVar(context, "Name", "2");

  EXPECT_EQ(variablesSent(), "{\n   \"Name\" : \"2\",\n   \"name\" : \"1\"\n  }");
}

TEST_F(Variables, MayBeEmptyInNameAndValue) {
  dll.kx_SetVar(context, "", "");

  EXPECT_EQ(variablesSent(), "{\n   \"\" : \"\"\n  }");
}

TEST_F(Variables, AreEscapedInTheirValuesAndNotInTheirNames) {
  dll.kx_SetVar(context, "a\"b\\c", "d\"e\\f\ng");

  EXPECT_EQ(variablesSent(), "{\n   \"a\"b\\c\" : \"d\\\"e\\\\f\\ng\"\n  }");
}

TEST_F(Variables, AreCopiedWhenTheyAreSet) {
  char name[] = "name";
  char value[] = "value";
  dll.kx_SetVar(context, name, value);

  name[0] = 'X';
  value[0] = 'X';

  EXPECT_EQ(variablesSent(), "{\n   \"name\" : \"value\"\n  }");
}

TEST_F(Variables, AreUsedUpByAPlayThatSucceeds) {
  dll.kx_SetVar(context, "name", "value");
  variablesSent();

  EXPECT_EQ(variablesSent(), "{}");
}

TEST_F(Variables, AreUsedUpByAPlayThatTheBrowserFails) {
  dll.kx_SetVar(context, "name", "value");
  ASSERT_EQ(playAnswered(answer("-9")), KX_FAILED);

  EXPECT_EQ(variablesSent(), "{}");
}

TEST_F(Variables, AreKeptByAPlayWhoseAnswerIsNone) {
  dll.kx_SetVar(context, "name", "value");
  ASSERT_EQ(playAnswered("garbage"), KX_FAILED);

  EXPECT_EQ(variablesSent(), "{\n   \"name\" : \"value\"\n  }");
}

TEST_F(Variables, AreKeptByOtherRequests) {
  dll.kx_SetVar(context, "name", "value");
  dll.kx_Display(context, "message", 10);
  dll.kx_TakeBrowserScreenshot(context, "path", 1, 10);

  EXPECT_EQ(variablesSent(), "{\n   \"name\" : \"value\"\n  }");
}

TEST_F(Variables, AreGoneWithTheBrowser) {
  dll.kx_SetVar(context, "name", "value");
  ASSERT_EQ(dll.kx_Exit(context, 5), KX_OK);
  FakeExtension again(defaultPipe());
  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);

  dll.kx_Play(context, "macro", 10);

  EXPECT_EQ(again.requests().at(1), playRequest("macro"));
}

class Display : public AttachedHostTest {};

TEST_F(Display, LogsTheMessageAheadOfTheExchange) {
  EXPECT_EQ(dll.kx_Display(context, "hello", 10), KX_OK);

  EXPECT_EQ(extension.requests().at(1), showRequest("hello"));
  EXPECT_EQ(log.text(), HostLog().info("show message hello").exchanged(showRequest("hello")).text());
}

TEST_F(Display, SucceedsWhateverTheBrowserAnswered) {
  for (const char* number : {"1", "0", "-5", "77"}) {
    extension.answers(answer(number));
    EXPECT_EQ(dll.kx_Display(context, "hello", 10), KX_OK) << number;
  }
  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -77);
}

TEST_F(Display, FailsWithoutAnAnswer) {
  extension.hangsUp();

  EXPECT_EQ(dll.kx_Display(context, "hello", 10), KX_FAILED);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -1);
  EXPECT_EQ(dll.lastErrorText(context), "Server unexpectedly closed connection");
}

TEST_F(Display, DoesNotGiveUpAtOnceWithOddTimeouts) {
  for (const int timeout : {0, -1, INT_MIN, INT_MAX}) {
    extension.runs([] { ::Sleep(30); });

    EXPECT_EQ(dll.kx_Display(context, "hello", timeout), KX_OK) << timeout;
  }
}

TEST_F(Display, KeepsWhatTheLastPlayLeft) {
  extension.answers("{\"errorCode\":1,\"extractData\":[\"one\"]}");
  ASSERT_EQ(dll.kx_Play(context, "macro", 10), KX_OK);

  ASSERT_EQ(dll.kx_Display(context, "hello", 10), KX_OK);

  EXPECT_EQ(dll.extract(context, 1), "one");
}

class Screenshot : public AttachedHostTest {};

TEST_F(Screenshot, IsOneOfThePageForTypeOneAlone) {
  EXPECT_EQ(dll.kx_TakeBrowserScreenshot(context, "C:\\p.png", KX_SCREENSHOT_PAGE, 10), KX_OK);

  EXPECT_EQ(extension.requests().at(1), captureRequest("C:\\\\p.png", "webpage"));
  EXPECT_EQ(log.text(), HostLog().exchanged(captureRequest("C:\\\\p.png", "webpage")).text());
}

TEST_F(Screenshot, IsOneOfTheBrowserForEveryOtherType) {
  for (const int type : {KX_SCREENSHOT_BROWSER, 2, -1, INT_MIN, INT_MAX}) {
    EXPECT_EQ(dll.kx_TakeBrowserScreenshot(context, "p", type, 10), KX_OK);
    EXPECT_EQ(extension.requests().back(), captureRequest("p", "browser")) << type;
  }
}

TEST_F(Screenshot, SucceedsWhateverTheBrowserAnswered) {
  extension.answers(answer("-5"));

  EXPECT_EQ(dll.kx_TakeBrowserScreenshot(context, "p", 1, 10), KX_OK);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -5);
}

TEST_F(Screenshot, FailsWithoutAnAnswer) {
  extension.hangsUp();

  EXPECT_EQ(dll.kx_TakeBrowserScreenshot(context, "p", 1, 10), KX_FAILED);
}

TEST_F(Screenshot, DoesNotGiveUpAtOnceWithOddTimeouts) {
  for (const int timeout : {0, -1, INT_MIN, INT_MAX}) {
    extension.runs([] { ::Sleep(30); });

    EXPECT_EQ(dll.kx_TakeBrowserScreenshot(context, "p", 1, timeout), KX_OK) << timeout;
  }
}

}  // namespace
