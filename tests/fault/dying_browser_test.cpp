// A browser whose process ends at each step of a conversation, by itself or killed from outside. For each:
// what the host is told, that the context can be exited, and that it can be started again with another
// browser. Browsers that live on and misbehave are in peer_matrix_test.cpp.
#include "scenario/conversation.h"
#include "support/win32/log_file.h"

#include <optional>
#include <ostream>
#include <thread>
#include <vector>

namespace {

enum class Call { Init, Play, Exit };

struct Death {
  const char* name;
  // Where the process is when it ends: a moment of the simulator's script.
  std::string moment;
  // Bytes of its answer that it has sent by then.
  std::optional<int> bytesSent;
  // The call that the host is in.
  Call during;
  int result;
  int errorNumber;
  const char* errorText;
};

// For GoogleTest.
// NOLINTNEXTLINE(readability-identifier-naming): the name that GoogleTest looks for
void PrintTo(const Death& death, std::ostream* stream) {
  *stream << death.name;
}

constexpr char kNotConnected[] = "Failed to establish connection";
constexpr char kClosed[] = "Server unexpectedly closed connection";

class DyingBrowser : public Conversation, public ::testing::WithParamInterface<Death> {
 protected:
  void at(const std::string& moment, const std::string& action) {
    browser_.script("on " + moment + " " + action);
  }

  // Ends the process once the host waits for it, so that no request finds it gone already.
  void prepare(const std::vector<std::string>& end) {
    const Death& death = GetParam();
    if (death.bytesSent) {
      at(death.moment, "send " + std::to_string(*death.bytesSent));
    }
    at(death.moment, "wait-event " + hostWaits_.name());
    for (const std::string& action : end) {
      at(death.moment, action);
    }
    browser_.start();
    process_.emplace(browser_.processId());
  }

  // What the library says last before it waits for the browser.
  static std::string lastWordsOf(const Death& death) {
    return death.errorText == kNotConnected ? "Client: waiting for server connection"
                                            : "Client: Message sent";
  }

  void expectWhatTheHostIsTold() {
    const Death& death = GetParam();
    if (death.during != Call::Init) {
      ASSERT_EQ(init({}), KX_OK);
    }
    if (death.during == Call::Exit) {
      ASSERT_EQ(play("extract x"), KX_OK);
    }
    {
      const LogSignal waiting(lastWordsOf(death), 1, [&] { hostWaits_.signal(); });
      // Where the browser has to act in time, it has all the time it needs.
      const int timeout = death.result == KX_TIMEOUT ? 1 : 60;
      const int result = death.during == Call::Init   ? init({.timeout = timeout})
                         : death.during == Call::Play ? play("extract x")
                                                      : exit();
      EXPECT_EQ(result, death.result);
    }
    EXPECT_EQ(errorNumber(), death.errorNumber);
    EXPECT_EQ(errorText(), death.errorText);
    EXPECT_EQ(isInitialised(), death.during == Call::Play);
    EXPECT_EQ(exit(), death.during == Call::Play ? KX_OK : KX_FAILED);
    ASSERT_NE(process_->exitCode(), 0U) << "the library has ended it";
    expectAnotherBrowserCanBeUsed();
  }

  void expectAnotherBrowserCanBeUsed() {
    SimulatedBrowser other;
    attach(other);
    EXPECT_EQ(play("extract again"), KX_OK);
    EXPECT_EQ(extract(), "again");
    EXPECT_EQ(exit(), KX_OK);
  }

  // Without it the library says nothing while all goes well.
  const LogFile log_;
  SimulatedBrowser browser_;
  const NamedEvent hostWaits_;
  std::optional<ObservedProcess> process_;
};

TEST_P(DyingBrowser, ThatEndsByItself) {
  prepare({"die 3"});

  expectWhatTheHostIsTold();
}

TEST_P(DyingBrowser, ThatIsKilled) {
  const NamedEvent reached;
  prepare({"set-event " + reached.name(), "wait-event " + uniqueName("never")});
  std::thread user([&] {
    EXPECT_TRUE(reached.wait());
    browser_.kill();
  });

  expectWhatTheHostIsTold();
  user.join();
}

INSTANTIATE_TEST_SUITE_P(
    AtEveryStep, DyingBrowser,
    ::testing::Values(
        Death{"BeforeItReadsTheNameLine",
              "connect",
              {},
              Call::Init,
              KX_TIMEOUT,
              KX_ERROR_TIMEOUT,
              kNotConnected},
        Death{
            "BeforeItConnectsBack", "handshake", {}, Call::Init, KX_TIMEOUT, KX_ERROR_TIMEOUT, kNotConnected},
        Death{"BeforeItReadsTheFirstRequest",
              "before-request 1",
              {},
              Call::Init,
              KX_FAILED,
              KX_ERROR_GENERAL,
              kClosed},
        Death{"BeforeItAnswersTheFirstRequest", "init", {}, Call::Init, KX_FAILED, KX_ERROR_GENERAL, kClosed},
        Death{"InTheMiddleOfItsFirstAnswer", "init", 10, Call::Init, KX_FAILED, KX_ERROR_GENERAL, kClosed},
        Death{"BeforeItReadsAPlay", "before-request 2", {}, Call::Play, KX_FAILED, KX_ERROR_GENERAL, kClosed},
        Death{"BeforeItAnswersAPlay", "play", {}, Call::Play, KX_FAILED, KX_ERROR_GENERAL, kClosed},
        Death{"InTheMiddleOfTheAnswerToAPlay", "play", 10, Call::Play, KX_FAILED, KX_ERROR_GENERAL, kClosed},
        Death{"BeforeItReadsTheExit", "before-request 3", {}, Call::Exit, KX_OK, 0, ""},
        Death{"BeforeItAnswersTheExit", "exit", {}, Call::Exit, KX_OK, 0, ""},
        Death{"InTheMiddleOfTheAnswerToTheExit", "exit", 10, Call::Exit, KX_OK, 0, ""}),
    [](const auto& tested) { return tested.param.name; });

}  // namespace
