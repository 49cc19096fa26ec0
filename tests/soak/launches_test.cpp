// Browsers that are launched and closed, again and again. Each launch costs the pause of two seconds, so
// hosts of several users work side by side: users do not share a start lock.
#include "scenario/conversation.h"
#include "soak/share.h"
#include "soak/soak_host.h"

#include <list>

namespace {

// The last cycles of each host are compared with its first.
struct Fleet {
  int hosts;
  int cycles;
};

// Together two hundred launches, or a twentieth of them.
Fleet fleet() {
  return isFullLength() ? Fleet{10, 20} : Fleet{2, 5};
}

// Firefox with a profile, Firefox without one and Chrome with a folder take different roads. Users share the
// pipe of a profile, so each has one of its own.
LaunchingHost hostOf(int index, const std::string& userName) {
  const std::string own = userName + "-" + std::to_string(index);
  switch (index % 3) {
    case 0:
      return {.userName = own, .browser = "fx", .options = "-fxProfile " + own};
    case 1:
      return {.userName = own, .browser = "fx"};
    default:
      return {.userName = own, .browser = "cr", .options = "-crUserDataDir C:\\" + own};
  }
}

class ManyLaunches : public ::testing::Test {
 protected:
  const TestUser user_;
  const TempFolder reports_{"reports"};
};

TEST_F(ManyLaunches, TwoHundredLaunchesAndExitsLeaveHandlesMemoryAndThreadsAsTheyWere) {
  const auto [hosts, cycles] = fleet();
  std::list<SimulatedBrowser> browsers;
  std::list<SoakHost> running;
  for (int i = 0; i < hosts; ++i) {
    LaunchingHost host = hostOf(i, user_.name());
    const SimulatedBrowser& browser =
        browsers.emplace_back((host.browser == "cr" ? "chrome" : "firefox") + std::to_string(i) + ".exe",
                              "browser", SimulatedBrowser::Recording::Off);
    host.program = browser.program();
    host.reportPath = reports_.path(std::to_string(i));
    host.cycles = cycles;
    running.emplace_back(host);
  }

  int index = 0;
  for (const SoakHost& host : running) {
    EXPECT_EQ(host.exitCode(), 0U) << fileBytes(reports_.path(std::to_string(index)));
    ++index;
  }

  for (const SimulatedBrowser& browser : browsers) {
    EXPECT_FALSE(browser.isRunning()) << browser.program();
  }
}

}  // namespace
