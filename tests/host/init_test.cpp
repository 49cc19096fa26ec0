// kx_Init: attaching to a browser, launching one, giving up.
#include "host/host_test.h"
#include "host/partner.h"
#include "support/win32/log_signal.h"
#include "support/win32/named_mutex.h"

#include <climits>
#include <string>
#include <thread>
#include <vector>

namespace {

using Requests = std::vector<std::string>;

class Init : public HostTest {
 protected:
  const int context = dll.kx_ContextCreate();
};

TEST_F(Init, KxInitAttachesToARunningFirefoxStepByStep) {
  Extension extension(defaultPipe());

  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);

  expectLog(HostLog()
                .start("fx", "(null)", "(null)", 0, 0, 30)
                .noProfiles()
                .connected(defaultPipe(), ownPipe())
                .exchanged(initRequest(false, false)));
  EXPECT_EQ(extension.connectionData(), ownPipe() + "\n");
  EXPECT_EQ(extension.requests(), Requests{initRequest(false, false)});
  log.clear();
  EXPECT_EQ(dll.kx_GetBrowserProcessId(context), 0);
  expectLog(HostLog());
}

TEST_F(Init, KxInitAttachesToARunningChromeStepByStep) {
  Extension extension(defaultPipe("cr"));

  EXPECT_EQ(dll.kx_Init(context, "cr", "", "", 0, 1, 30), KX_OK);

  expectLog(HostLog()
                .start("cr", "", "", 0, 1, 30)
                .connected(defaultPipe("cr"), ownPipe("cr"))
                .exchanged(initRequest(true, false)));
}

TEST_F(Init, KxInitAsksForANewBrowserWithEveryNumberButZero) {
  for (const int flag : {2, -1, INT_MIN, 256}) {
    Extension extension(defaultPipe());
    EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, flag, 30), KX_OK);
    EXPECT_EQ(extension.requests().at(0), initRequest(true, false)) << flag;
    EXPECT_EQ(dll.kx_Exit(context, 5), KX_OK);
  }
}

TEST_F(Init, KxInitSucceedsWhateverTheBrowserAnswered) {
  Extension extension(defaultPipe());
  extension.answers(R"({"status":"no","errorCode":-9})");

  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);

  expectError(context, -9, "no");
}

TEST_F(Init, KxInitSwitchesTheProfilerOnByTheOptionAlone) {
  Extension extension(defaultPipe());
  ASSERT_EQ(dll.kx_Init(context, "fx", "-profiler=off", nullptr, 0, 0, 30), KX_OK);

  dll.kx_Play(context, "macro", 10);

  EXPECT_EQ(extension.requests().at(1), profiledPlayRequest("macro"));
}

TEST_F(Init, KxInitOverABrowserLeavesTheOldConnectionAlone) {
  Extension first(defaultPipe());
  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);
  Extension second(defaultPipe());

  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);

  EXPECT_EQ(dll.kx_Play(context, "macro", 10), KX_OK);
  EXPECT_EQ(second.requests().size(), 2U);
  EXPECT_EQ(first.requests().size(), 1U);
  EXPECT_NO_THROW(first.says("{}"));
}

TEST_F(Init, KxInitKeepsManyContextsApartThatAreUsedByAThreadEach) {
  constexpr int kThreads = 4;
  std::vector<std::thread> threads;
  for (int index = 0; index < kThreads; ++index) {
    threads.emplace_back([this, index] {
      const std::string folder = dataFolder + "-" + std::to_string(index);
      Extension extension(profilePipe("cr", folder));
      const int own = attach("cr", ("-crUserDataDir=" + folder).c_str());
      EXPECT_EQ(extension.connectionData(), ownPipe("cr", "unknonw") + "\n");
      for (int play = 0; play < 10; ++play) {
        extension.answers(R"({"errorCode":1,"status":")" + std::to_string(index) + "\"}");
        ASSERT_EQ(dll.kx_Play(own, std::to_string(play).c_str(), 30), KX_OK);
        EXPECT_EQ(dll.lastErrorText(own), std::to_string(index));
        EXPECT_EQ(extension.requests().back(), playRequest(std::to_string(play)));
      }
      ASSERT_EQ(dll.kx_Exit(own, 5), KX_OK);
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST_F(Init, KxInitCanBeTriedAgainAtOnceAfterAFailure) {
  ASSERT_EQ(startMissing(context), 2);
  Extension extension(defaultPipe());

  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, kMissing, 0, 0, 30), KX_OK);
}

TEST_F(Init, KxInitTimesOutWithoutALaunchWhenTheExtensionDoesNotConnectBack) {
  IdleBrowser browser;
  Extension extension(defaultPipe(), Extension::AfterName::StayAway);

  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, browser.program().c_str(), 0, 0, 1), KX_TIMEOUT);

  expectError(context, -3, "Failed to establish connection");
  EXPECT_FALSE(browser.wasLaunched());
  // Which number the system has by then, and what closing an end to which nobody came reports, is the
  // system's.
  const std::string text = withoutNumbersAfter("(pipe_accept) error=", log.text());
  HostLog begin;
  begin.start("fx", "(null)", browser.program(), 0, 0, 1)
      .noProfiles()
      .connected(defaultPipe(), ownPipe())
      .error("pipe_accept: timeout")
      .error("Client: (pipe_accept) error=N");
  EXPECT_TRUE(text.starts_with(begin.text())) << text;
  EXPECT_TRUE(text.ends_with(HostLog().error("kx_Init(): Failed to establish connection, error (-3)").text()))
      << text;
}

