// A host that runs for weeks: start, play and exit again and again, with one browser that stays.
#include "scenario/conversation.h"
#include "soak/process_state.h"
#include "soak/share.h"
#include "support/debug_mode.h"
#include "support/win32/log_file.h"

#include <list>

namespace {

// What the first cycles make stays for the rest of the process.
template <typename Cycle>
void expectFlat(int cycles, Cycle cycle) {
  for (int i = 0; i < cycles / 10; ++i) {
    ASSERT_NO_FATAL_FAILURE(cycle());
  }
  const ProcessState before = ProcessState::now();
  for (int i = 0; i < cycles; ++i) {
    ASSERT_NO_FATAL_FAILURE(cycle()) << "cycle " << i;
  }
  EXPECT_EQ(growth(before, ProcessState::now()), "") << "after " << cycles << " cycles";
}

TEST(ManyLoads, LoadingAndUnloadingTheLibraryLeavesHandlesMemoryAndThreadsAsTheyWere) {
  if (kBlocksOfSharedLocks > 0) {
    GTEST_SKIP() << "the locks of the debug mode stay after each unload";
  }
  const LogFile log;
  expectFlat(shareOf(2000), [] {
    const KxLibrary dll;
    const int context = dll.kx_ContextCreate();
    ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, "C:\\no\\such\\program.exe", 0, 0, 1), 3);
    dll.kx_ContextDestroy(dll.kx_ContextCreate());
  });
}

class ManyConversations : public Conversation {
 protected:
  ManyConversations() {
    browser_.script("on exit stay");
    browser_.script("on exit wait-for-pid none");
    browser_.script("on show profiler " + std::string(200, 'p'));
    browser_.script("idle-limit 600");
    browser_.start();
  }

  SimulatedBrowser browser_{uniqueName("browser") + ".exe", "browser", SimulatedBrowser::Recording::Off};
};

TEST_F(ManyConversations, TenThousandStartsPlaysAndExitsLeaveHandlesMemoryAndThreadsAsTheyWere) {
  expectFlat(shareOf(10000), [&] {
    ASSERT_EQ(init({}), KX_OK) << errorText();
    ASSERT_EQ(setVariable("what", "text"), KX_OK);
    ASSERT_EQ(play("extract the $(what)"), KX_OK) << errorText();
    ASSERT_EQ(dll_.kx_GetLastExtract(context_, nullptr, 0, 1), 9);
    ASSERT_EQ(exit(), KX_OK);
  });
}

TEST_F(ManyConversations, ATwentiethAsManyPlaysThatFailLeaveHandlesMemoryAndThreadsAsTheyWere) {
  expectFlat(shareOf(500), [&] {
    const int context = dll_.kx_ContextCreate();
    ASSERT_EQ(init(context, {}), KX_OK);
    ASSERT_EQ(dll_.kx_Play(context, "fail -50 no such button", 60), KX_FAILED);
    ASSERT_EQ(dll_.kx_Exit(context, 60), KX_OK);
    dll_.kx_ContextDestroy(context);
  });
}

TEST_F(ManyConversations, MessagesThatAreAnsweredWithProfilerDataLeaveOnlyTheLast) {
  ASSERT_EQ(init({}), KX_OK);

  expectFlat(shareOf(5000), [&] { ASSERT_EQ(dll_.kx_Display(context_, "hello", 60), KX_OK); });

  EXPECT_EQ(exit(), KX_OK);
}

// Counts the threads of the process each time the library writes a log entry, from inside its call.
class ThreadsDuringCalls {
 public:
  ThreadsDuringCalls() {
    for (const char* text :
         {"Client: connecting to server", "Starting binary", "Client: waiting for server connection",
          "Client: sending message", "Client: Message sent", "Client: handling response",
          "Waiting for browser process"}) {
      signals_.emplace_back(text, 1, [this] { counts_.push_back(threadCount()); });
    }
  }

  const std::vector<int>& counts() const { return counts_; }
  std::size_t moments() const { return signals_.size(); }

 private:
  std::vector<int> counts_;
  std::list<LogSignal> signals_;
};

class Threads : public ::testing::Test {
 protected:
  const TestUser user_;
  const LogFile log_;
};

TEST_F(Threads, TheLibraryStartsNoThreadFromItsLoadingToItsUnloading) {
  const SimulatedBrowser browser;
  const int before = threadCount();
  {
    const ThreadsDuringCalls during;
    const KxLibrary dll;
    const int context = dll.kx_ContextCreate();
    ASSERT_EQ(dll.kx_Init(context, "fx", nullptr, browser.program().c_str(), 0, 0, 60), KX_OK);
    ASSERT_EQ(dll.kx_Play(context, "extract x", 60), KX_OK);
    EXPECT_EQ(threadCount(), before) << "with a browser connected";
    ASSERT_EQ(dll.kx_Exit(context, 60), KX_OK);

    EXPECT_EQ(during.counts(), std::vector<int>(during.moments(), before));
  }
  EXPECT_EQ(threadCount(), before);
}

}  // namespace
