// kxr_Init and kxr_Exit: hosts that start the browser themselves.
#include "host/host_test.h"

#include <climits>
#include <ostream>
#include <string>
#include <vector>

namespace {

class Runner : public HostTest {
 protected:
  void SetUp() override { context = dll.kx_ContextCreate(); }

  // Firefox' pipe is named after the profile itself, Chrome's after the digest of its folder.
  const std::string options = "-runner -fxProfile=" + firefoxProfile;
  const std::string pipe = "\\\\.\\pipe\\" + firefoxProfile + ".runner";
  const std::string chromeOptions = "-runner -crUserDataDir=" + dataFolder;
  const std::string chromePipe = profilePipe("cr", dataFolder);
  int context = -1;
};

TEST_F(Runner, ConnectsToFirefoxStepByStep) {
  FakeExtension extension(pipe);

  EXPECT_EQ(dll.kxr_Init(context, "fx", options.c_str(), 0, 30), KX_OK);

  EXPECT_EQ(log.text(),
            HostLog().connected(pipe, ownPipe("fx", "unknonw")).exchanged(initRequest(false, true)).text());
  EXPECT_EQ(extension.connectionData(), ownPipe("fx", "unknonw") + "\n");
  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), 1);
  EXPECT_EQ(dll.lastErrorText(context), "OK");
}

TEST_F(Runner, ConnectsToChromeByThePipeOfItsFoldersDigest) {
  FakeExtension extension(chromePipe);

  EXPECT_EQ(dll.kxr_Init(context, "cr", ("-runner -crUserDataDir=\"" + dataFolder + "\\\"").c_str(), 1, 30),
            KX_OK);

  EXPECT_EQ(
      log.text(),
      HostLog().connected(chromePipe, ownPipe("cr", "unknonw")).exchanged(initRequest(true, true)).text());
}

TEST_F(Runner, AsksForANewBrowserWithEveryNumberButZero) {
  for (const int flag : {1, -1, 2, INT_MIN}) {
    FakeExtension extension(pipe);
    EXPECT_EQ(dll.kxr_Init(context, "fx", options.c_str(), flag, 30), KX_OK);
    EXPECT_EQ(extension.requests().at(0), initRequest(true, true)) << flag;
    EXPECT_EQ(dll.kxr_Exit(context, 5), KX_OK);
  }
}

TEST_F(Runner, SucceedsWhateverTheBrowserAnswered) {
  FakeExtension extension(pipe);
  extension.answers("{\"status\":\"no\",\"errorCode\":-9}");

  EXPECT_EQ(dll.kxr_Init(context, "fx", options.c_str(), 0, 30), KX_OK);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -9);
}

TEST_F(Runner, DoesNotGiveUpAtOnceWithOddTimeouts) {
  for (const int timeout : {0, -1, INT_MIN, INT_MAX}) {
    FakeExtension extension(pipe);
    extension.runs([] { ::Sleep(30); });
    EXPECT_EQ(dll.kxr_Init(context, "fx", options.c_str(), 0, timeout), KX_OK) << timeout;
    EXPECT_EQ(dll.kxr_Exit(context, 5), KX_OK);
  }
}

TEST_F(Runner, DoesNotSwitchTheProfilerOn) {
  FakeExtension extension(pipe);
  ASSERT_EQ(dll.kxr_Init(context, "fx", (options + " -profiler").c_str(), 0, 30), KX_OK);

  dll.kx_Play(context, "macro", 10);

  EXPECT_EQ(extension.requests().at(1), playRequest("macro"));
}

TEST_F(Runner, CanUseEveryOtherExport) {
  FakeExtension extension(pipe);
  ASSERT_EQ(dll.kxr_Init(context, "fx", options.c_str(), 0, 30), KX_OK);
  extension.answers("{\"status\":\"OK\",\"errorCode\":1,\"extractData\":[\"one\"]}");

  EXPECT_EQ(dll.kx_Play(context, "macro", 10), KX_OK);
  EXPECT_EQ(dll.extract(context, 1), "one");
  EXPECT_EQ(dll.kx_GetBrowserProcessId(context), 0);
  EXPECT_EQ(dll.kx_Exit(context, 5), KX_OK);
}

