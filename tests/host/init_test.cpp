// kx_Init: attaching to a browser, launching one, giving up.
#include "host/host_test.h"
#include "host/partner.h"
#include "support/win32/log_signal.h"

#include <climits>
#include <string>
#include <thread>

namespace {

constexpr char kConnecting[] = "Client: connecting to server";
constexpr char kMissing[] = "C:\\windows\\no_such_browser.exe";

class Init : public HostTest {
 protected:
  void SetUp() override { context = dll.kx_ContextCreate(); }

  std::string startLockName() const { return "kx-fx-default." + user + ".lock"; }

  // Whether another thread could start now. It does not.
  static bool isLocked(const std::string& name) {
    bool locked = false;
    std::thread([&] {
      const HANDLE mutex = ::CreateMutexW(nullptr, FALSE, wide(name).c_str());
      const DWORD result = ::WaitForSingleObject(mutex, 0);
      locked = result == WAIT_TIMEOUT;
      EXPECT_NE(result, WAIT_ABANDONED_0) << "the lock's holder has gone without giving it back";
      if (result != WAIT_TIMEOUT) {
        ::ReleaseMutex(mutex);
      }
      ::CloseHandle(mutex);
    }).join();
    return locked;
  }

  // Firefox' own list with one profile, whose lock a running Firefox holds.
  void profileIsInUse() {
    firefox.write("Mozilla\\Firefox\\profiles.ini",
                  "[Profile0]\nName=default\nIsRelative=1\nPath=Profiles/p\n");
    const std::string lock = firefox.write("Mozilla\\Firefox\\Profiles\\p\\parent.lock", "");
    parentLock = ::CreateFileW(wide(lock).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                               FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(parentLock, INVALID_HANDLE_VALUE);
    applicationData.set(firefox.path());
  }

  void TearDown() override {
    if (parentLock != INVALID_HANDLE_VALUE) {
      ::CloseHandle(parentLock);
    }
  }

  int context = -1;
  TempFolder firefox{"appdata"};
  EnvironmentVariable applicationData{"APPDATA"};
  HANDLE parentLock = INVALID_HANDLE_VALUE;
};

TEST_F(Init, AttachesToARunningFirefoxStepByStep) {
  FakeExtension extension(defaultPipe());

  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);

  EXPECT_EQ(log.text(), HostLog()
                            .start("fx", "(null)", "(null)", 0, 0, 30)
                            .noProfiles()
                            .connected(defaultPipe(), ownPipe())
                            .exchanged(initRequest(false, false))
                            .text());
  EXPECT_EQ(extension.connectionData(), ownPipe() + "\n");
  EXPECT_EQ(extension.requests(), std::vector<std::string>{initRequest(false, false)});
}

TEST_F(Init, AttachesToARunningChromeStepByStep) {
  FakeExtension extension(defaultPipe("cr"));

  EXPECT_EQ(dll.kx_Init(context, "cr", "", "", 0, 1, 30), KX_OK);

  EXPECT_EQ(log.text(), HostLog()
                            .start("cr", "", "", 0, 1, 30)
                            .connected(defaultPipe("cr"), ownPipe("cr"))
                            .exchanged(initRequest(true, false))
                            .text());
}

TEST_F(Init, CallsTheProfileOfAnExplicitPipeByTheSameOddName) {
  FakeExtension extension(profilePipe("fx", firefoxProfile));

  EXPECT_EQ(dll.kx_Init(context, "fx", ("-fxProfile " + firefoxProfile).c_str(), nullptr, 0, 0, 30), KX_OK);

  EXPECT_EQ(extension.connectionData(), ownPipe("fx", "unknonw") + "\n");
}

TEST_F(Init, AttachesToTheProfileThatFirefoxStartsWith) {
  firefox.write("Mozilla\\Firefox\\profiles.ini", "[Profile0]\r\nName=dev\r\nDefault=1\r\n");
  applicationData.set(firefox.path());
  FakeExtension extension("\\\\.\\pipe\\kx-fx-dev." + user);

  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);

  EXPECT_EQ(extension.connectionData(), ownPipe("fx", "dev") + "\n");
}

TEST_F(Init, AsksForANewBrowserWithEveryNumberButZero) {
  for (const int flag : {1, 2, -1, INT_MIN, 256}) {
    FakeExtension extension(defaultPipe());
    EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, flag, 30), KX_OK);
    EXPECT_EQ(extension.requests().at(0), initRequest(true, false)) << flag;
    EXPECT_EQ(dll.kx_Exit(context, 5), KX_OK);
  }
}

TEST_F(Init, SucceedsWhateverTheBrowserAnswered) {
  FakeExtension extension(defaultPipe());
  extension.answers("{\"status\":\"no\",\"errorCode\":-9}");

  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -9);
  EXPECT_EQ(dll.lastErrorText(context), "no");
}