TEST_F(Init, KxInitFailsWhenTheFirstAnswerIsNotValidJsonAndAsksNoAttachedBrowserToExit) {
  Extension extension(defaultPipe());
  extension.answers("garbage");

  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, kMissing, 0, 0, 30), KX_FAILED);

  expectError(context, -1, "Error in response processing");
  expectLog(HostLog()
                .start("fx", "(null)", kMissing, 0, 0, 30)
                .noProfiles()
                .connected(defaultPipe(), ownPipe())
                .refusedAtOnce(initRequest(false, false), "garbage")
                .error("kx_Init(): Error in response processing, error (-1)"));
  EXPECT_TRUE(extension.awaitGoodbye());
  EXPECT_EQ(extension.requests().size(), 1U);
  EXPECT_EQ(dll.kx_Play(context, "macro", 1), KX_FAILED);
}

TEST_F(Init, KxInitDoesNotLaunchBesideAFirefoxThatHoldsTheProfile) {
  const TempFolder roaming("appdata");
  const EnvironmentVariable applicationData("APPDATA", roaming.path());
  roaming.write("Mozilla\\Firefox\\profiles.ini", "[P]\nName=default\nIsRelative=1\nPath=Profiles/p\n");
  const std::string lock = roaming.write("Mozilla\\Firefox\\Profiles\\p\\parent.lock", "");
  const HANDLE held = ::CreateFileW(wide(lock).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  IdleBrowser browser;

  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, browser.program().c_str(), 0, 0, 1), KX_FAILED);

  ::CloseHandle(held);
  expectError(context, KX_ERROR_PROFILE_IN_USE, "Could not open server pipe " + defaultPipe());
  EXPECT_FALSE(browser.wasLaunched());
  expectLog(HostLog()
                .start("fx", "(null)", browser.program(), 0, 0, 1)
                .notFound(defaultPipe())
                .info("Client: connect failed but lock present")
                .notFound(defaultPipe())
                .error("kx_Init(): Could not open server pipe " + defaultPipe() + ", error (-4)"));
}

class Launch : public Init {
 protected:
  // Starts the browser through the library on a thread of its own, so that the extension can come up when the
  // browser is there.
  void launch(const std::string& browserName, const std::string& options) {
    thread = std::thread([=, this] {
      result =
          dll.kx_Init(context, browserName.c_str(), options.c_str(), browser.program().c_str(), 0, 0, 30);
    });
    EXPECT_GT(browser.processId(), 0);
  }

  int await() {
    thread.join();
    return result;
  }

  IdleBrowser browser;
  std::thread thread;
  int result = 99;
};

TEST_F(Launch, ALaunchTellsTheBrowserItsProfileAndPageAndTheHostItsProcess) {
  const std::string pipe = profilePipe("fx", firefoxProfile);

  launch("fx", "-fxProfile " + firefoxProfile);
  Extension extension(pipe);

  EXPECT_EQ(await(), KX_OK);
  EXPECT_EQ(browser.commandLine(), browser.program() + " -no-remote -P \"" + firefoxProfile + "\" file://" +
                                       startPage(firefoxProfile) + "?pipe=" + pipe);
  EXPECT_EQ(browser.folder(), browser.program().substr(0, browser.program().rfind('\\')));
  EXPECT_EQ(extension.requests().at(0), initRequest(false, true));
  EXPECT_EQ(dll.kx_GetBrowserProcessId(context), browser.processId());
}

TEST_F(Launch, ALaunchWithoutAProfileHasNoSwitchesAndHoldsTheStartLockUntilTheExtensionIsThere) {
  const std::string lock = "kx-cr-default." + user + ".lock";
  const NamedMutex keptAlive(lock);

  launch("cr", "");
  EXPECT_EQ(stateOfMutex(lock), MutexState::Owned);
  Extension extension(defaultPipe("cr"));

  EXPECT_EQ(await(), KX_OK);
  EXPECT_EQ(stateOfMutex(lock), MutexState::Free);
  EXPECT_EQ(browser.commandLine(), browser.program());
}

TEST_F(Launch, ALaunchedBrowserIsEndedWhenTheFirstRequestFails) {
  launch("fx", "");
  Extension extension(defaultPipe());
  extension.hangsUp();

  EXPECT_EQ(await(), KX_FAILED);
  EXPECT_TRUE(browser.hasEnded());
  expectError(context, -1, "Server unexpectedly closed connection");
}

TEST_F(Launch, ALaunchedBrowserIsAskedToExitWhenTheFirstAnswerIsNotValidJson) {
  launch("fx", "");
  Extension extension(defaultPipe());
  extension.answers("garbage");

  EXPECT_EQ(await(), KX_FAILED);
  EXPECT_EQ(extension.requests(), (Requests{initRequest(false, true), exitRequest()}));
  // The error is that of the start, not of the exit.
  expectError(context, -1, "Error in response processing");
}

TEST_F(Launch, ALaunchIsDoneOnceAndEndedWhenTheAttemptsAreUsedUp) {
  const LogSignal untilItHasStarted("Client: connecting to server", 2,
                                    [&] { EXPECT_GT(browser.processId(), 0); });

  EXPECT_EQ(dll.kx_Init(context, "FX", "-fxProfile work", browser.program().c_str(), 0, 1, 5), KX_FAILED);

  expectError(context, -1, "Could not open server pipe ");
  expectLog(HostLog()
                .start("FX", "-fxProfile work", browser.program(), 0, 1, 5)
                .notFound("")
                .info("Starting binary " + browser.program() + " ")
                .notFound("")
                .notFound("")
                .error("kx_Init(): Could not open server pipe , error (-1)")
                .sending(exitRequest())
                .error("BrowserInstance::sendCommand() Error while sending request, error=-1")
                .error("BrowserInstance::terminate() failed, kill browser process"));
  EXPECT_TRUE(browser.hasEnded());
}

}  // namespace
