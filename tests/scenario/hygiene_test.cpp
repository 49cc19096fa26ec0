// What a host that lives long cares for: no handle, no process and no connection is left behind, and nothing
// writes into memory that the library has given back.
#include "scenario/conversation.h"
#include "support/win32/next_handle.h"

#include <cstdint>
#include <vector>

namespace {

constexpr int kCycles = 50;

class Hygiene : public Conversation {
 protected:
  Hygiene() {
    browser_.script("on exit stay");
    browser_.script("on exit wait-for-pid none");
  }

  template <typename Cycle>
  static void expectNoHandleLeft(int cycles, Cycle cycle) {
    // The first one makes what stays for the rest of the process.
    cycle();
    const std::uintptr_t before = nextHandleValue();
    for (int i = 0; i < cycles; ++i) {
      cycle();
    }
    EXPECT_EQ(nextHandleValue(), before);
  }

  SimulatedBrowser browser_;
};

TEST_F(Hygiene, FiftyConversationsLeaveNoHandle) {
  browser_.start();

  expectNoHandleLeft(kCycles, [&] {
    ASSERT_EQ(init({}), KX_OK);
    ASSERT_EQ(play("extract x"), KX_OK);
    ASSERT_EQ(exit(), KX_OK);
  });

  EXPECT_EQ(browser_.events("conn=" + std::to_string(kCycles + 1) + " request n=3 type=exit").size(), 1U);
}

TEST_F(Hygiene, FiftyContextsLeaveNoHandle) {
  browser_.start();

  expectNoHandleLeft(kCycles, [&] {
    const int context = dll_.kx_ContextCreate();
    ASSERT_EQ(init(context, {}), KX_OK);
    ASSERT_EQ(dll_.kx_Exit(context, 30), KX_OK);
    dll_.kx_ContextDestroy(context);
  });
}

TEST_F(Hygiene, RunnersLeaveNoHandle) {
  const std::string profile = uniqueName("profile");
  browser_.start("-kx-pipe \\\\.\\pipe\\" + profile + ".runner");

  expectNoHandleLeft(kCycles, [&] {
    ASSERT_EQ(dll_.kxr_Init(context_, "fx", ("-runner -fxProfile " + profile).c_str(), 0, 30), KX_OK);
    ASSERT_EQ(dll_.kxr_Exit(context_, 30), KX_OK);
  });
}

TEST_F(Hygiene, FailedStartsLeaveNoHandle) {
  expectNoHandleLeft(kCycles, [&] { ASSERT_NE(init({}), KX_OK); });
}

TEST_F(Hygiene, StartsOfProgramsThatCannotRunLeaveNoHandle) {
  const TempFolder folder;
  const std::string program = folder.write("browser.exe", "not a program");

  expectNoHandleLeft(kCycles, [&] { ASSERT_EQ(init({.program = program}), ERROR_BAD_EXE_FORMAT); });
}

TEST_F(Hygiene, ConnectionsThatBreakOffLeaveNoHandle) {
  browser_.script("on play hang-up");
  browser_.start();

  expectNoHandleLeft(kCycles, [&] {
    ASSERT_EQ(init({}), KX_OK);
    ASSERT_EQ(play("extract x"), KX_FAILED);
    ASSERT_EQ(exit(), KX_OK);
  });
}

TEST_F(Hygiene, RefusedConnectionsLeaveNoHandle) {
  browser_.script("early-connect");
  browser_.script("on connected hang-up");
  browser_.start();

  expectNoHandleLeft(10, [&] { ASSERT_NE(init({}), KX_OK); });
}

TEST_F(Hygiene, TimeOutsLeaveNoHandle) {
  browser_.script("on play no-reply");
  browser_.start();

  expectNoHandleLeft(2, [&] {
    ASSERT_EQ(init({}), KX_OK);
    ASSERT_EQ(play("extract x", 1), KX_FAILED);
    ASSERT_EQ(exit(), KX_OK);
  });
}

TEST_F(Hygiene, LaunchedBrowsersLeaveNoHandle) {
  SimulatedBrowser launched;

  expectNoHandleLeft(2, [&] {
    ASSERT_EQ(init({.program = launched.program()}), KX_OK);
    ASSERT_EQ(exit(), KX_OK);
  });

  EXPECT_EQ(launched.processIds().size(), 3U);
  EXPECT_FALSE(launched.isRunning());
}

TEST_F(Hygiene, EveryConnectionIsClosedAtTheExit) {
  const NamedEvent gone;
  browser_.script("on gone 10 set-event " + gone.name());
  browser_.start();
  for (int i = 0; i < 10; ++i) {
    ASSERT_EQ(init({}), KX_OK);
    ASSERT_EQ(exit(), KX_OK);
  }

  EXPECT_TRUE(gone.wait());
}

// What the library gives back at the exit is handed to the host at its next allocations. A read that were
// still pending would write there.
TEST_F(Hygiene, NothingIsWrittenIntoMemoryThatWasGivenBack) {
  browser_.script("on play no-reply");
  attach(browser_);
  ASSERT_EQ(play("extract x", 1), KX_FAILED);

  ASSERT_EQ(exit(), KX_OK);

  std::vector<std::string> blocks;
  for (std::size_t size = 16; size <= 8192; size += 16) {
    blocks.emplace_back(size, 'k');
  }
  ASSERT_EQ(init({}), KX_OK);
  ASSERT_EQ(dll_.kx_Display(context_, "hello", 30), KX_OK);
  for (const std::string& block : blocks) {
    EXPECT_EQ(block.find_first_not_of('k'), std::string::npos) << block.size();
  }
}

}  // namespace