TEST_F(Init, DoesNotGiveUpAtOnceWithOddTimeouts) {
  for (const int timeout : {0, -1, -5, INT_MIN, INT_MAX}) {
    FakeExtension extension(defaultPipe());
    // Long enough for a wait of no time at all to run out.
    extension.runs([] { ::Sleep(50); });
    EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, timeout), KX_OK) << timeout;
    EXPECT_EQ(dll.kx_Exit(context, 5), KX_OK);
  }
}

TEST_F(Init, SwitchesTheProfilerOnByTheOptionAlone) {
  for (const char* browser : {"fx", "cr"}) {
    FakeExtension extension(defaultPipe(browser));
    ASSERT_EQ(dll.kx_Init(context, browser, "-profiler=off", nullptr, 0, 0, 30), KX_OK);

    dll.kx_Play(context, "macro", 10);

    EXPECT_EQ(extension.requests().at(1),
              "{\n \"type\" : \"play\",\n \"args\" : {\n  \"source\" : \"macro\",\n  \"vars\" : {},\n"
              "  \"use_profiler\" : true\n }\n}")
        << browser;
  }
}

TEST_F(Init, OfAnAttachedBrowserKnowsNoProcess) {
  FakeExtension extension(defaultPipe());
  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);
  log.clear();

  EXPECT_EQ(dll.kx_GetBrowserProcessId(context), 0);

  EXPECT_FALSE(fileExists(log.path()));
}

TEST_F(Init, OverABrowserLeavesTheOldConnectionAlone) {
  FakeExtension first(defaultPipe());
  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);
  FakeExtension second(defaultPipe());
  log.clear();

  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);

  EXPECT_EQ(log.text(), HostLog()
                            .start("fx", "(null)", "(null)", 0, 0, 30)
                            .noProfiles()
                            .connected(defaultPipe(), ownPipe())
                            .exchanged(initRequest(false, false))
                            .text());
  EXPECT_EQ(dll.kx_Play(context, "macro", 10), KX_OK);
  EXPECT_EQ(second.requests().size(), 2U);
  EXPECT_EQ(first.requests().size(), 1U);
  EXPECT_NO_THROW(first.says("{}"));
}

TEST_F(Init, ThatFailsOverABrowserLeavesTheContextWithoutOne) {
  FakeExtension first(defaultPipe());
  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);

  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, kMissing, 0, 0, 1), 2);

  EXPECT_EQ(dll.kx_Play(context, "macro", 10), KX_FAILED);
  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -2);
  EXPECT_EQ(first.requests().size(), 1U);
  EXPECT_NO_THROW(first.says("{}"));
}

TEST_F(Init, KeepsTwoContextsApart) {
  const int other = dll.kx_ContextCreate();
  FakeExtension firefoxExtension(defaultPipe("fx"));
  FakeExtension chromeExtension(defaultPipe("cr"));
  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);
  ASSERT_EQ(dll.kx_Init(other, "cr", nullptr, nullptr, 0, 0, 30), KX_OK);
  firefoxExtension.answers("{\"status\":\"fox\",\"errorCode\":5}");
  chromeExtension.answers("{\"status\":\"chrome\",\"errorCode\":6}");

  dll.kx_Display(context, "to Firefox", 10);
  dll.kx_Display(other, "to Chrome", 10);

  EXPECT_EQ(dll.lastErrorText(context), "fox");
  EXPECT_EQ(dll.lastErrorText(other), "chrome");
  EXPECT_EQ(firefoxExtension.requests().at(1), showRequest("to Firefox"));
  EXPECT_EQ(chromeExtension.requests().at(1), showRequest("to Chrome"));
}

