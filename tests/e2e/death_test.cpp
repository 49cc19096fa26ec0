// Hosts and browsers that are killed half-way through a play: whoever is left is told, nothing of the browser
// stays, and its profile serves the next one.
#include "e2e/real_browser.h"
#include "e2e/real_processes.h"
#include "e2e/site.h"
#include "support/win32/host_process.h"
#include "support/win32/log_signal.h"

#include <functional>
#include <thread>

namespace {

class SuddenDeaths : public RealBrowser {
 protected:
  // Plays a macro that would take for ever and runs `kill` as soon as the browser has got it. The host is
  // told, and exits.
  void expectThatThePlayFailsWhen(const Profile& profile, const std::function<void(const Host& host)>& kill) {
    Host host(library_, kind());
    ASSERT_EQ(host.init(startOf(profile)), KX_OK) << host.errorText();
    const ObservedProcess launched = host.process();
    const NamedEvent sent;
    const LogSignal whenSent("Client: Message sent", 1, [&] { sent.signal(); });
    std::thread killer([&] {
      sent.wait();
      kill(host);
    });
    EXPECT_EQ(host.play("await open(variables.site + '/slow?seconds=100');"), KX_FAILED);
    killer.join();

    // The stand-in may have noticed in the page, and told, before it went.
    EXPECT_LT(host.errorNumber(), 0);
    EXPECT_NE(host.errorText(), "");
    EXPECT_EQ(host.exit(), KX_OK);
    EXPECT_TRUE(eventually([&] { return !launched.isRunning(); }));
    EXPECT_EQ(described(leftoversOfRun()), "");
    expectThatItStartsAgain(profile);
  }
};
KX_ON_BOTH_BROWSERS(SuddenDeaths);

TEST_P(SuddenDeaths, WhenTheHostIsKilledItsBrowserEndsSoon) {
  const EnvironmentVariable linger("KX_BROWSER_LINGER", "1");
  const Profile profile = user_.makeProfile(kind());
  HostProcess other({kind().type, profile.options(), launcher(),
                     "await open('" + site::address() + "/slow?seconds=100');"});
  ASSERT_TRUE(other.isPlaying());
  ASSERT_EQ(mainBrowserProcesses().size(), 1U);

  other.kill();

  EXPECT_EQ(described(leftoversOfRun()), "");
  expectThatItStartsAgain(profile);
}

TEST_P(SuddenDeaths, APlayFailsWhenTheLaunchedProcessIsKilled) {
  expectThatThePlayFailsWhen(user_.makeProfile(kind()), [](const Host& host) { host.process().kill(); });
}

TEST_P(SuddenDeaths, APlayFailsWhenTheRealBrowserIsKilled) {
  expectThatThePlayFailsWhen(user_.makeProfile(kind()),
                             [](const Host&) { killRealProcess(mainBrowserProcesses().at(0)); });
}

}  // namespace
