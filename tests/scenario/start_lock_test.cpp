// The start lock: starts of one browser, profile and user wait for one another until the pipe has been
// opened, in all threads and processes.
#include "scenario/conversation.h"
#include "scenario/host_process.h"
#include "support/win32/debugger_lines.h"
#include "support/win32/log_file.h"
#include "support/win32/named_mutex.h"

#include <algorithm>
#include <thread>

namespace {

// How long a start is watched that must not go on.
constexpr DWORD kWatchMilliseconds = 300;

class StartLock : public Conversation {
 protected:
  std::string lockName(const std::string& type, const std::string& profile) const {
    return "kx-" + type + "-" + profile + "." + user_.name() + ".lock";
  }

  static std::string entry(DWORD threadId, const std::string& message) {
    return "__loginf from (" + std::to_string(::GetCurrentProcessId()) + ", " + std::to_string(threadId) +
           "): " + message;
  }

  // Another process holds the lock; the start stands still until it is released.
  void expectStartToWaitFor(const std::string& lock, const Start& start) {
    const NamedEvent held;
    const NamedEvent release;
    const NamedEvent started;
    const NamedEvent connecting;
    const LogFile log;
    const LogSignal atStart("kx_Init start, ", 1, [&] { started.signal(); });
    const LogSignal atConnect("Client: connecting to server", 1, [&] { connecting.signal(); });
    const HelperProcess holder({"hold-mutex", lock, held.name(), release.name()});
    ASSERT_TRUE(held.wait());

    std::thread host([&] { EXPECT_EQ(init(start), KX_OK); });
    EXPECT_TRUE(started.wait());
    EXPECT_FALSE(connecting.wait(kWatchMilliseconds));
    release.signal();
    host.join();

    EXPECT_TRUE(connecting.wait(0));
  }
};

TEST_F(StartLock, AStartOfFirefoxWaitsForTheLockOfItsDefaultProfile) {
  SimulatedBrowser browser;
  browser.start();

  expectStartToWaitFor(lockName("fx", "default"), {});
}

TEST_F(StartLock, AStartOfFirefoxWaitsForTheLockOfTheProfileItStartsWith) {
  user_.writeProfiles("[Profile0]\nName=dev\nDefault=1\n");
  SimulatedBrowser browser;
  browser.start();

  expectStartToWaitFor(lockName("fx", "dev"), {});
}

TEST_F(StartLock, AStartOfChromeWaitsForItsOwnLock) {
  SimulatedBrowser browser = SimulatedBrowser::chrome();
  browser.start();

  expectStartToWaitFor(lockName("cr", "default"), {.browser = "cr"});
}

TEST_F(StartLock, StartsWithAGivenProfileShareOneLock) {
  SimulatedBrowser browser;
  const std::string profile = uniqueName("profile");
  browser.start("--pipe=" + profilePipe("fx", profile));

  expectStartToWaitFor(lockName("fx", "unknonw"), {.options = "-fxProfile " + profile});
}

TEST_F(StartLock, StartsOfAnotherBrowserDoNotWait) {
  SimulatedBrowser browser = SimulatedBrowser::chrome();
  browser.start();
  const NamedEvent held;
  const NamedEvent release;
  const HelperProcess holder({"hold-mutex", lockName("fx", "default"), held.name(), release.name()});
  ASSERT_TRUE(held.wait());

  EXPECT_EQ(init({.browser = "cr"}), KX_OK);
}

TEST_F(StartLock, TheLockIsFreeOnceTheBrowserIsConnected) {
  SimulatedBrowser browser;
  attach(browser);

  EXPECT_NE(stateOfMutex(lockName("fx", "default")), MutexState::Owned);
}

TEST_F(StartLock, TheLockIsFreeWhileTheExtensionIsWaitedFor) {
  SimulatedBrowser browser;
  const NamedEvent go;
  browser.script("on handshake wait-event " + go.name());
  browser.start();
  const LogFile log;
  MutexState result = MutexState::Owned;
  const LogSignal whileWaiting("Client: waiting for server connection", 1, [&] {
    result = stateOfMutex(lockName("fx", "default"));
    go.signal();
  });

  EXPECT_EQ(init({}), KX_OK);

  EXPECT_EQ(result, MutexState::Absent);
}

TEST_F(StartLock, TheLockStaysHeldBetweenTheAttempts) {
  SimulatedBrowser browser;
  const LogFile log;
  MutexState result = MutexState::Absent;
  const LogSignal atTheLaunch("Starting binary ", 1,
                              [&] { result = stateOfMutex(lockName("fx", "default")); });

  launch(browser);

  EXPECT_EQ(result, MutexState::Owned);
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(StartLock, TheLockIsFreeAfterAStartThatFailed) {
  ASSERT_NE(init({}), KX_OK);

  EXPECT_NE(stateOfMutex(lockName("fx", "default")), MutexState::Owned);
}

// The first start launches the browser; the second begins meanwhile, and must not look for the pipe before
// the first has opened it.
TEST_F(StartLock, OfTwoStartsAtOnceTheSecondAttachesToTheBrowserOfTheFirst) {
  SimulatedBrowser browser;
  const NamedEvent launching;
  const NamedEvent serve;
  browser.script("on serve set-event " + launching.name());
  browser.script("on serve wait-event " + serve.name());
  const int second = dll_.kx_ContextCreate();
  const LogFile log;
  const DebuggerLines lines;
  const LogSignal whenBothHaveBegun("kx_Init start, ", 2, [&] { serve.signal(); });
  DWORD secondThread = 0;

  std::thread other([&] {
    secondThread = ::GetCurrentThreadId();
    EXPECT_TRUE(launching.wait());
    EXPECT_EQ(init(second, {.program = browser.program()}), KX_OK);
  });
  EXPECT_EQ(init({.program = browser.program()}), KX_OK);
  other.join();

  EXPECT_EQ(browser.processIds().size(), 1U);
  EXPECT_EQ(browserProcessId(), browser.processId());
  EXPECT_EQ(dll_.kx_GetBrowserProcessId(second), 0);
  EXPECT_EQ(browser.request(1, 1), initRequest(false, true));
  EXPECT_EQ(browser.request(1, 2), initRequest(false, false));
  const std::string connecting = "Client: connecting to server using pipe " + defaultPipe();
  const std::vector<std::string> all = lines.lines();
  const auto firsts = std::find(all.rbegin(), all.rend(), entry(::GetCurrentThreadId(), connecting));
  const auto seconds = std::find(all.rbegin(), all.rend(), entry(secondThread, connecting));
  EXPECT_EQ(std::count(all.begin(), all.end(), entry(secondThread, connecting)), 1);
  EXPECT_LT(seconds, firsts) << "the second start looks for the pipe after the first has found it";
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(StartLock, TwoContextsWithTwoProfilesAreStartedByTwoThreads) {
  SimulatedBrowser first;
  SimulatedBrowser second;
  const std::string firstProfile = uniqueName("profile");
  const std::string secondProfile = uniqueName("profile");
  const int other = dll_.kx_ContextCreate();

  std::thread thread([&] {
    EXPECT_EQ(init(other, {.options = "-fxProfile " + secondProfile, .program = second.program()}), KX_OK);
    EXPECT_EQ(dll_.kx_Play(other, "extract second", 30), KX_OK);
  });
  EXPECT_EQ(init({.options = "-fxProfile " + firstProfile, .program = first.program()}), KX_OK);
  EXPECT_EQ(play("extract first"), KX_OK);
  thread.join();

  EXPECT_EQ(extract(), "first");
  EXPECT_EQ(dll_.extract(other, 0), "second");
  EXPECT_EQ(first.pipe(), profilePipe("fx", firstProfile));
  EXPECT_EQ(second.pipe(), profilePipe("fx", secondProfile));
  EXPECT_EQ(exit(), KX_OK);
  EXPECT_EQ(dll_.kx_Exit(other, 30), KX_OK);
}

TEST_F(StartLock, TwoBrowsersArePlayedByTwoThreadsAtOnce) {
  SimulatedBrowser firefox;
  SimulatedBrowser chrome = SimulatedBrowser::chrome();
  firefox.start();
  chrome.start();
  const int other = dll_.kx_ContextCreate();
  const auto playMany = [&](int context, const std::string& type) {
    EXPECT_EQ(init(context, {.browser = type}), KX_OK);
    for (int i = 0; i < 50; ++i) {
      const std::string text = type + std::to_string(i);
      EXPECT_EQ(dll_.kx_Play(context, ("extract " + text).c_str(), 30), KX_OK);
      EXPECT_EQ(dll_.extract(context, 1), text);
    }
    EXPECT_EQ(dll_.kx_Exit(context, 30), KX_OK);
  };

  std::thread thread([&] { playMany(other, "cr"); });
  playMany(context_, "fx");
  thread.join();

  EXPECT_FALSE(firefox.isRunning());
  EXPECT_FALSE(chrome.isRunning());
}

// The lock of a host that was killed counts as free.
TEST_F(StartLock, AHostThatDiesWhileItStartsABrowserDoesNotBlockTheNext) {
  SimulatedBrowser browser;
  const NamedEvent launched;
  const NamedEvent serve;
  browser.script("on serve set-event " + launched.name());
  browser.script("on serve wait-event " + serve.name());
  browser.mayStay();
  HostProcess dying(Start{.program = browser.program()});
  ASSERT_TRUE(launched.wait());
  // Kept open, so that the lock outlives its holder.
  const HANDLE lock = ::CreateMutexW(nullptr, FALSE, wide(lockName("fx", "default")).c_str());
  EXPECT_EQ(stateOfMutex(lockName("fx", "default")), MutexState::Owned);
  dying.kill();
  serve.signal();
  browser.awaitServing();

  EXPECT_EQ(init({}), KX_OK);

  EXPECT_EQ(play("extract x"), KX_OK);
  EXPECT_NE(stateOfMutex(lockName("fx", "default")), MutexState::Owned) << "the next host has released it";
  ::CloseHandle(lock);
}

TEST_F(StartLock, AHostThatDiesDuringItsConversationDoesNotTakeTheBrowserWithIt) {
  SimulatedBrowser browser;
  const NamedEvent gone;
  browser.script("on gone set-event " + gone.name());
  browser.start();
  HostProcess dying(Start{});
  ASSERT_TRUE(dying.isInitialised());
  dying.kill();
  ASSERT_TRUE(gone.wait());

  EXPECT_EQ(init({}), KX_OK);

  EXPECT_EQ(play("extract x"), KX_OK);
  EXPECT_EQ(browser.request(2, 2), playRequest("extract x"));
}

TEST_F(StartLock, AHostThatLeavesWithoutAnExitLeavesTheBrowserRunning) {
  SimulatedBrowser browser;
  const NamedEvent gone;
  browser.script("on gone set-event " + gone.name());
  browser.start();
  const HostProcess leaving(Start{});
  ASSERT_TRUE(leaving.isInitialised());
  ASSERT_EQ(leaving.playAndLeave(), 0);
  ASSERT_TRUE(gone.wait());

  EXPECT_TRUE(browser.isRunning());
  EXPECT_EQ(init({}), KX_OK);
}

}  // namespace
