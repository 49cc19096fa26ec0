// Every allocation of a conversation is refused in turn, once alone and once with all that follow. Each time
// the export gives its documented result and one log entry that names it, no exception and no crash reaches
// the host, nothing is left behind, and the context can be used again.
#include "fault/walk/walked_conversation.h"
#include "fault/walk/watchdog.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

using Refused = InterceptedMemory::Refused;

class MemoryWalk : public ::testing::TestWithParam<WalkedConversation> {
 protected:
  void SetUp() override {
    GetParam().prepare(around_);
    // Errors reach the debugger all the same. One conversation has the log's own memory refused as well.
    around_.logSwitch.set(GetParam().name == std::string("AttachToAPromptBrowser") ? "on" : "off");
  }

  struct Recording {
    std::size_t allocations;
    std::vector<StepOutcome> outcomes;
  };

  // What the run-time makes for its first exceptions stays for the rest of the process: that of an exception
  // for want of memory, and that of one whose own memory is refused. The second cannot be made when there is
  // nothing left at all.
  void warmUp() {
    for (const Refused refused : {Refused::One, Refused::TheExceptionToo}) {
      record();
      WalkedRun run(around_);
      around_.calls.start();
      around_.memory.start(0, refused);
      GetParam().go(run, around_);
      around_.calls.pause();
      around_.memory.pause();
      EXPECT_EQ(run.recover(), "");
      run.destroyContext();
    }
  }

  Recording record() {
    WalkedRun run(around_);
    around_.calls.start();
    around_.memory.start();
    GetParam().go(run, around_);
    around_.calls.pause();
    around_.memory.pause();
    Recording recording = {around_.memory.allocations(), run.outcomes()};
    EXPECT_EQ(run.recover(), "");
    run.destroyContext();
    return recording;
  }

  void walk(const Recording& usual, std::size_t number, Refused refused) {
    const std::string what = "allocation " + std::to_string(number) + " of " + GetParam().name +
                             (refused == Refused::One ? " is refused" : " and all that follow are refused");
    watchdog_.expect(what);
    around_.memory.what = what;
    SCOPED_TRACE(what);

    const Holdings before = holdings(around_);
    {
      WalkedRun run(around_);
      around_.calls.start();
      around_.memory.start(number, refused);
      GetParam().go(run, around_);
      around_.calls.pause();
      around_.memory.pause();

      EXPECT_EQ(around_.calls.endlessWaits(), std::vector<std::string>());
      expectDocumented(usual, run);
      EXPECT_FALSE(run.leftABrowserRunning());
      EXPECT_EQ(run.recover(), "");
      run.destroyContext();
    }
    EXPECT_EQ(difference(before, holdings(around_)), "");
  }

  // Up to the first step that gives something else, all is as usual; that one says that it failed, and why.
  // An exchange that succeeds later has its own answer, not one that was meant for another.
  void expectDocumented(const Recording& usual, const WalkedRun& run) {
    bool hasFailed = false;
    for (std::size_t i = 0; i < run.outcomes().size(); ++i) {
      const StepOutcome& outcome = run.outcomes()[i];
      if (outcome == usual.outcomes[i]) {
        continue;
      }
      if (hasFailed) {
        EXPECT_FALSE(GetParam().hasOwnAnswers && isAnsweredExchange(outcome))
            << outcome.step << " has the answer " << outcome.errorText;
        continue;
      }
      hasFailed = true;
      const std::string name = outcome.step;
      EXPECT_EQ(outcome.result, name == "kxr_Exit"                 ? KX_TIMEOUT
                                : name == "kx_GetBrowserProcessId" ? 0
                                                                   : KX_FAILED)
          << name;
      const std::string message = name + "() error: caught exception: std::bad_alloc";
      EXPECT_EQ(linesWith(message), 1) << message;
    }
  }

  static bool isAnsweredExchange(const StepOutcome& outcome) {
    const std::string& name = outcome.step;
    const bool isExchange = name == "kx_Init" || name == "kxr_Init" || name == "kx_Play" ||
                            name == "kx_Display" || name == "kx_TakeBrowserScreenshot";
    return isExchange && outcome.result == KX_OK;
  }

  int linesWith(const std::string& text) const {
    int count = 0;
    for (const InterceptedCalls::DebuggerLine& line : around_.calls.debuggerLines()) {
      count += line.text.starts_with("__logerr") && line.text.ends_with("): " + text) ? 1 : 0;
    }
    return count;
  }

  Surroundings around_;
  Watchdog watchdog_;
};

