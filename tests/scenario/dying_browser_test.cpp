// A browser whose process ends at each step of a conversation, by itself or killed from outside: what the
// host is told, that the context can be exited, and that it can be started again with another browser.
// Browsers that live on and misbehave are in tests/fault/peer_matrix_test.cpp.
#include "scenario/conversation.h"
#include "support/win32/log_file.h"

#include <functional>
#include <optional>
#include <ostream>
#include <thread>

namespace {

// The call that meets the death. A launch is a kx_Init() that starts the browser.
enum class Call { Launch, Init, Play, Exit };

constexpr char kNotServed[] = "Could not open server pipe ";
constexpr char kNotConnected[] = "Failed to establish connection";
constexpr char kNotSent[] = "Error while sending request";
constexpr char kClosed[] = "Server unexpectedly closed connection";

constexpr char kAnswer[] = R"({"status":"OK","errorCode":1})";
constexpr int kWholeAnswer = sizeof(kAnswer) - 1;

struct Death {
  const char* name;
  // Where the process is when it ends: a moment of the simulator's script.
  std::string moment;
  // Bytes of its answer that have been read by then. After the last one, the next call meets the death.
  std::optional<int> bytesSent;
  Call during;
  const char* failure;
};

std::ostream& operator<<(std::ostream& stream, const Death& death) {
  return stream << death.name;
}

class DyingBrowser : public Conversation, public ::testing::WithParamInterface<Death> {
 protected:
  // The process comes to its moment, waits until the host waits for it, and then until the end.
  void expectWhatTheHostIsToldWhen(const std::function<void()>& end) {
    std::vector<std::string> actions;
    if (death_.bytesSent) {
      actions = {std::string("reply ") + kAnswer, "send " + std::to_string(*death_.bytesSent)};
    }
    actions.push_back("wait-event " + hostWaits_.name());
    actions.push_back("set-event " + reached_.name());
    actions.push_back("wait-event " + dies_.name());
    actions.emplace_back("die 3");
    for (const std::string& action : actions) {
      browser_.script("on " + death_.moment + " " + action);
    }
    if (death_.during != Call::Launch) {
      browser_.start();
    }
    std::thread user([&] {
      if (!reached_.wait()) {
        ADD_FAILURE() << "the browser has not come to its moment";
        return;
      }
      process_.emplace(browser_.processId());
      end();
      EXPECT_NE(process_->exitCode(), 0U) << "the library has ended it";
      gone_.signal();
    });
    comeToTheCall();
    makeTheCall();
    user.join();

    const bool isTimedOut = death_.failure == kNotConnected;
    const bool isOver = death_.during == Call::Exit;
    const std::string text = death_.failure + (death_.failure == kNotServed ? defaultPipe() : "");
    EXPECT_EQ(errorNumber(), isOver ? 0 : isTimedOut ? KX_ERROR_TIMEOUT : KX_ERROR_GENERAL);
    EXPECT_EQ(errorText(), isOver ? "" : text);
    EXPECT_EQ(isInitialised(), death_.during == Call::Play);
    EXPECT_EQ(exit(), death_.during == Call::Play ? KX_OK : KX_FAILED);
    EXPECT_EQ(browser_.processIds().size(), 1U);

    SimulatedBrowser other;
    attach(other);
    EXPECT_EQ(play("extract again"), KX_OK);
    EXPECT_EQ(extract(), "again");
    EXPECT_EQ(exit(), KX_OK);
  }

  const Death death_ = GetParam();
  SimulatedBrowser browser_;
  const NamedEvent dies_;
  std::optional<ObservedProcess> process_;

 private:
  void comeToTheCall() {
    if (death_.during > Call::Init) {
      ASSERT_EQ(init({}), KX_OK);
    }
    if (death_.during == Call::Exit) {
      ASSERT_EQ(play("extract x"), KX_OK);
    }
    if (death_.bytesSent == kWholeAnswer) {
      hostWaits_.signal();
      EXPECT_TRUE(gone_.wait());
    }
  }

  void makeTheCall() {
    // Where the browser has to act in time, it has all the time it needs.
    const int timeout = death_.failure == kNotServed || death_.failure == kNotConnected ? 1 : 60;
    const char* const lastWords = death_.failure == kNotServed      ? "Client: connecting to server"
                                  : death_.failure == kNotConnected ? "Client: waiting for server connection"
                                                                    : "Client: Message sent";
    const bool isLaunch = death_.during == Call::Launch;
    // The library is about to wait, or at its last attempt.
    const LogSignal waiting(lastWords, isLaunch ? 2 : 1, [&] {
      hostWaits_.signal();
      if (isLaunch) {
        gone_.wait();
      }
    });
    switch (death_.during) {
      case Call::Launch:
        EXPECT_EQ(init({.program = browser_.program(), .timeout = timeout}), KX_FAILED);
        break;
      case Call::Init:
        EXPECT_EQ(init({.timeout = timeout}), death_.failure == kNotConnected ? KX_TIMEOUT : KX_FAILED);
        break;
      case Call::Play:
        EXPECT_EQ(play("extract x"), KX_FAILED);
        break;
      case Call::Exit:
        // Without a time-out: nothing but the browser's end can end it.
        EXPECT_EQ(exit(0), KX_OK);
        break;
    }
  }

  // Without it the library says nothing while all goes well.
  const LogFile log_;
  const NamedEvent hostWaits_;
  const NamedEvent reached_;
  const NamedEvent gone_;
};

TEST_P(DyingBrowser, ABrowserThatEndsByItselfIsToldToTheHost) {
  expectWhatTheHostIsToldWhen([&] { dies_.signal(); });
}

TEST_P(DyingBrowser, ABrowserThatIsKilledIsToldToTheHost) {
  expectWhatTheHostIsToldWhen([&] { process_->kill(); });
}

INSTANTIATE_TEST_SUITE_P(
    AtEveryStep, DyingBrowser,
    ::testing::Values(Death{"BeforeItServes", "start", {}, Call::Launch, kNotServed},
                      Death{"BeforeItReadsTheNameLine", "connect", {}, Call::Init, kNotConnected},
                      Death{"BeforeItConnectsBack", "handshake", {}, Call::Init, kNotConnected},
                      Death{"BeforeItReadsTheFirstRequest", "before-request 1", {}, Call::Init, kClosed},
                      Death{"BeforeItAnswersTheFirstRequest", "init", {}, Call::Init, kClosed},
                      Death{"InTheMiddleOfItsFirstAnswer", "init", 10, Call::Init, kClosed},
                      Death{"AfterItsFirstAnswer", "init", kWholeAnswer, Call::Play, kNotSent},
                      Death{"BeforeItReadsAPlay", "before-request 2", {}, Call::Play, kClosed},
                      Death{"BeforeItAnswersAPlay", "play", {}, Call::Play, kClosed},
                      Death{"InTheMiddleOfTheAnswerToAPlay", "play", 10, Call::Play, kClosed},
                      Death{"AfterTheAnswerToAPlay", "play", kWholeAnswer, Call::Exit, kNotSent},
                      Death{"BeforeItReadsTheExit", "before-request 3", {}, Call::Exit, kClosed},
                      Death{"BeforeItAnswersTheExit", "exit", {}, Call::Exit, kClosed},
                      Death{"InTheMiddleOfTheAnswerToTheExit", "exit", 10, Call::Exit, kClosed}),
    [](const auto& tested) { return tested.param.name; });

}  // namespace