TEST_F(Runner, WithTimeoutZeroFailsAfterTheFirstAttempt) {
  EXPECT_EQ(dll.kxr_Init(context, "cr", chromeOptions.c_str(), 0, 0), KX_FAILED);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -1);
  EXPECT_EQ(dll.lastErrorText(context), "Could not open server pipe " + chromePipe);
  EXPECT_EQ(log.text(), HostLog()
                            .notFound(chromePipe)
                            .error("kxr_Init() Could not open server pipe " + chromePipe + ", error (-1)")
                            .text());
}

TEST_F(Runner, WithTimeoutOneMakesTwoMoreAttemptsAndTimesOut) {
  EXPECT_EQ(dll.kxr_Init(context, "cr", chromeOptions.c_str(), 0, 1), KX_FAILED);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -3);
  EXPECT_EQ(dll.lastErrorText(context), "Connection timed out");
  EXPECT_EQ(log.text(), HostLog()
                            .notFound(chromePipe)
                            .notFound(chromePipe)
                            .notFound(chromePipe)
                            .error("kxr_Init() Connection timed out, error (-3)")
                            .text());
}

TEST_F(Runner, OfFirefoxLooksForALockedProfileWhenAnAttemptFails) {
  EXPECT_EQ(dll.kxr_Init(context, "fx", options.c_str(), 0, 0), KX_FAILED);

  EXPECT_EQ(log.text(), HostLog()
                            .notFound(pipe)
                            .noProfiles()
                            .error("kxr_Init() Could not open server pipe " + pipe + ", error (-1)")
                            .text());
}

TEST_F(Runner, LeavesTheContextWithoutABrowserWhenItFails) {
  ASSERT_EQ(dll.kxr_Init(context, "cr", chromeOptions.c_str(), 0, 0), KX_FAILED);

  EXPECT_EQ(dll.kx_Play(context, "macro", 1), KX_FAILED);
  EXPECT_EQ(dll.kxr_Exit(context, 1), KX_FAILED);
}

TEST_F(Runner, CanBeTriedAgainAtOnce) {
  ASSERT_EQ(dll.kxr_Init(context, "fx", options.c_str(), 0, 0), KX_FAILED);
  FakeExtension extension(pipe);

  EXPECT_EQ(dll.kxr_Init(context, "fx", options.c_str(), 0, 30), KX_OK);
}

TEST_F(Runner, FailsWhenTheFirstAnswerIsNone) {
  FakeExtension extension(pipe);
  extension.answers("x");

  EXPECT_EQ(dll.kxr_Init(context, "fx", options.c_str(), 0, 30), KX_FAILED);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -1);
  EXPECT_EQ(dll.lastErrorText(context), "Error in response processing");
  const std::string end = HostLog().error("kxr_Init() Error in response processing, error (-1)").text();
  EXPECT_TRUE(log.text().ends_with(end)) << log.text();
  EXPECT_TRUE(extension.awaitGoodbye());
  EXPECT_EQ(extension.requests().size(), 1U);
}

TEST_F(Runner, TriesAgainAfterAnExtensionThatNeverConnectedBack) {
  FakeExtension extension(pipe, FakeExtension::AfterName::StayAway);

  // The first attempt's wait runs out, and nobody is there for the next two.
  EXPECT_EQ(dll.kxr_Init(context, "fx", options.c_str(), 0, 1), KX_FAILED);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -3);
  EXPECT_EQ(dll.lastErrorText(context), "Connection timed out");
}

