// Whole logs of conversations with a browser that the library launched, as a maintainer reads them: every
// entry, in its order, byte for byte.
#include "scenario/conversation.h"
#include "support/win32/golden_log.h"
#include "support/win32/log_file.h"

namespace {

class Log : public Conversation {
 protected:
  // Everything in a log that differs from run to run has a name.
  void expectGolden(const std::string& name, const std::string& log) const {
    GoldenLog golden;
    golden.with(browser_.program(), "<program>").with(user_.temp(), "<TEMP>");
    golden.with(user_.roaming(), "<APPDATA>").with(user_.local(), "<LOCALAPPDATA>");
    golden.with(md5Digest(profile_), "<digest>").with(profile_, "<profile>").with(user_.name(), "<user>");
    golden.with("(" + std::to_string(browser_.processId()) + ")", "(<browser>)");
    // These lengths depend on how many digits the ids have.
    golden.with("], len = " + std::to_string(browser_.recorded("name-line-1.bin").size()) + "\n",
                "], len = <name line>\n");
    if (browser_.hasRecorded("reply-1-2.bin")) {
      golden.with("Read " + std::to_string(browser_.recorded("reply-1-2.bin").size()) + " bytes",
                  "Read <answer> bytes");
    }
    golden.expect(name, log);
  }

  // A slow machine needs more attempts until a browser that was launched serves its pipe. They all look
  // alike.
  static std::string withoutRepeatedAttempts(std::string log) {
    const std::string attempt = "Client: connecting to server";
    const std::size_t launch = log.find("Starting binary ");
    const std::size_t first = log.rfind('\n', log.find(attempt, launch));
    const std::size_t last = log.rfind('\n', log.rfind(attempt));
    return log.erase(first, last - first);
  }

  const std::string profile_ = uniqueName("profile");
  const LogFile log_;
  SimulatedBrowser browser_;
};

TEST_F(Log, LogOfALaunchAndAnExit) {
  ASSERT_EQ(
      dll_.kx_Init(context_, "fx", ("-fxProfile " + profile_).c_str(), browser_.program().c_str(), 0, 1, 60),
      KX_OK);
  const std::string launch = log_.text();
  log_.clear();
  // Held, so that its id stays known however soon it ends. Otherwise a browser that ends before it is waited
  // for leaves an entry with error 87.
  const ObservedProcess process = browser_.process();
  ASSERT_EQ(exit(), KX_OK);

  expectGolden("log_exit.txt", log_.text());
  expectGolden("log_init_launch.txt", withoutRepeatedAttempts(launch));
}

TEST_F(Log, LogOfALaunchWhoseFirstRequestIsNotAnswered) {
  browser_.script("on init no-reply");
  const LogSignal serving = untilItServes(browser_);
  const LogSignal connected = untilItConnects(browser_);

  ASSERT_EQ(init({"cr", "-crUserDataDir " + profile_, browser_.program(), 1}), KX_FAILED);

  expectGolden("log_init_unanswered.txt",
               withoutRepeatedAttempts(withoutNumbersAfter("receive message, error ", log_.text())));
  EXPECT_FALSE(browser_.isRunning());
}

TEST_F(Log, LogOfAnExitOfABrowserThatStays) {
  browser_.script("on exit stay");
  launch(browser_);
  log_.clear();

  ASSERT_EQ(exit(1), KX_OK);

  expectGolden("log_exit_stays.txt", withoutNumbersAfter("exit failed, error ", log_.text()));
}

TEST_F(Log, LogOfAnExitThatIsNotAnswered) {
  browser_.script("on exit no-reply");
  launch(browser_);
  log_.clear();

  ASSERT_EQ(exit(1), KX_OK);

  // Whether the browser is still there when its pipe is closed is a matter of microseconds.
  const std::string last = "kill browser process\n";
  const std::string text = withoutNumbersAfter("receive message, error ", log_.text());
  expectGolden("log_exit_unanswered.txt", text.substr(0, text.find(last) + last.size()));
}

}  // namespace
