// A browser that does each wrong thing at each step of a conversation: it closes its end, stalls, sends
// garbage, sends too much, answers late. The host, the library and the browser are on one thread, over real
// pipes, so that every cell of the matrix takes milliseconds. What the host is told and what the log says is
// an approved text, tests/golden/peer_faults_*.txt; that no wait is without an end, that nothing is left
// behind, and that the context can be exited and started again, is asserted for each cell. Browsers that die
// or are killed are processes: tests/scenario/dying_browser_test.cpp.
#include "fault/walk/walked_conversation.h"
#include "fault/walk/watchdog.h"
#include "support/win32/golden_log.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Moment = StagedExtension::Moment;
using Wrong = StagedExtension::Wrong;

std::string nameOf(Wrong wrong) {
  return wrong == Wrong::Closes    ? "closes"
         : wrong == Wrong::Stalls  ? "stalls"
         : wrong == Wrong::Garbage ? "sends garbage"
                                   : "sends too much";
}

struct Step {
  const char* name;
  Moment moment;
  int request;
};

constexpr int kInit = 1;
constexpr int kPlay = 2;
constexpr int kDisplay = 3;
constexpr int kExit = 4;
// Of the conversation in which a picture is taken.
constexpr int kCapture = 4;
constexpr int kLateExit = 5;

class PeerMatrix : public ::testing::Test {
 protected:
  // What the first conversation of a process makes and keeps is no leak.
  void SetUp() override {
    WalkedRun run(around_);
    run.create();
    run.extension().serve(run.defaultPipe());
    run.extension().answers("[1]");
    EXPECT_TRUE(run.init("fx", "", "", 1));
    EXPECT_EQ(run.recover(), "");
    run.destroyContext();
  }

  // init, play, display, exit, with one misdeed. Gives the host's view of it. An answer that comes late comes
  // between the call that timed out and the next one, and a picture is taken as well.
  std::string walkOnce(const StagedExtension::Misdeed& misdeed, bool answersLate = false) {
    watchdog_.expect(nameOf(misdeed.wrong) + " at moment " +
                     std::to_string(static_cast<int>(misdeed.moment)) + ", request " +
                     std::to_string(misdeed.request) + ", byte " + std::to_string(misdeed.byte));
    const Holdings before = holdings(around_);
    std::string account;
    {
      WalkedRun run(around_);
      around_.calls.start();
      run.create();
      run.extension().serve(run.defaultPipe());
      run.extension().does(misdeed);
      converse(run, answersLate ? misdeed.request : 0);
      around_.calls.pause();

      EXPECT_EQ(around_.calls.endlessWaits(), std::vector<std::string>());
      for (const StepOutcome& outcome : run.outcomes()) {
        account += "    " + outcome.step + " gives " + std::to_string(outcome.result) + ", error " +
                   std::to_string(outcome.errorNumber) + " \"" + outcome.errorText + "\"\n";
      }
      for (const InterceptedCalls::DebuggerLine& line : around_.calls.debuggerLines()) {
        const std::string message = line.text.substr(line.text.find("): ") + 3);
        const bool isUsual = message.find("profiles.ini") != std::string::npos;
        if (line.text.starts_with("__logerr") && !isUsual && !isErrorOfOneSystem(message)) {
          account += "    error: " + message + "\n";
        }
      }
      if (run.waitsAtTheClose() > 0) {
        account += "    the close has waited until the browser read\n";
      }
      EXPECT_EQ(run.recover(), "");
      run.destroyContext();
    }
    EXPECT_EQ(difference(before, holdings(around_)), "");
    // After a wait that ran out the last error is whatever it was.
    return withoutNumbersAfter("(pipe_accept) error=",
                               withoutNumbersAfter("receive message, error ", account));
  }

  static void converse(WalkedRun& run, int lateRequest) {
    const auto isOver = [&](int request) {
      if (request == lateRequest) {
        run.extension().goesOn();
      }
    };
    const bool isStarted = run.init("fx", "", "C:\\no such folder\\browser.exe", 1);
    isOver(kInit);
    if (isStarted) {
      run.step("kx_SetVar", [&](const KxExports& dll) { return dll.kx_SetVar(run.context(), "a", "b"); });
      run.play("macro");
      isOver(kPlay);
      run.step("kx_Display", [&](const KxExports& dll) { return dll.kx_Display(run.context(), "hello", 1); });
      isOver(kDisplay);
      if (lateRequest != 0) {
        run.step("kx_TakeBrowserScreenshot", [&](const KxExports& dll) {
          return dll.kx_TakeBrowserScreenshot(run.context(), "C:\\p.png", KX_SCREENSHOT_PAGE, 1);
        });
        isOver(kCapture);
      }
      run.exit();
      isOver(kLateExit);
    }
  }

  // A cell of the matrix. Cells that follow one another and give the same are told once.
  void tell(const std::string& cell, const std::string& account) {
    if (account == lastAccount_) {
      text_ += cell + ": the same\n";
    } else {
      text_ += cell + "\n" + account;
    }
    lastAccount_ = account;
  }

  void expectGolden(const std::string& name) const {
    GoldenLog().with(around_.user.name(), "<USERNAME>").expect(name, text_);
  }

  Surroundings around_;
  Watchdog watchdog_;
  std::string text_;
  std::string lastAccount_;
};

