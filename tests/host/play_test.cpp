// What a host asks of a browser: variables, plays, messages, pictures. The requests, and what an answer
// means, are tested without the library; here is that each export is connected to them.
#include "host/host_test.h"

#include <climits>
#include <string>

namespace {

class Play : public AttachedHostTest {};

TEST_F(Play, KxPlaySendsTheMacroWithItsVariablesAndLogsTheExchange) {
  char name[] = "b";
  char value[] = "\"2\"";
  EXPECT_EQ(dll.kx_SetVar(context, name, value), KX_OK);
  EXPECT_EQ(dll.kx_SetVar(context, "a", "1"), KX_OK);
  name[0] = 'X';
  value[1] = 'X';
  expectLog(HostLog());

  EXPECT_EQ(play("URL\nGOTO=\xC3\xBC"), KX_OK);

  const std::string request = playRequest("URL\\nGOTO=\xC3\xBC", {{"a", "1"}, {"b", "\\\"2\\\""}});
  EXPECT_EQ(extension.requests().at(1), request);
  expectLog(HostLog().exchanged(request));
}

TEST_F(Play, KxPlaySucceedsForErrorNumberOneAloneAndUsesUpTheVariablesAllTheSame) {
  EXPECT_EQ(playAnswered(R"({"status":"fine","errorCode":1})"), KX_OK);
  expectError(1, "fine");
  dll.kx_SetVar(context, "name", "value");

  EXPECT_EQ(playAnswered(R"({"status":"line 3: no such element","errorCode":-921})"), KX_FAILED);
  expectError(-921, "line 3: no such element");
  EXPECT_EQ(playAnswered(R"({"status":"OK"})"), KX_FAILED);
  expectError(0, "OK");

  EXPECT_EQ(extension.requests().at(2), playRequest("macro", {{"name", "value"}}));
  EXPECT_EQ(extension.requests().at(3), playRequest("macro"));
}

TEST_F(Play, KxPlayThatIsNotAnsweredForgetsWhatTheLastPlayLeftAndKeepsTheVariables) {
  playAnswered(R"({"errorCode":1,"extractData":["one"],"profilerData":"data"})");
  ASSERT_EQ(dll.extract(context, 1), "one");
  dll.kx_SetVar(context, "name", "value");

  EXPECT_EQ(playAnswered("garbage"), KX_FAILED);

  EXPECT_EQ(dll.extract(context, 0), "");
  EXPECT_EQ(dll.profilerData(context), "");
  EXPECT_EQ(play(), KX_OK);
  EXPECT_EQ(extension.requests().back(), playRequest("macro", {{"name", "value"}}));
}

TEST_F(Play, KxPlayMayHaveAMacroLargerThanThePipesBuffers) {
  const std::string macro(700000, 'm');

  EXPECT_EQ(play(macro, 30), KX_OK);

  EXPECT_EQ(extension.requests().at(1), playRequest(macro));
}

class Display : public AttachedHostTest {};

TEST_F(Display, KxDisplayLogsTheMessageAheadOfTheExchange) {
  EXPECT_EQ(dll.kx_Display(context, "hello", 10), KX_OK);

  expectLog(HostLog().info("show message hello").exchanged(showRequest("hello")));
}

TEST_F(Display, KxDisplaySucceedsWhateverTheBrowserAnsweredAndKeepsWhatTheLastPlayLeft) {
  playAnswered(R"({"errorCode":1,"extractData":["one"]})");
  extension.answers(R"({"status":"no","errorCode":77})");

  EXPECT_EQ(dll.kx_Display(context, "hello", 10), KX_OK);

  expectError(-77, "no");
  EXPECT_EQ(dll.extract(context, 1), "one");
}

TEST_F(Display, KxDisplayFailsWithoutAnAnswer) {
  extension.hangsUp();

  EXPECT_EQ(dll.kx_Display(context, "hello", 10), KX_FAILED);

  expectError(-1, "Server unexpectedly closed connection");
}

class Screenshot : public AttachedHostTest {};

TEST_F(Screenshot, AScreenshotIsOneOfThePageForTypeOneAndOfTheBrowserForEveryOtherType) {
  EXPECT_EQ(dll.kx_TakeBrowserScreenshot(context, "C:\\p.png", KX_SCREENSHOT_PAGE, 10), KX_OK);
  expectLog(HostLog().exchanged(captureRequest("C:\\\\p.png", "webpage")));

  for (const int type : {KX_SCREENSHOT_BROWSER, 2, -1, INT_MIN, INT_MAX}) {
    EXPECT_EQ(dll.kx_TakeBrowserScreenshot(context, "p", type, 10), KX_OK);
    EXPECT_EQ(extension.requests().back(), captureRequest("p", "browser")) << type;
  }
}

TEST_F(Screenshot, AScreenshotSucceedsWhateverTheBrowserAnsweredAndFailsWithoutAnAnswer) {
  extension.answers(R"({"status":"no","errorCode":-5})").hangsUp();

  EXPECT_EQ(dll.kx_TakeBrowserScreenshot(context, "p", 1, 10), KX_OK);
  expectError(-5, "no");
  EXPECT_EQ(dll.kx_TakeBrowserScreenshot(context, "p", 1, 10), KX_FAILED);
  expectError(-1, "Server unexpectedly closed connection");
}

}  // namespace