TEST_F(Runner, OverABrowserLeavesTheOldConnectionAlone) {
  FakeExtension first(pipe);
  ASSERT_EQ(dll.kxr_Init(context, "fx", options.c_str(), 0, 30), KX_OK);
  FakeExtension second(pipe);

  EXPECT_EQ(dll.kxr_Init(context, "fx", options.c_str(), 0, 30), KX_OK);

  EXPECT_EQ(first.requests().size(), 1U);
  EXPECT_NO_THROW(first.says("{}"));
  EXPECT_EQ(dll.kx_Play(context, "macro", 10), KX_OK);
  EXPECT_EQ(second.requests().size(), 2U);
}

struct Refusal {
  std::string name;
  const char* browser;
  const char* options;
  std::string message;
};

void PrintTo(const Refusal& refusal, std::ostream* stream) {
  *stream << refusal.name;
}

class RefusedRunner : public Runner, public ::testing::WithParamInterface<Refusal> {};

TEST_P(RefusedRunner, LeavesOneEntryAndTheContextAsItWas) {
  ASSERT_EQ(dll.kxr_Init(context, "cr", chromeOptions.c_str(), 0, 0), KX_FAILED);
  log.clear();

  EXPECT_EQ(dll.kxr_Init(context, GetParam().browser, GetParam().options, 0, 30), KX_FAILED);

  EXPECT_EQ(log.text(), HostLog().error(GetParam().message).text());
  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -1);
  EXPECT_EQ(dll.lastErrorText(context), "Could not open server pipe " + chromePipe);
}

TEST_P(RefusedRunner, LeavesABrowserThatIsThereAlone) {
  FakeExtension extension(pipe);
  ASSERT_EQ(dll.kxr_Init(context, "fx", options.c_str(), 0, 30), KX_OK);

  EXPECT_EQ(dll.kxr_Init(context, GetParam().browser, GetParam().options, 0, 30), KX_FAILED);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), 1);
  EXPECT_EQ(dll.kx_Play(context, "macro", 10), KX_OK);
}

TEST_P(RefusedRunner, IsNoticedAfterAMissingContext) {
  EXPECT_EQ(dll.kxr_Init(99, GetParam().browser, GetParam().options, 0, 30), KX_NO_CONTEXT);

  EXPECT_EQ(log.text(), HostLog().error("kxr_Init(): context 99 does not exist").text());
}

INSTANTIATE_TEST_SUITE_P(
    With, RefusedRunner,
    ::testing::Values(
        Refusal{"NullBrowser", nullptr, "-runner -crUserDataDir C:\\dir", "kxr_Init(): Invalid arguments"},
        Refusal{"NullOptions", "fx", nullptr, "kxr_Init(): Invalid arguments"},
        Refusal{"BothNull", nullptr, nullptr, "kxr_Init(): Invalid arguments"},
        Refusal{"NoOptions", "fx", "", "kxr_Init(): -runner required"},
        Refusal{"NoRunner", "fx", "-fxProfile a", "kxr_Init(): -runner required"},
        Refusal{"NoRunnerForAnotherBrowser", "xx", "", "kxr_Init(): -runner required"},
        Refusal{"NoProfile", "fx", "-runner", "kxr_Init(): -fxProfile required"},
        Refusal{"TheOtherBrowsersOptionForFirefox", "fx", "-runner -crUserDataDir C:\\dir",
                "kxr_Init(): -fxProfile required"},
        Refusal{"NoFolder", "cr", "-runner", "-crUserDataDir required for kxr_GetCommandLine()"},
        Refusal{"EmptyFolder", "cr", "-runner -crUserDataDir=\"\"",
                "-crUserDataDir required for kxr_GetCommandLine()"},
        Refusal{"AnotherBrowser", "xx", "-runner -fxProfile a", "kxr_Init(): Unsupported browser xx"},
        Refusal{"BrowserInOtherLetters", "CR", "-runner -crUserDataDir C:\\dir",
                "kxr_Init(): Unsupported browser CR"},
        Refusal{"PercentSigns", "%s%n", "-runner -crUserDataDir C:\\dir",
                "kxr_Init(): Unsupported browser %s%n"}),
    [](const auto& test) { return test.param.name; });

