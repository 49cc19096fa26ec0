// Hosts and browsers that are killed half-way through a play: whoever is left is told, nothing of the browser
// stays, and its profile serves the next one.
#include "e2e/host_process.h"
#include "e2e/real_browser.h"
#include "e2e/real_processes.h"
#include "support/win32/log_signal.h"

#include <functional>
#include <thread>

namespace {

class SuddenDeaths : public RealBrowser {
 protected:
  // Plays a macro that would take for ever and runs `kill` as soon as the browser has got it. The play's
  // result.
  int playWhile(const Host& host, const std::function<void()>& kill) const {
    const NamedEvent sent;
    const LogSignal whenSent("Client: Message sent", 1, [&] { sent.signal(); });
    std::thread killer([&] {
      sent.wait();
      kill();
    });
    const int result = host.play("await open(variables.site + '/slow?seconds=100');");
    killer.join();
    return result;
  }
};
KX_ON_BOTH_BROWSERS(SuddenDeaths);

TEST_P(SuddenDeaths, WhenTheHostIsKilledItsBrowserEndsSoon) {
  const EnvironmentVariable linger("KX_BROWSER_LINGER", "1");
  const Profile profile = user_.makeProfile(kind());
  DoomedHost other(profile);
  ASSERT_TRUE(other.isPlaying());
  ASSERT_EQ(mainBrowserProcesses().size(), 1U);

  other.kill();

  EXPECT_EQ(described(leftoversOfRun()), "");
  expectThatItStartsAgain(profile);
}

TEST_P(SuddenDeaths, WhenTheHostIsKilledAnotherOneCanAttachToItsBrowser) {
  const EnvironmentVariable linger("KX_BROWSER_LINGER", "600");
  const Profile profile = user_.makeProfile(kind());
  DoomedHost other(profile);
  ASSERT_TRUE(other.isPlaying());
  other.kill();
  Host host(library_, kind());

  ASSERT_EQ(host.init({profile.options(), "C:\\no such folder\\browser.exe"}), KX_OK) << host.errorText();

  EXPECT_EQ(host.processId(), 0U);
  EXPECT_EQ(host.play("await open(variables.site + '/form'); await extract('header');"), KX_OK)
      << host.errorText();
  EXPECT_EQ(host.extract(), "Order form");
  EXPECT_EQ(host.exit(), KX_OK);
}

TEST_P(SuddenDeaths, WhenTheHostIsKilledInItsStartTheNextOneGetsTheBrowser) {
  const Profile profile = user_.makeProfile(kind());
  DoomedHost other(profile);
  ASSERT_TRUE(other.isStarting());
  other.kill();
  Host host(library_, kind());

  ASSERT_EQ(host.init(startOf(profile)), KX_OK) << host.errorText();

  EXPECT_EQ(mainBrowserProcesses().size(), 1U);
  EXPECT_EQ(host.play("await open(variables.site + '/form'); await extract('header');"), KX_OK)
      << host.errorText();
  EXPECT_EQ(host.extract(), "Order form");
  EXPECT_EQ(host.exit(), KX_OK);
}

TEST_P(SuddenDeaths, APlayFailsWhenTheLaunchedProcessIsKilled) {
  const Profile profile = user_.makeProfile(kind());
  Host host(library_, kind());
  ASSERT_EQ(host.init(startOf(profile)), KX_OK) << host.errorText();
  const ObservedProcess launched = host.process();

  EXPECT_EQ(playWhile(host, [&] { launched.kill(); }), KX_FAILED);

  EXPECT_EQ(host.errorNumber(), KX_ERROR_GENERAL);
  EXPECT_EQ(host.errorText(), "Server unexpectedly closed connection");
  EXPECT_EQ(host.exit(), KX_OK);
  EXPECT_EQ(described(leftoversOfRun()), "");
  expectThatItStartsAgain(profile);
}

TEST_P(SuddenDeaths, APlayFailsWhenTheRealBrowserIsKilled) {
  const Profile profile = user_.makeProfile(kind());
  Host host(library_, kind());
  ASSERT_EQ(host.init(startOf(profile)), KX_OK) << host.errorText();
  const ObservedProcess launched = host.process();
  const RealProcess browser = mainBrowserProcesses().at(0);

  EXPECT_EQ(playWhile(host, [&] { killRealProcess(browser); }), KX_FAILED);

  // The stand-in may have noticed in the page, and told, before it went.
  EXPECT_LT(host.errorNumber(), 0);
  EXPECT_NE(host.errorText(), "");
  EXPECT_EQ(host.exit(), KX_OK);
  EXPECT_TRUE(eventually([&] { return !launched.isRunning(); }));
  EXPECT_EQ(described(leftoversOfRun()), "");
  expectThatItStartsAgain(profile);
}

TEST_P(SuddenDeaths, AfterTheBrowserHasDiedEveryCallFailsAndTheExitSucceeds) {
  const Profile profile = user_.makeProfile(kind());
  Host host(library_, kind());
  ASSERT_EQ(host.init(startOf(profile)), KX_OK) << host.errorText();
  host.process().kill();
  ASSERT_EQ(described(leftoversOfRun()), "");

  EXPECT_EQ(host.play("extractText('nobody');"), KX_FAILED);
  EXPECT_EQ(host.display("nobody"), KX_FAILED);
  EXPECT_EQ(host.takePicture(user_.user().temp() + "\\nobody.png", KX_SCREENSHOT_PAGE), KX_FAILED);

  EXPECT_LT(host.errorNumber(), 0);
  EXPECT_EQ(host.exit(), KX_OK);
}

}  // namespace