TEST_F(Init, KeepsManyContextsApartThatAreUsedByAThreadEach) {
  constexpr int kThreads = 4;
  std::vector<std::thread> threads;
  for (int index = 0; index < kThreads; ++index) {
    threads.emplace_back([this, index] {
      const std::string folder = dataFolder + "-" + std::to_string(index);
      FakeExtension extension(profilePipe("cr", folder));
      const int own = dll.kx_ContextCreate();
      ASSERT_EQ(dll.kx_Init(own, "cr", ("-crUserDataDir=" + folder).c_str(), nullptr, 0, 0, 30), KX_OK);
      EXPECT_EQ(extension.connectionData(), ownPipe("cr", "unknonw") + "\n");
      for (int play = 0; play < 10; ++play) {
        extension.answers("{\"errorCode\":1,\"status\":\"" + std::to_string(index) + "\"}");
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

TEST_F(Init, GivesTheStartLockBackOnceTheExtensionIsFound) {
  FakeExtension extension(defaultPipe());
  extension.runs([this] { EXPECT_FALSE(isLocked(startLockName())); });

  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 0, 0, 30), KX_OK);

  EXPECT_FALSE(isLocked(startLockName()));
}

TEST_F(Init, GivesTheStartLockBackWhenItFails) {
  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, kMissing, 0, 0, 1), 2);

  EXPECT_FALSE(isLocked(startLockName()));
}

TEST_F(Init, EndsWhenTheExtensionDoesNotConnectBack) {
  IdleBrowser browser;
  FakeExtension extension(defaultPipe(), FakeExtension::AfterName::StayAway);

  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, browser.program().c_str(), 0, 0, 1), KX_TIMEOUT);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -3);
  EXPECT_EQ(dll.lastErrorText(context), "Failed to establish connection");
  EXPECT_FALSE(browser.wasLaunched());
  // Which number the system has by then, and what closing an end to which nobody came reports, is the
  // system's.
  const std::string text = withoutNumbersAfter("(pipe_accept) error=", log.text());
  const std::string begin = HostLog()
                                .start("fx", "(null)", browser.program(), 0, 0, 1)
                                .noProfiles()
                                .connected(defaultPipe(), ownPipe())
                                .error("pipe_accept: timeout")
                                .error("Client: (pipe_accept) error=N")
                                .text();
  EXPECT_EQ(text.substr(0, begin.size()), begin);
  const std::string end = HostLog().error("kx_Init(): Failed to establish connection, error (-3)").text();
  EXPECT_TRUE(text.ends_with(end)) << text;
}

TEST_F(Init, CanBeTriedAgainAtOnceAfterAFailure) {
  ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, kMissing, 0, 0, 1), 2);
  FakeExtension extension(defaultPipe());

  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, kMissing, 0, 0, 30), KX_OK);
}

TEST_F(Init, FailsWhenTheFirstAnswerIsNone) {
  FakeExtension extension(defaultPipe());
  extension.answers("garbage");

  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, kMissing, 0, 0, 30), KX_FAILED);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -1);
  EXPECT_EQ(dll.lastErrorText(context), "Error in response processing");
  EXPECT_EQ(log.text(),
            HostLog()
                .start("fx", "(null)", kMissing, 0, 0, 30)
                .noProfiles()
                .connected(defaultPipe(), ownPipe())
                .sent(initRequest(false, false))
                .info("Client: Read 7 bytes from communication pipe")
                .error("BrowserInstance::processResponseBytes() Can not parse char g(103) at position 0, "
                       "responce chunk 'garbage'")
                .error("BrowserInstance::sendCommand() Error in response processing")
                .error("kx_Init(): Error in response processing, error (-1)")
                .text());
  EXPECT_TRUE(extension.awaitGoodbye());
  // A browser that was attached to is not asked to exit.
  EXPECT_EQ(extension.requests().size(), 1U);
  EXPECT_EQ(dll.kx_Play(context, "macro", 1), KX_FAILED);
}

TEST_F(Init, FailsWhenTheFirstRequestIsNotAnsweredInTime) {
  FakeExtension extension(defaultPipe());
  extension.staysSilent();

  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, kMissing, 0, 0, 1), KX_FAILED);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -3);
  EXPECT_EQ(dll.lastErrorText(context), "Error while receiving response");
}

TEST_F(Init, DoesNotLaunchBesideAFirefoxThatHoldsTheProfile) {
  ASSERT_NO_FATAL_FAILURE(profileIsInUse());
  IdleBrowser browser;

  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, browser.program().c_str(), 0, 0, 1), KX_FAILED);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), KX_ERROR_PROFILE_IN_USE);
  EXPECT_EQ(dll.lastErrorText(context), "Could not open server pipe " + defaultPipe());
  EXPECT_FALSE(browser.wasLaunched());
  EXPECT_EQ(log.text(), HostLog()
                            .start("fx", "(null)", browser.program(), 0, 0, 1)
                            .notFound(defaultPipe())
                            .info("Client: connect failed but lock present")
                            .notFound(defaultPipe())
                            .error("kx_Init(): Could not open server pipe " + defaultPipe() + ", error (-4)")
                            .text());
}

TEST_F(Init, TriesHalfAsOftenAsTheTimeoutHasSeconds) {
  ASSERT_NO_FATAL_FAILURE(profileIsInUse());

  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, kMissing, 0, 0, 5), KX_FAILED);

  EXPECT_EQ(log.text(), HostLog()
                            .start("fx", "(null)", kMissing, 0, 0, 5)
                            .notFound(defaultPipe())
                            .info("Client: connect failed but lock present")
                            .notFound(defaultPipe())
                            .info("Client: connect failed but lock present")
                            .notFound(defaultPipe())
                            .error("kx_Init(): Could not open server pipe " + defaultPipe() + ", error (-4)")
                            .text());
}