TEST_F(PeerMatrix, WrongThingsAtEveryStep) {
  const std::vector<Step> steps = {
      {"before it reads the name line", Moment::NameLine, 0},
      {"before it connects back", Moment::ConnectBack, 0},
      {"as soon as it has connected", Moment::Connected, 0},
      {"before it reads the first request", Moment::Request, kInit},
      {"after its first answer", Moment::AfterAnswer, kInit},
      {"before it reads a play", Moment::Request, kPlay},
      {"after the answer to a play", Moment::AfterAnswer, kPlay},
      {"before it reads the exit", Moment::Request, kExit},
      {"after the answer to the exit", Moment::AfterAnswer, kExit},
  };
  for (const Step& step : steps) {
    const bool canSend = step.moment != Moment::NameLine && step.moment != Moment::ConnectBack;
    const bool canStall = step.moment != Moment::Connected && step.moment != Moment::AfterAnswer;
    for (const Wrong wrong : {Wrong::Closes, Wrong::Stalls, Wrong::Garbage, Wrong::TooMuch}) {
      if (wrong == Wrong::Closes || (wrong == Wrong::Stalls ? canStall : canSend)) {
        tell(nameOf(wrong) + " " + step.name, walkOnce({wrong, step.moment, step.request, 0}));
      }
    }
  }
  expectGolden("peer_faults_at_every_step.txt");
}

class EveryByte : public PeerMatrix, public ::testing::WithParamInterface<int> {};

// An answer that goes wrong after each of its bytes, the first and the last included.
TEST_P(EveryByte, WrongThingsBehindEveryByteOfAnAnswer) {
  const std::size_t length = std::string(StagedExtension::kSuccess).size();
  for (const Wrong wrong : {Wrong::Closes, Wrong::Stalls, Wrong::Garbage, Wrong::TooMuch}) {
    for (std::size_t byte = 0; byte <= length; ++byte) {
      tell(nameOf(wrong) + " after byte " + std::to_string(byte),
           walkOnce({wrong, Moment::Answer, GetParam(), byte}));
    }
  }
  expectGolden(GetParam() == kInit   ? "peer_faults_in_the_first_answer.txt"
               : GetParam() == kPlay ? "peer_faults_in_the_answer_to_a_play.txt"
                                     : "peer_faults_in_the_answer_to_the_exit.txt");
}

INSTANTIATE_TEST_SUITE_P(Requests, EveryByte, ::testing::Values(kInit, kPlay, kExit), [](const auto& tested) {
  return tested.param == kInit ? "Init" : tested.param == kPlay ? "Play" : "Exit";
});

// The rest of an answer that stalled comes when its call has timed out: it counts as the answer to the next
// call, whole, unless there is none on this connection.
TEST_F(PeerMatrix, ALateAnswerCountsAsThatOfTheNextCall) {
  const std::size_t length = std::string(StagedExtension::kSuccess).size();
  for (const Step& step :
       {Step{"the start", Moment::Answer, kInit}, Step{"the play", Moment::Answer, kPlay},
        Step{"the message", Moment::Answer, kDisplay}, Step{"the picture", Moment::Answer, kCapture},
        Step{"the exit", Moment::Answer, kLateExit}}) {
    // Every byte once; for the other requests the first ones, one in the middle and the last one.
    const std::size_t stride = step.request == kPlay ? 1 : 14;
    for (std::size_t byte = 0; byte < length; byte += stride) {
      tell("goes on late after byte " + std::to_string(byte) + " of the answer to " + step.name,
           walkOnce({Wrong::Stalls, step.moment, step.request, byte}, true));
    }
  }
  expectGolden("peer_faults_answered_late.txt");
}

// The library's own pipe is called after the thread and the browser's pipe, so two contexts of one thread and
// one profile wait under one name. An extension that took a name line and connects back when that start has
// long given up is taken for the one that the second context has met.
TEST_F(PeerMatrix, ALateConnectBackMeetsTheNextStartOfItsThreadAndProfile) {
  watchdog_.expect("connects back late");
  const KxExports& dll = around_.dll;
  WalkedRun run(around_);
  StagedExtension late;
  StagedExtension punctual;
  around_.calls.stage.othersAct = [&] { late.act(); };
  around_.calls.start();
  const int first = dll.kx_ContextCreate();
  const int second = dll.kx_ContextCreate();
  late.serve(run.defaultPipe());
  late.does({Wrong::Stalls, Moment::ConnectBack, 0, 0});
  ASSERT_EQ(dll.kx_Init(first, "fx", "", "", 0, 0, 1), KX_TIMEOUT);

  punctual.serve(run.defaultPipe());
  punctual.does({Wrong::Stalls, Moment::ConnectBack, 0, 0});
  late.answers(StagedExtension::kSuccess);
  late.answers(R"({"status":"from the late one","errorCode":1})");
  around_.calls.stage.othersAct = [&] {
    punctual.act();
    late.goesOn();
    late.act();
  };
  EXPECT_EQ(dll.kx_Init(second, "fx", "", "", 0, 0, 1), KX_OK);
  EXPECT_EQ(dll.kx_Play(second, "macro", 1), KX_OK);

  EXPECT_EQ(around_.dll.lastErrorText(second), "from the late one");
  EXPECT_EQ(late.requests(), 2);
  EXPECT_EQ(punctual.requests(), 0);
  EXPECT_EQ(dll.kx_Exit(first, 1), KX_FAILED) << "the first context has no browser";
  EXPECT_EQ(dll.kx_Exit(second, 1), KX_OK);
  EXPECT_EQ(around_.calls.endlessWaits(), std::vector<std::string>());
  around_.calls.pause();
  for (const int context : {first, second}) {
    dll.kx_ContextDestroy(context);
  }
}

}  // namespace