class RunnerExit : public Runner {
 protected:
  void SetUp() override {
    Runner::SetUp();
    ASSERT_EQ(dll.kxr_Init(context, "fx", options.c_str(), 0, 30), KX_OK);
    log.clear();
  }

  FakeExtension extension{pipe};
};

TEST_F(RunnerExit, AsksTheBrowserAndClosesTheConnection) {
  EXPECT_EQ(dll.kxr_Exit(context, 5), KX_OK);

  EXPECT_EQ(extension.requests().at(1), exitRequest());
  EXPECT_TRUE(extension.awaitGoodbye());
  EXPECT_EQ(log.text(), HostLog().exchanged(exitRequest()).text());
  EXPECT_EQ(dll.kxr_Exit(context, 5), KX_FAILED);
}

TEST_F(RunnerExit, SucceedsWhateverTheBrowserAnsweredAndWaitsForNoProcess) {
  const std::string answer = "{\"status\":\"no\",\"errorCode\":-5,\"waitForProcessId\":2147483644}";
  extension.answers(answer);

  EXPECT_EQ(dll.kxr_Exit(context, 5), KX_OK);

  EXPECT_EQ(log.text(), HostLog().exchanged(exitRequest(), answer.size()).text());
  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), 0);
}

TEST_F(RunnerExit, KeepsTheBrowserThatDoesNotConfirm) {
  extension.answers("x");

  EXPECT_EQ(dll.kxr_Exit(context, 5), KX_TIMEOUT);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -1);
  EXPECT_EQ(dll.lastErrorText(context), "Error in response processing");
  EXPECT_EQ(log.text(),
            HostLog()
                .sent(exitRequest())
                .info("Client: Read 1 bytes from communication pipe")
                .error("BrowserInstance::processResponseBytes() Can not parse char x(120) at position 0, "
                       "responce chunk 'x'")
                .error("BrowserInstance::sendCommand() Error in response processing")
                .error("BrowserInstance::terminate() failed")
                .text());
  EXPECT_EQ(dll.kx_Play(context, "macro", 10), KX_OK);
  EXPECT_EQ(dll.kxr_Exit(context, 5), KX_OK);
}

TEST_F(RunnerExit, KeepsTheBrowserThatDoesNotAnswerInTime) {
  extension.staysSilent();

  EXPECT_EQ(dll.kxr_Exit(context, 1), KX_TIMEOUT);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -3);
  EXPECT_EQ(dll.kxr_Exit(context, 5), KX_OK);
}

TEST_F(RunnerExit, KeepsTheConnectionToABrowserThatHasGone) {
  extension.hangsUpNow();

  EXPECT_EQ(dll.kxr_Exit(context, 5), KX_TIMEOUT);
  EXPECT_EQ(dll.kxr_Exit(context, 5), KX_TIMEOUT);
  EXPECT_EQ(dll.kx_Exit(context, 5), KX_OK);
}

TEST_F(RunnerExit, DoesNotGiveUpAtOnceWithOddTimeouts) {
  for (const int timeout : {0, -1, INT_MIN, INT_MAX}) {
    FakeExtension other(chromePipe);
    const int second = dll.kx_ContextCreate();
    ASSERT_EQ(dll.kxr_Init(second, "cr", chromeOptions.c_str(), 0, 30), KX_OK);
    other.runs([] { ::Sleep(30); });

    EXPECT_EQ(dll.kxr_Exit(second, timeout), KX_OK) << timeout;
  }
}

TEST_F(RunnerExit, EndsAContextThatKxInitStarted) {
  FakeExtension other(defaultPipe());
  const int second = dll.kx_ContextCreate();
  ASSERT_EQ(dll.kx_Init(second, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);

  EXPECT_EQ(dll.kxr_Exit(second, 5), KX_OK);

  EXPECT_TRUE(other.awaitGoodbye());
}

}  // namespace
