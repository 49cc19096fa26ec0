// Browsers that are launched and closed, again and again. Each launch costs the pause of two seconds, so
// hosts of several users work side by side: users do not share a start lock.
#include "scenario/conversation.h"
#include "soak/share.h"
#include "soak/soak_host.h"

#include <list>

namespace {

TEST(ManyLaunches, TwoHundredLaunchesAndExitsLeaveHandlesMemoryAndThreadsAsTheyWere) {
  // Together two hundred launches, or a twentieth of them. The last cycles of each host are compared with its
  // first.
  const int hosts = isFullLength() ? 10 : 2;
  const int cycles = isFullLength() ? 20 : 5;
  const TestUser user;
  const TempFolder reports("reports");
  std::list<SimulatedBrowser> browsers;
  std::list<HelperProcess> running;
  for (int i = 0; i < hosts; ++i) {
    // Firefox with a profile, Firefox without one and Chrome with a folder take different roads. Users share
    // the pipe of a profile, so each has one of its own.
    const std::string own = user.name() + "-" + std::to_string(i);
    const bool isChrome = i % 3 == 2;
    const std::string options = isChrome     ? "-crUserDataDir C:\\" + own
                                : i % 3 == 0 ? "-fxProfile " + own
                                             : "";
    const SimulatedBrowser& browser =
        browsers.emplace_back((isChrome ? "chrome" : "firefox") + std::to_string(i) + ".exe", "browser",
                              SimulatedBrowser::Recording::Off);
    running.emplace_back(launchingHost(own, isChrome ? "cr" : "fx", options, browser.program(),
                                       reports.path(std::to_string(i)), cycles));
  }

  int index = 0;
  for (const HelperProcess& host : running) {
    EXPECT_EQ(host.exitCode(INFINITE), 0U) << fileBytes(reports.path(std::to_string(index)));
    ++index;
  }

  for (const SimulatedBrowser& browser : browsers) {
    EXPECT_FALSE(browser.isRunning()) << browser.program();
  }
}

}  // namespace