TEST_P(MemoryWalk, AConversationFailsCleanlyWhicheverAllocationIsRefused) {
  warmUp();
  const Recording usual = record();
  ASSERT_GT(usual.allocations, 20U);

  for (std::size_t i = 0; i < usual.allocations; ++i) {
    walk(usual, i, Refused::One);
  }
}

TEST_P(MemoryWalk, AConversationFailsCleanlyWhenMemoryRunsOut) {
  warmUp();
  const Recording usual = record();

  for (std::size_t i = 0; i < usual.allocations; ++i) {
    walk(usual, i, Refused::AllTheRest);
  }
}

INSTANTIATE_TEST_SUITE_P(Conversations, MemoryWalk, ::testing::ValuesIn(walkedConversations()),
                         [](const auto& tested) { return tested.param.name; });

// What a call had done before its first allocation was refused stays done.
class LackOfMemory : public ::testing::Test {
 protected:
  void SetUp() override {
    around_.calls.start();
    run_.create();
    run_.extension().serve(run_.defaultPipe());
    run_.extension().answers(StagedExtension::kSuccess);
    run_.extension().answers("{\"errorCode\":1,\"extractData\":[\"extract\"]}");
    ASSERT_TRUE(run_.init("fx", "", nullptr, 1));
    ASSERT_TRUE(run_.play("macro"));
    ASSERT_EQ(dll_.extract(run_.context(), 0), "extract");
  }
  void TearDown() override {
    around_.calls.pause();
    EXPECT_EQ(run_.recover(), "");
    run_.destroyContext();
  }

  template <typename Call>
  int withoutMemory(Call call) {
    around_.memory.start(0);
    const int result = call();
    around_.memory.pause();
    return result;
  }

  Surroundings around_;
  Watchdog watchdog_;
  WalkedRun run_{around_};
  const KxLibrary& dll_ = around_.dll;
};

TEST_F(LackOfMemory, LackOfMemoryInAPlayLeavesNothingOfThePlayBefore) {
  EXPECT_EQ(withoutMemory([&] { return dll_.kx_Play(run_.context(), "macro", 1); }), KX_FAILED);

  EXPECT_EQ(dll_.extract(run_.context(), 0), "");
  EXPECT_EQ(dll_.kx_GetLastErrorNumber(run_.context()), KX_ERROR_SUCCESS) << "that of the answer before";
}

TEST_F(LackOfMemory, LackOfMemoryInAnExitLeavesTheContextItsBrowser) {
  EXPECT_EQ(withoutMemory([&] { return dll_.kx_Exit(run_.context(), 1); }), KX_FAILED);

  EXPECT_EQ(dll_.kx_Exit(run_.context(), 1), KX_OK);
  EXPECT_TRUE(run_.extension().hasLeft());
}

TEST_F(LackOfMemory, DestroyingAContextNeedsNoMemory) {
  // The debug mode of the standard library has memory for a lock allocated at the first one.
  dll_.kx_ContextDestroy(dll_.kx_ContextCreate());
  std::vector<int> contexts;
  for (int i = 0; i < 100; ++i) {
    contexts.push_back(dll_.kx_ContextCreate());
  }

  withoutMemory([&] {
    for (const int context : contexts) {
      dll_.kx_ContextDestroy(context);
    }
    return KX_OK;
  });

  EXPECT_EQ(dll_.kx_GetLastErrorNumber(contexts.front()), KX_NO_CONTEXT);
  EXPECT_EQ(dll_.kx_ContextCreate(), contexts.front());
  dll_.kx_ContextDestroy(contexts.front());
}

// What the run-time needs for the first exception of a thread is allocated on that thread.
TEST(MemoryOfANewThread, MemoryMayRunOutBeforeTheFirstExceptionOfAThread) {
  Surroundings around;
  Watchdog watchdog;
  const int context = around.dll.kx_ContextCreate();
  int failures = 0;

  for (std::size_t i = 0; i < 30; ++i) {
    around.memory.what =
        "allocation " + std::to_string(i) + " of a new thread and all that follow are refused";
    watchdog.expect(around.memory.what);
    int result = 0;
    std::thread([&] {
      around.memory.start(i, Refused::AllTheRest);
      result = around.dll.kx_Init(context, "fx", "", "C:\\no such folder\\browser.exe", 0, 0, 1);
      around.memory.pause();
    }).join();
    // A log entry that is lost for want of memory does not end the start.
    EXPECT_TRUE(result == KX_FAILED || result == ERROR_PATH_NOT_FOUND) << result;
    failures += result == KX_FAILED ? 1 : 0;
  }

  EXPECT_GT(failures, 10);
  around.dll.kx_ContextDestroy(context);
}

}  // namespace
