// A browser whose process ends at each step of a conversation, by itself or killed from outside. For each:
// what the host is told, which errors the log has, that the context can be exited, and that it can be started
// again with another browser. Browsers that live on and misbehave are in peer_matrix_test.cpp.
#include "scenario/conversation.h"
#include "support/win32/log_file.h"

#include <functional>
#include <optional>
#include <ostream>
#include <sstream>
#include <thread>
#include <vector>

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

// For GoogleTest.
// NOLINTNEXTLINE(readability-identifier-naming): the name that GoogleTest looks for
void PrintTo(const Death& death, std::ostream* stream) {
  *stream << death.name;
}

class DyingBrowser : public Conversation, public ::testing::WithParamInterface<Death> {
 protected:
  // The process comes to its moment, waits until the host waits for it, and then until the end.
  void walk(const std::function<void()>& end) {
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
    expectWhatTheHostIsTold();
    user.join();
    EXPECT_EQ(browser_.processIds().size(), 1U);
  }

  void expectWhatTheHostIsTold() {
    if (death_.during > Call::Init) {
      ASSERT_EQ(init({}), KX_OK);
    }
    if (death_.during == Call::Exit) {
      ASSERT_EQ(play("extract x"), KX_OK);
    }
    if (isBetweenCalls()) {
      hostWaits_.signal();
      EXPECT_TRUE(gone_.wait());
    }
    log_.clear();
    {
      // The library is about to wait, or at its last attempt.
      const LogSignal waiting(lastWords(), death_.during == Call::Launch ? 2 : 1, [&] {
        hostWaits_.signal();
        if (death_.during == Call::Launch) {
          gone_.wait();
        }
      });
      EXPECT_EQ(makeTheCall(), result());
    }
    EXPECT_EQ(errorsInTheLog(), expectedErrors());
    EXPECT_EQ(errorNumber(), death_.during == Call::Exit ? 0 : number());
    EXPECT_EQ(errorText(), death_.during == Call::Exit ? "" : text());
    EXPECT_EQ(isInitialised(), death_.during == Call::Play);
    EXPECT_EQ(exit(), death_.during == Call::Play ? KX_OK : KX_FAILED);
    expectAnotherBrowserCanBeUsed();
  }

  void expectAnotherBrowserCanBeUsed() {
    SimulatedBrowser other;
    attach(other);
    EXPECT_EQ(play("extract again"), KX_OK);
    EXPECT_EQ(extract(), "again");
    EXPECT_EQ(exit(), KX_OK);
  }

  bool isBetweenCalls() const { return death_.bytesSent == kWholeAnswer; }

  std::string lastWords() const {
    return death_.failure == kNotServed      ? "Client: connecting to server"
           : death_.failure == kNotConnected ? "Client: waiting for server connection"
                                             : "Client: Message sent";
  }

  int makeTheCall() {
    // Where the browser has to act in time, it has all the time it needs.
    const int timeout = death_.failure == kNotServed || death_.failure == kNotConnected ? 1 : 60;
    switch (death_.during) {
      case Call::Launch:
        return init({.program = browser_.program(), .timeout = timeout});
      case Call::Init:
        return init({.timeout = timeout});
      case Call::Play:
        return play("extract x");
      default:
        // Without a time-out: nothing but the browser's end can end it.
        return exit(0);
    }
  }

  int result() const {
    return death_.during == Call::Exit ? KX_OK : death_.failure == kNotConnected ? KX_TIMEOUT : KX_FAILED;
  }
  int number() const { return death_.failure == kNotConnected ? KX_ERROR_TIMEOUT : KX_ERROR_GENERAL; }
  std::string text() const {
    return death_.failure + (death_.failure == kNotServed ? defaultPipe() : std::string());
  }

  std::vector<std::string> expectedErrors() const {
    const std::string notSent = std::string("BrowserInstance::sendCommand() ") + kNotSent + ", error=-1";
    std::vector<std::string> errors;
    if (death_.failure == kNotConnected) {
      errors = {"pipe_accept: timeout", "Client: (pipe_accept) error=N"};
    } else if (death_.failure == kNotSent) {
      errors = {"pipe_write: data write error N", notSent};
    } else if (death_.failure == kClosed) {
      errors = {std::string("BrowserInstance::sendCommand() ") + kClosed + ", gla=N"};
    }
    if (death_.during <= Call::Init) {
      errors.push_back("kx_Init(): " + text() + ", error (" + std::to_string(number()) + ")");
    }
    if (death_.during == Call::Launch) {
      errors.push_back(notSent);
    }
    if (death_.during == Call::Launch || death_.during == Call::Exit) {
      errors.emplace_back("BrowserInstance::terminate() failed, kill browser process");
    }
    return errors;
  }