class Launch : public Init {
 protected:
  // Starts the browser through the library on a thread of its own, so that the extension can come up when the
  // browser is there.
  void launch(const std::string& browserName, const std::string& options, int timeout) {
    thread = std::thread([=, this] {
      result = dll.kx_Init(context, browserName.c_str(), options.c_str(), browser.program().c_str(), 0, 0,
                           timeout);
    });
  }

  int await() {
    thread.join();
    return result;
  }

  IdleBrowser browser;
  std::thread thread;
  int result = 99;
};

TEST_F(Launch, TellsTheBrowserItsProfileAndPage) {
  const std::string pipe = profilePipe("fx", firefoxProfile);

  launch("fx", "-fxProfile " + firefoxProfile, 30);
  const std::string commandLine = browser.commandLine();
  FakeExtension extension(pipe);

  EXPECT_EQ(await(), KX_OK);
  EXPECT_EQ(commandLine, browser.program() + " -no-remote -P \"" + firefoxProfile + "\" file://" +
                             startPage(firefoxProfile) + "?pipe=" + pipe);
  EXPECT_EQ(browser.folder(), browser.program().substr(0, browser.program().rfind('\\')));
  EXPECT_EQ(extension.requests().at(0), initRequest(false, true));
  EXPECT_EQ(dll.kx_GetBrowserProcessId(context), browser.processId());
}

TEST_F(Launch, HasNoSwitchesWithoutAProfile) {
  launch("cr", "", 30);
  const std::string commandLine = browser.commandLine();
  FakeExtension extension(defaultPipe("cr"));

  EXPECT_EQ(await(), KX_OK);
  EXPECT_EQ(commandLine, browser.program());
}

TEST_F(Launch, HoldsTheStartLockUntilTheExtensionIsThere) {
  launch("fx", "", 30);
  browser.processId();

  EXPECT_TRUE(isLocked(startLockName()));

  FakeExtension extension(defaultPipe());
  EXPECT_EQ(await(), KX_OK);
  EXPECT_FALSE(isLocked(startLockName()));
}

TEST_F(Launch, IsEndedWhenTheFirstRequestFails) {
  launch("fx", "", 30);
  const int processId = browser.processId();
  FakeExtension extension(defaultPipe());
  extension.hangsUp();

  EXPECT_EQ(await(), KX_FAILED);
  EXPECT_TRUE(browser.hasEnded()) << processId;
  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -1);
  EXPECT_EQ(dll.lastErrorText(context), "Server unexpectedly closed connection");
}

TEST_F(Launch, IsAskedToExitWhenTheFirstAnswerIsNone) {
  launch("fx", "", 30);
  browser.processId();
  FakeExtension extension(defaultPipe());
  extension.answers("garbage");

  EXPECT_EQ(await(), KX_FAILED);
  EXPECT_EQ(extension.requests(), (std::vector<std::string>{initRequest(false, true), exitRequest()}));
  // The error is that of the start, not of the exit.
  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -1);
  EXPECT_EQ(dll.lastErrorText(context), "Error in response processing");
}

TEST_F(Launch, IsEndedWhenTheExtensionDoesNotConnectBack) {
  const NamedEvent serving;
  const LogSignal untilItServes(kConnecting, 2, [&] { EXPECT_TRUE(serving.wait()); });
  launch("fx", "", 4);
  browser.processId();
  FakeExtension extension(defaultPipe(), FakeExtension::AfterName::StayAway);
  serving.signal();

  EXPECT_EQ(await(), KX_TIMEOUT);
  EXPECT_TRUE(browser.hasEnded());
}

TEST_F(Launch, IsDoneOnceAndEndedWhenTheAttemptsAreUsedUp) {
  const LogSignal untilItHasStarted(kConnecting, 2, [&] { EXPECT_GT(browser.processId(), 0); });

  EXPECT_EQ(dll.kx_Init(context, "FX", "-fxProfile work", browser.program().c_str(), 0, 1, 5), KX_FAILED);

  EXPECT_EQ(dll.kx_GetLastErrorNumber(context), -1);
  EXPECT_EQ(dll.lastErrorText(context), "Could not open server pipe ");
  HostLog expected;
  expected.start("FX", "-fxProfile work", browser.program(), 0, 1, 5);
  const auto connecting = [&expected] {
    expected.info("Client: connecting to server using pipe ").info("Could not open pipe , error = 3");
  };
  connecting();
  expected.info("Starting binary " + browser.program() + " ");
  connecting();
  connecting();
  expected.error("kx_Init(): Could not open server pipe , error (-1)")
      .info("Client: sending message to server [" + exitRequest() +
            "], msg len=" + std::to_string(exitRequest().size()))
      .error("BrowserInstance::sendCommand() Error while sending request, error=-1")
      .error("BrowserInstance::terminate() failed, kill browser process");
  EXPECT_EQ(log.text(), expected.text());
  EXPECT_TRUE(browser.hasEnded());
}

}  // namespace
