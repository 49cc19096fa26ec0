// Whole logs of the main conversations, as a maintainer reads them: every entry, in its order, byte for byte.
#include "scenario/conversation.h"
#include "support/win32/golden_log.h"
#include "support/win32/log_file.h"

namespace {

class Log : public Conversation {
 protected:
  // Everything in a log that differs from run to run has a name.
  GoldenLog named(const SimulatedBrowser& browser) const {
    GoldenLog golden;
    golden.with(browser.program(), "<program>");
    golden.with(user_.temp(), "<TEMP>")
        .with(user_.roaming(), "<APPDATA>")
        .with(user_.local(), "<LOCALAPPDATA>");
    golden.with(md5Digest(profile_), "<digest>").with(profile_, "<profile>").with(user_.name(), "<user>");
    for (const DWORD id : browser.processIds()) {
      golden.with("(" + std::to_string(id) + ")", "(<browser>)");
    }
    return golden;
  }

  // The length of the name line depends on how many digits the ids have.
  static std::string lengthOf(const std::string& nameLine) {
    return "], len = " + std::to_string(nameLine.size()) + "\n";
  }
  static constexpr char kNameLineLength[] = "], len = <name line>\n";

  // So does the length of an answer that names a process.
  static std::string readOf(const std::string& reply) {
    return "Read " + std::to_string(reply.size()) + " bytes";
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
};

TEST_F(Log, OfAStartThatLaunchesTheBrowser) {
  const SimulatedBrowser browser;

  ASSERT_EQ(init({.options = "-fxProfile " + profile_, .program = browser.program(), .openNewBrowser = 1}),
            KX_OK);

  const std::string text = log_.text();
  EXPECT_EQ(exit(), KX_OK);
  named(browser)
      .with(lengthOf(browser.nameLine()), kNameLineLength)
      .expect("log_init_launch.txt", withoutRepeatedAttempts(text));
}

TEST_F(Log, OfAStartThatLaunchesChrome) {
  const SimulatedBrowser browser;

  ASSERT_EQ(init({.browser = "cr", .options = "-crUserDataDir " + profile_, .program = browser.program()}),
            KX_OK);

  const std::string text = log_.text();
  EXPECT_EQ(exit(), KX_OK);
  named(browser)
      .with(lengthOf(browser.nameLine()), kNameLineLength)
      .expect("log_init_launch_chrome.txt", withoutRepeatedAttempts(text));
}

TEST_F(Log, OfAStartThatAttaches) {
  SimulatedBrowser browser;
  browser.start();

  ASSERT_EQ(init({.timeout = 30}), KX_OK);

  named(browser)
      .with(lengthOf(browser.nameLine()), kNameLineLength)
      .expect("log_init_attach.txt", log_.text());
}

TEST_F(Log, OfAPlay) {
  SimulatedBrowser browser;
  attach(browser);
  log_.clear();
  setVariable("city", "Oslo");
  setVariable("a", "b");

  ASSERT_EQ(play("extract $(city)\nextract two"), KX_OK);

  EXPECT_EQ(extract(), "Oslo[EXTRACT]two");
  named(browser).expect("log_play.txt", log_.text());
}

TEST_F(Log, OfAnExit) {
  SimulatedBrowser browser;
  launch(browser);
  // Held, so that its id stays known however soon it ends. Otherwise a browser that ends before it is waited
  // for leaves an entry with error 87.
  const ObservedProcess process = browser.process();
  log_.clear();

  ASSERT_EQ(exit(), KX_OK);

  named(browser).with(readOf(browser.reply(2)), "Read <answer> bytes").expect("log_exit.txt", log_.text());
}

TEST_F(Log, OfAScreenshotAndAMessage) {
  SimulatedBrowser browser;
  attach(browser);
  log_.clear();

  ASSERT_EQ(dll_.kx_TakeBrowserScreenshot(context_, "Z:\\missing\\picture.png", KX_SCREENSHOT_PAGE, 30),
            KX_OK);
  ASSERT_EQ(dll_.kx_Display(context_, "100% \"done\"", 30), KX_OK);

  named(browser).expect("log_capture_and_show.txt", log_.text());
}

TEST_F(Log, OfARunnersConversation) {
  SimulatedBrowser browser;
  browser.start("-P \"" + profile_ + "\" -kx-pipe \"\\\\.\\pipe\\" + profile_ + ".runner\"");

  ASSERT_EQ(dll_.kxr_Init(context_, "fx", ("-runner -fxProfile " + profile_).c_str(), 0, 30), KX_OK);
  ASSERT_EQ(dll_.kxr_Exit(context_, 30), KX_OK);

  named(browser)
      .with(lengthOf(browser.nameLine()), kNameLineLength)
      .with(readOf(browser.reply(2)), "Read <answer> bytes")
      .expect("log_runner.txt", log_.text());
}

TEST_F(Log, OfARunnersStartThatTimesOut) {
  const SimulatedBrowser browser;

  ASSERT_EQ(dll_.kxr_Init(context_, "fx", ("-runner -fxProfile " + profile_).c_str(), 0, 1), KX_FAILED);

  named(browser).expect("log_runner_timed_out.txt", log_.text());
}

TEST_F(Log, OfAMissingProgram) {
  const SimulatedBrowser browser;

  ASSERT_EQ(init({.program = user_.local() + "\\missing.exe"}), ERROR_FILE_NOT_FOUND);

  named(browser).expect("log_init_missing_program.txt", log_.text());
}

TEST_F(Log, OfAnUnwritableStartPage) {
  const SimulatedBrowser browser;
  const EnvironmentVariable noFolder("TEMP", user_.temp() + "\\missing");

  ASSERT_EQ(init({.options = "-fxProfile " + profile_, .program = browser.program()}), KX_FAILED);

  named(browser).expect("log_init_unwritable_page.txt", log_.text());
}

TEST_F(Log, OfABrowserThatNeverServes) {
  SimulatedBrowser browser;
  browser.script("serve-never");
  const LogSignal started = untilItHasStarted(browser);

  ASSERT_EQ(init({.browser = "cr", .program = browser.program(), .timeout = 1}), KX_FAILED);

  named(browser).expect("log_init_never_serves.txt", log_.text());
}

TEST_F(Log, OfAnExtensionThatNeverConnectsBack) {
  SimulatedBrowser browser;
  browser.script("on handshake hold");
  browser.start();

  ASSERT_EQ(init({.timeout = 1}), KX_TIMEOUT);

  named(browser)
      .with(lengthOf(browser.nameLine()), kNameLineLength)
      .expect("log_init_never_connects_back.txt", withoutNumbersAfter("(pipe_accept) error=", log_.text()));
}

TEST_F(Log, OfAFirstRequestThatIsNotAnswered) {
  SimulatedBrowser browser;
  browser.script("on init no-reply");
  const LogSignal serving = untilItServes(browser);
  const LogSignal connected = untilItConnects(browser);

  ASSERT_EQ(init({.browser = "cr",
                  .options = "-crUserDataDir " + profile_,
                  .program = browser.program(),
                  .timeout = 1}),
            KX_FAILED);

  const std::string text = withoutNumbersAfter("receive message, error ", log_.text());
  named(browser)
      .with(lengthOf(browser.nameLine()), kNameLineLength)
      .with(readOf(browser.reply(2)), "Read <answer> bytes")
      .expect("log_init_unanswered.txt", withoutRepeatedAttempts(text));
}

TEST_F(Log, OfAHeldProfile) {
  user_.writeProfiles("[Profile0]\nName=dev\nIsRelative=1\nPath=Profiles/dev\nDefault=1\n");
  std::filesystem::create_directories(wide(user_.roaming() + "\\Mozilla\\Firefox\\Profiles\\dev"));
  SimulatedBrowser browser;
  const NamedEvent locked;
  browser.script("on start lock-profile");
  browser.script("on start set-event " + locked.name());
  browser.script("serve-never");
  browser.startOnly();
  ASSERT_TRUE(locked.wait());

  ASSERT_EQ(init({.program = browser.program(), .timeout = 4}), KX_FAILED);

  named(browser).expect("log_init_held_profile.txt", log_.text());
}

TEST_F(Log, OfAnAnswerThatIsCutOff) {
  SimulatedBrowser browser;
  browser.script("on play cut 10");
  attach(browser);
  log_.clear();

  ASSERT_EQ(play("extract x"), KX_FAILED);

  named(browser).expect("log_play_cut_off.txt", withoutNumbersAfter("gla=", log_.text()));
}

TEST_F(Log, OfAnAnswerOfGarbage) {
  SimulatedBrowser browser;
  browser.script("on play reply {\"status\":OK}");
  attach(browser);
  log_.clear();

  ASSERT_EQ(play("extract x"), KX_FAILED);

  named(browser).expect("log_play_garbage.txt", log_.text());
}

TEST_F(Log, OfAnExitOfABrowserThatStays) {
  SimulatedBrowser browser;
  browser.script("on exit stay");
  launch(browser);
  log_.clear();

  ASSERT_EQ(exit(1), KX_OK);

  named(browser)
      .with(readOf(browser.reply(2)), "Read <answer> bytes")
      .expect("log_exit_stays.txt", withoutNumbersAfter("exit failed, error ", log_.text()));
}

TEST_F(Log, OfAnExitThatIsNotAnswered) {
  SimulatedBrowser browser;
  browser.script("on exit no-reply");
  launch(browser);
  log_.clear();

  ASSERT_EQ(exit(1), KX_OK);

  // Whether the browser is still there when its pipe is closed is a matter of microseconds.
  std::string text = withoutNumbersAfter("receive message, error ", log_.text());
  const std::size_t killed = text.find("kill browser process\n");
  ASSERT_NE(killed, std::string::npos);
  text.resize(killed + std::string("kill browser process\n").size());
  named(browser).expect("log_exit_unanswered.txt", text);
}

TEST_F(Log, OfAnExitOfABrowserThatIsGone) {
  SimulatedBrowser browser;
  attach(browser);
  browser.kill();
  log_.clear();

  ASSERT_EQ(exit(), KX_OK);

  named(browser).expect("log_exit_browser_gone.txt", log_.text());
}

TEST_F(Log, WithoutTheSwitchOnlyErrorsAreWritten) {
  const EnvironmentVariable off("KORVEX_LOG", "off");
  SimulatedBrowser browser;
  browser.script("on play reply [1]");
  attach(browser);

  ASSERT_EQ(play("x"), KX_OK);

  named(browser).expect("log_errors_only.txt", log_.text());
}

TEST_F(Log, WithoutTheSwitchAndAPathNothingIsWritten) {
  EnvironmentVariable off("KORVEX_LOG");
  EnvironmentVariable nowhere("KORVEX_LOGPATH");
  off.remove();
  nowhere.remove();
  const EnvironmentVariable drive("HOMEDRIVE", user_.local().substr(0, 2));
  const EnvironmentVariable home("HOMEPATH", user_.local().substr(2));
  SimulatedBrowser browser;
  attach(browser);

  ASSERT_EQ(play("extract x"), KX_OK);

  EXPECT_FALSE(fileExists(user_.local() + "\\korvex.log"));
  EXPECT_FALSE(fileExists(log_.path()));
}

TEST_F(Log, TheSwitchTakesEffectBetweenTwoCalls) {
  EnvironmentVariable logSwitch("KORVEX_LOG");
  logSwitch.remove();
  SimulatedBrowser browser;
  attach(browser);
  log_.clear();
  ASSERT_EQ(play("extract x"), KX_OK);
  EXPECT_EQ(log_.text(), "");

  logSwitch.set("TRUE");
  ASSERT_EQ(play("extract x"), KX_OK);

  EXPECT_EQ(occurrences(log_.text(), "Client: Message sent, receiving response\n"), 1);
}

}  // namespace
