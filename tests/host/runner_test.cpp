// kxr_Init and kxr_Exit: hosts that start the browser themselves.
#include "host/host_test.h"

#include <climits>
#include <string>
#include <vector>

namespace {

class Runner : public HostTest {
 protected:
  int init(int timeout = 30, int openNewBrowser = 0) const {
    return dll.kxr_Init(context, "fx", options.c_str(), openNewBrowser, timeout);
  }

  // Firefox' pipe is named after the profile itself, Chrome's after the digest of its folder.
  const std::string options = "-runner -fxProfile=" + firefoxProfile;
  const std::string pipe = "\\\\.\\pipe\\" + firefoxProfile + ".runner";
  const std::string chromeOptions = "-runner -crUserDataDir=" + dataFolder;
  const std::string chromePipe = profilePipe("cr", dataFolder);
  const int context = dll.kx_ContextCreate();
};

TEST_F(Runner, KxrInitConnectsToFirefoxStepByStep) {
  Extension extension(pipe);

  EXPECT_EQ(init(), KX_OK);

  expectLog(HostLog().connected(pipe, ownPipe("fx", "unknonw")).exchanged(initRequest(false, true)));
  EXPECT_EQ(extension.connectionData(), ownPipe("fx", "unknonw") + "\n");
  expectError(context, 1, "OK");
}

TEST_F(Runner, KxrInitConnectsToChromeByThePipeOfItsFoldersDigest) {
  Extension extension(chromePipe);

  EXPECT_EQ(dll.kxr_Init(context, "cr", (chromeOptions + "\\").c_str(), 1, 30), KX_OK);

  expectLog(HostLog().connected(chromePipe, ownPipe("cr", "unknonw")).exchanged(initRequest(true, true)));
}

TEST_F(Runner, KxrInitAsksForANewBrowserWithEveryNumberButZero) {
  for (const int flag : {-1, 2, INT_MIN}) {
    Extension extension(pipe);
    EXPECT_EQ(init(30, flag), KX_OK);
    EXPECT_EQ(extension.requests().at(0), initRequest(true, true)) << flag;
    EXPECT_EQ(dll.kxr_Exit(context, 5), KX_OK);
  }
}

TEST_F(Runner, KxrInitSucceedsWhateverTheBrowserAnswered) {
  Extension extension(pipe);
  extension.answers(R"({"status":"no","errorCode":-9})");

  EXPECT_EQ(init(), KX_OK);

  expectError(context, -9, "no");
}

TEST_F(Runner, ARunnerCanUseEveryOtherExportAndTheProfilerStaysOff) {
  Extension extension(pipe);
  ASSERT_EQ(dll.kxr_Init(context, "fx", (options + " -profiler").c_str(), 0, 30), KX_OK);
  extension.answers(R"({"status":"OK","errorCode":1,"extractData":["one"]})");

  EXPECT_EQ(dll.kx_Play(context, "macro", 10), KX_OK);
  EXPECT_EQ(extension.requests().at(1), playRequest("macro"));
  EXPECT_EQ(dll.extract(context, 1), "one");
  EXPECT_EQ(dll.kx_GetBrowserProcessId(context), 0);
  EXPECT_EQ(dll.kx_Exit(context, 5), KX_OK);
}

TEST_F(Runner, KxrInitWithTimeoutZeroFailsAfterTheFirstAttemptAndCanBeTriedAgainAtOnce) {
  EXPECT_EQ(init(0), KX_FAILED);

  expectError(context, -1, "Could not open server pipe " + pipe);
  expectLog(HostLog().notFound(pipe).noProfiles().error("kxr_Init() Could not open server pipe " + pipe +
                                                        ", error (-1)"));
  EXPECT_EQ(dll.kx_Play(context, "macro", 1), KX_FAILED);
  EXPECT_EQ(dll.kxr_Exit(context, 1), KX_FAILED);
  Extension extension(pipe);
  EXPECT_EQ(init(), KX_OK);
}

TEST_F(Runner, KxrInitWithTimeoutOneMakesTwoMoreAttemptsAndTimesOut) {
  EXPECT_EQ(dll.kxr_Init(context, "cr", chromeOptions.c_str(), 0, 1), KX_FAILED);

  expectError(context, -3, "Connection timed out");
  expectLog(HostLog()
                .notFound(chromePipe)
                .notFound(chromePipe)
                .notFound(chromePipe)
                .error("kxr_Init() Connection timed out, error (-3)"));
}

TEST_F(Runner, KxrInitFailsWhenTheFirstAnswerIsNotValidJsonAndAsksTheBrowserNothingElse) {
  Extension extension(pipe);
  extension.answers("x");

  EXPECT_EQ(init(), KX_FAILED);

  expectError(context, -1, "Error in response processing");
  expectLog(HostLog()
                .connected(pipe, ownPipe("fx", "unknonw"))
                .refusedAtOnce(initRequest(false, true), "x")
                .error("kxr_Init() Error in response processing, error (-1)"));
  EXPECT_TRUE(extension.awaitGoodbye());
  EXPECT_EQ(extension.requests().size(), 1U);
}

TEST_F(Runner, KxrInitOverABrowserLeavesTheOldConnectionAlone) {
  Extension first(pipe);
  ASSERT_EQ(init(), KX_OK);
  Extension second(pipe);

  EXPECT_EQ(init(), KX_OK);

  EXPECT_EQ(first.requests().size(), 1U);
  EXPECT_NO_THROW(first.says("{}"));
  EXPECT_EQ(dll.kx_Play(context, "macro", 10), KX_OK);
  EXPECT_EQ(second.requests().size(), 2U);
}

TEST_F(Runner, KxrInitIsRefusedWithOneEntryAndLeavesABrowserThatIsThereAlone) {
  Extension extension(pipe);
  ASSERT_EQ(init(), KX_OK);
  struct Refusal {
    const char* browser;
    const char* options;
    std::string message;
  };
  for (const Refusal& refusal : std::vector<Refusal>{
           {nullptr, "-runner -crUserDataDir C:\\dir", "kxr_Init(): Invalid arguments"},
           {"fx", nullptr, "kxr_Init(): Invalid arguments"},
           {"fx", "-fxProfile a", "kxr_Init(): -runner required"},
           {"fx", "-runner", "kxr_Init(): -fxProfile required"},
           {"cr", "-runner", "-crUserDataDir required for kxr_GetCommandLine()"},
           {"CR", "-runner -crUserDataDir C:\\dir", "kxr_Init(): Unsupported browser CR"},
           {"%s%n", "-runner -crUserDataDir C:\\dir", "kxr_Init(): Unsupported browser %s%n"}}) {
    log.clear();

    EXPECT_EQ(dll.kxr_Init(context, refusal.browser, refusal.options, 0, 30), KX_FAILED);

    expectLog(HostLog().error(refusal.message));
  }
  EXPECT_EQ(dll.kxr_Init(99, nullptr, nullptr, 0, 30), KX_NO_CONTEXT);
  expectError(context, 1, "OK");
  EXPECT_EQ(dll.kx_Play(context, "macro", 10), KX_OK);
}

TEST_F(Runner, ASuccessfulKxrInitKeepsTheErrorOfTheStartThatFailedBefore) {
  ASSERT_EQ(init(0), KX_FAILED);
  Extension extension(pipe);
  ASSERT_EQ(init(), KX_OK);
  expectError(context, 1, "OK");

  ASSERT_EQ(dll.kxr_Exit(context, 5), KX_OK);

  expectError(context, -1, "Could not open server pipe " + pipe);
}

class RunnerExit : public Runner {
 protected:
  void SetUp() override {
    ASSERT_EQ(init(), KX_OK);
    log.clear();
  }

