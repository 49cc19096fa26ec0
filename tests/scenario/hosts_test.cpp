// Several hosts of one user: threads and processes that start one browser at the same time, share it, and
// die.
#include "scenario/conversation.h"
#include "support/win32/debugger_lines.h"
#include "support/win32/host_process.h"
#include "support/win32/log_file.h"
#include "support/win32/named_mutex.h"

#include <thread>

namespace {

class Hosts : public Conversation {
 protected:
  std::string lockName() const { return "kx-fx-default." + user_.name() + ".lock"; }

  SimulatedBrowser browser_;
  const LogFile log_;
};

// The first start launches the browser; the second begins meanwhile, and must not look for the pipe before
// the first has opened it.
TEST_F(Hosts, TwoStartsAtOnceLaunchOneBrowser) {
  const NamedEvent launching;
  const NamedEvent serve;
  browser_.script("on serve set-event " + launching.name());
  browser_.script("on serve wait-event " + serve.name());
  const int second = dll_.kx_ContextCreate();
  const DebuggerLines debugger;
  const LogSignal whenBothHaveBegun("kx_Init start, ", 2, [&] { serve.signal(); });
  std::string secondThread;

  std::thread other([&] {
    secondThread = ", " + std::to_string(::GetCurrentThreadId()) + "): ";
    EXPECT_TRUE(launching.wait());
    EXPECT_EQ(init(second, {.program = browser_.program()}), KX_OK);
  });
  EXPECT_EQ(init({.program = browser_.program()}), KX_OK);
  other.join();

  EXPECT_EQ(browserProcessId(), browser_.processId());
  EXPECT_EQ(dll_.kx_GetBrowserProcessId(second), 0);
  // The browser serves both at once, in any order.
  EXPECT_THAT(browser_.events("init "),
              testing::UnorderedElementsAre("init open-new-browser=false launched=true",
                                            "init open-new-browser=false launched=false"));
  std::string whoConnects;
  for (const std::string& line : debugger.lines()) {
    if (line.find("Client: connecting to server") != std::string::npos) {
      whoConnects += line.find(secondThread) == std::string::npos ? '1' : '2';
    }
  }
  EXPECT_EQ(whoConnects.find('2'), whoConnects.size() - 1) << whoConnects;
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Hosts, AHostInAnotherProcessIsServedBesideTheFirst) {
  const NamedEvent gone;
  browser_.script("on gone set-event " + gone.name());
  attach(browser_);
  const HostProcess other({.browser = "fx", .macro = "extract from a host of its own"});

  EXPECT_EQ(other.exitCode(), 0U);

  // It has ended without an exit.
  EXPECT_TRUE(gone.wait());
  EXPECT_EQ(browser_.events("conn=2 request n=2 type=play").size(), 1U);
  EXPECT_EQ(play("extract mine"), KX_OK);
  EXPECT_EQ(extract(), "mine");
}

TEST_F(Hosts, AHostThatDiesInAConversationLeavesTheBrowserToTheNext) {
  const NamedEvent gone;
  browser_.script("on play 1 no-reply");
  browser_.script("on gone set-event " + gone.name());
  browser_.start();
  HostProcess dying({.browser = "fx", .macro = "x"});
  ASSERT_TRUE(dying.isPlaying());

  dying.kill();

  EXPECT_TRUE(gone.wait());
  EXPECT_EQ(init({}), KX_OK);
  EXPECT_EQ(play("extract x"), KX_OK);
}

// The start lock of a host that was killed counts as free.
TEST_F(Hosts, AHostThatDiesInAStartLeavesTheBrowserToTheNext) {
  const NamedEvent launched;
  const NamedEvent serve;
  browser_.script("on serve set-event " + launched.name());
  browser_.script("on serve wait-event " + serve.name());
  browser_.mayStay();
  HostProcess dying({.browser = "fx", .program = browser_.program()});
  ASSERT_TRUE(launched.wait());
  // Kept open, so that the lock outlives its holder.
  const NamedMutex lock(lockName());
  EXPECT_EQ(stateOfMutex(lockName()), MutexState::Owned);

  dying.kill();
  serve.signal();
  browser_.awaitServing();

  EXPECT_EQ(init({}), KX_OK);
  EXPECT_EQ(play("extract x"), KX_OK);
  EXPECT_NE(stateOfMutex(lockName()), MutexState::Owned) << "the next host has released it";
}

// A host with more rights makes a lock that one with fewer may not open. Here the access list lets nobody in.
TEST_F(Hosts, AHostThatMayNotOpenTheStartLockLaunchesABrowserInVainAndEndsIt) {
  ACL nobody{};
  SECURITY_DESCRIPTOR descriptor{};
  ::InitializeAcl(&nobody, sizeof(nobody), ACL_REVISION);
  ::InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
  ::SetSecurityDescriptorDacl(&descriptor, TRUE, &nobody, FALSE);
  SECURITY_ATTRIBUTES security{sizeof(SECURITY_ATTRIBUTES), &descriptor, FALSE};
  const HANDLE forbidden = ::CreateMutexW(&security, FALSE, wide(lockName()).c_str());

  EXPECT_EQ(init({.program = browser_.program(), .timeout = 1}), KX_FAILED);

  EXPECT_EQ(errorNumber(), KX_ERROR_GENERAL);
  EXPECT_EQ(errorText(), "Could not acquire connection lock");
  const std::string log = log_.text();
  EXPECT_EQ(occurrences(log, "Error: Could not create binary start lock " + lockName() + ", error 5\n"), 2);
  EXPECT_EQ(occurrences(log, "Starting binary "), 1);
  EXPECT_EQ(occurrences(log, "Client: connecting to server"), 0);
  EXPECT_FALSE(browser_.isRunning());
  ::CloseHandle(forbidden);
}

}  // namespace
