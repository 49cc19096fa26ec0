// The runner family with real processes: the host starts the browser with the command line that it is given,
// connects to it and lets it go.
#include "scenario/conversation.h"
#include "support/win32/log_file.h"

#include <ostream>
#include <thread>

namespace {

class Runner : public Conversation {
 protected:
  // The arguments as a host gets them: first the size, then the text.
  std::string commandLine(const std::string& type, const std::string& options,
                          const char* page = nullptr) const {
    const int size = dll_.kxr_GetCommandLine(type.c_str(), options.c_str(), nullptr, 0, page);
    std::string line(static_cast<std::size_t>(size), '?');
    EXPECT_EQ(dll_.kxr_GetCommandLine(type.c_str(), options.c_str(), line.data(), size, page), KX_OK);
    line.pop_back();
    return line;
  }
  int init(const std::string& type, const std::string& options, int timeout = 30) const {
    return dll_.kxr_Init(context_, type.c_str(), options.c_str(), 0, timeout);
  }

  SimulatedBrowser browser_;
  const std::string own_ = uniqueName("own");
  const std::string firefox_ = "-runner -profiler -fxProfile \"my " + own_ + "\"";
};

TEST_F(Runner, FirefoxIsMetOnThePipeOfItsCommandLine) {
  browser_.start(commandLine("fx", firefox_));

  EXPECT_EQ(init("fx", firefox_), KX_OK);

  EXPECT_EQ(browser_.pipe(), "\\\\.\\pipe\\my " + own_ + ".runner");
  EXPECT_EQ(browserProcessId(), 0U);
}

TEST_F(Runner, ChromeIsMetOnThePipeOfItsStartPageByBothFamilies) {
  for (const char* page : {static_cast<const char*>(nullptr), "C:\\start\\page.html"}) {
    const std::string folder = "C:\\my " + own_ + (page != nullptr ? " page" : "");
    const std::string options = "-runner -crUserDataDir \"" + folder + "\"";
    SimulatedBrowser browser;
    browser.start(commandLine("cr", options, page));
    EXPECT_EQ(browser.pipe(), profilePipe("cr", folder));

    EXPECT_EQ(init("cr", options), KX_OK);
    EXPECT_EQ(Conversation::init({.browser = "cr", .options = options}), KX_OK);
  }
}

TEST_F(Runner, ABrowserThatIsStartedLateIsWaitedFor) {
  const LogFile log;
  const NamedEvent tried;
  const LogSignal afterSecondAttempt("Could not open pipe ", 2, [&] { tried.signal(); });
  std::thread host([&] {
    EXPECT_TRUE(tried.wait());
    browser_.start(commandLine("fx", firefox_));
  });

  EXPECT_EQ(init("fx", firefox_), KX_OK);
  host.join();
}

TEST_F(Runner, AnExtensionThatDoesNotConnectBackIsTriedAgain) {
  browser_.script("on handshake@1 hold");
  browser_.start(commandLine("fx", firefox_));

  EXPECT_EQ(init("fx", firefox_, 1), KX_OK);
}

TEST_F(Runner, ARunnersFailedStartLeavesTheBrowserRunning) {
  browser_.script("on init no-reply");
  browser_.start(commandLine("fx", firefox_));

  EXPECT_EQ(init("fx", firefox_, 1), KX_FAILED);

  EXPECT_EQ(browser_.events("conn=1 request").size(), 1U) << "it is not asked to exit";
  EXPECT_TRUE(browser_.isRunning());
}

TEST_F(Runner, ARunnersExitDoesNotWaitForTheBrowsersEnd) {
  const NamedEvent leave;
  browser_.script("on exit send");
  browser_.script("on exit wait-event " + leave.name());
  browser_.start(commandLine("fx", firefox_));
  ASSERT_EQ(init("fx", firefox_), KX_OK);
  const ObservedProcess process = browser_.process();

  EXPECT_EQ(dll_.kxr_Exit(context_, 30), KX_OK);

  EXPECT_TRUE(process.isRunning());
  leave.signal();
  EXPECT_EQ(process.exitCode(), 0U);
}

TEST_F(Runner, ARunnersExitThatIsNotAnsweredLeavesTheBrowserRunningAndConnected) {
  browser_.script("on exit 1 no-reply");
  browser_.script("on exit exit-code 7");
  browser_.start(commandLine("fx", firefox_));
  ASSERT_EQ(init("fx", firefox_), KX_OK);
  const ObservedProcess process = browser_.process();

  EXPECT_EQ(dll_.kxr_Exit(context_, 1), KX_TIMEOUT);

  EXPECT_EQ(play("extract x"), KX_OK);
  EXPECT_EQ(dll_.kxr_Exit(context_, 30), KX_OK);
  EXPECT_EQ(process.exitCode(), 7U);
}

}  // namespace