  Extension extension{pipe};
};

TEST_F(RunnerExit, KxrExitAsksTheBrowserAndClosesTheConnection) {
  EXPECT_EQ(dll.kxr_Exit(context, 5), KX_OK);

  EXPECT_EQ(extension.requests().at(1), exitRequest());
  EXPECT_TRUE(extension.awaitGoodbye());
  expectLog(HostLog().exchanged(exitRequest()));
  EXPECT_EQ(dll.kxr_Exit(context, 5), KX_FAILED);
}

TEST_F(RunnerExit, KxrExitSucceedsWhateverTheBrowserAnsweredAndWaitsForNoProcess) {
  const std::string answer = R"({"status":"no","errorCode":-5,"waitForProcessId":2147483644})";
  extension.answers(answer);

  EXPECT_EQ(dll.kxr_Exit(context, 5), KX_OK);

  expectLog(HostLog().exchanged(exitRequest(), answer));
  expectError(context, 0, "");
}

TEST_F(RunnerExit, KxrExitKeepsTheBrowserThatDoesNotConfirm) {
  extension.answers("x");

  EXPECT_EQ(dll.kxr_Exit(context, 5), KX_TIMEOUT);

  expectError(context, -1, "Error in response processing");
  expectLog(HostLog().refusedAtOnce(exitRequest(), "x").error("BrowserInstance::terminate() failed"));
  EXPECT_EQ(dll.kx_Play(context, "macro", 10), KX_OK);
  EXPECT_EQ(dll.kxr_Exit(context, 5), KX_OK);
}

TEST_F(RunnerExit, KxrExitKeepsTheConnectionToABrowserThatHasGone) {
  extension.hangsUpNow();

  EXPECT_EQ(dll.kxr_Exit(context, 5), KX_TIMEOUT);
  EXPECT_EQ(dll.kxr_Exit(context, 5), KX_TIMEOUT);
  EXPECT_EQ(dll.kx_Exit(context, 5), KX_OK);
}

}  // namespace