  // Without those about files that are not there, and those of closing a pipe whose other end is gone, which
  // not every system gives.
  std::vector<std::string> errorsInTheLog() const {
    const std::string start = "Error: ";
    std::string log = log_.text();
    for (const char* marker : {"gla=", "(pipe_accept) error=", "data write error "}) {
      log = withoutNumbersAfter(marker, log);
    }
    std::istringstream lines(log);
    std::vector<std::string> errors;
    for (std::string line; std::getline(lines, line);) {
      // Behind an error stand its ids, and behind these, on the same line, what comes next.
      const std::size_t at = line.find(start);
      const std::string message = at != std::string::npos ? line.substr(at + start.size()) : "";
      if (!message.empty() && !message.starts_with("Can not open ") &&
          !message.starts_with("Could not flush ") && !message.starts_with("Could not disconnect ")) {
        errors.push_back(message);
      }
    }
    return errors;
  }

  const Death death_ = GetParam();
  // Without it the library says nothing while all goes well.
  const LogFile log_;
  SimulatedBrowser browser_;
  const NamedEvent hostWaits_;
  const NamedEvent reached_;
  const NamedEvent dies_;
  const NamedEvent gone_;
  std::optional<ObservedProcess> process_;
};

TEST_P(DyingBrowser, ThatEndsByItself) {
  walk([&] { dies_.signal(); });
}

TEST_P(DyingBrowser, ThatIsKilled) {
  walk([&] { process_->kill(); });
}

INSTANTIATE_TEST_SUITE_P(
    AtEveryStep, DyingBrowser,
    ::testing::Values(
        Death{"BeforeItServes", "start", {}, Call::Launch, kNotServed},
        Death{"BeforeItReadsTheNameLine", "connect", {}, Call::Init, kNotConnected},
        Death{"BeforeItConnectsBack", "handshake", {}, Call::Init, kNotConnected},
        Death{"BeforeItReadsTheFirstRequest", "before-request 1", {}, Call::Init, kClosed},
        Death{"BeforeItAnswersTheFirstRequest", "init", {}, Call::Init, kClosed},
        Death{"AfterTheFirstByteOfItsFirstAnswer", "init", 1, Call::Init, kClosed},
        Death{"InTheMiddleOfItsFirstAnswer", "init", 10, Call::Init, kClosed},
        Death{"BeforeTheLastByteOfItsFirstAnswer", "init", kWholeAnswer - 1, Call::Init, kClosed},
        Death{"AfterItsFirstAnswer", "init", kWholeAnswer, Call::Play, kNotSent},
        Death{"BeforeItReadsAPlay", "before-request 2", {}, Call::Play, kClosed},
        Death{"BeforeItAnswersAPlay", "play", {}, Call::Play, kClosed},
        Death{"AfterTheFirstByteOfTheAnswerToAPlay", "play", 1, Call::Play, kClosed},
        Death{"InTheMiddleOfTheAnswerToAPlay", "play", 10, Call::Play, kClosed},
        Death{"BeforeTheLastByteOfTheAnswerToAPlay", "play", kWholeAnswer - 1, Call::Play, kClosed},
        Death{"AfterTheAnswerToAPlay", "play", kWholeAnswer, Call::Exit, kNotSent},
        Death{"BeforeItReadsTheExit", "before-request 3", {}, Call::Exit, kClosed},
        Death{"BeforeItAnswersTheExit", "exit", {}, Call::Exit, kClosed},
        Death{"AfterTheFirstByteOfTheAnswerToTheExit", "exit", 1, Call::Exit, kClosed},
        Death{"InTheMiddleOfTheAnswerToTheExit", "exit", 10, Call::Exit, kClosed},
        Death{"BeforeTheLastByteOfTheAnswerToTheExit", "exit", kWholeAnswer - 1, Call::Exit, kClosed}),
    [](const auto& tested) { return tested.param.name; });

}  // namespace
