// Two browsers at once, each with a profile, a context and a thread of its own.
#include "e2e/real_browser.h"
#include "e2e/real_processes.h"
#include "e2e/site.h"

#include <array>
#include <barrier>
#include <thread>

namespace {

class Parallel : public RealBrowser {};
KX_ON_BOTH_BROWSERS(Parallel);

// What one of the threads has seen.
struct Outcome {
  int init = KX_FAILED;
  int told = KX_FAILED;
  int asked = KX_FAILED;
  int exit = KX_FAILED;
  std::string cookie;
  std::vector<std::string> rows;
  DWORD processId = 0;
};

TEST_P(Parallel, TwoContextsOfDifferentProfilesPlayAtTheSameTime) {
  const std::array<Profile, 2> profiles = {user_.makeProfile(kind(), "work"),
                                           user_.makeProfile(kind(), "home")};
  std::array<Outcome, 2> outcomes;
  std::barrier together(2);
  std::size_t browsersInBetween = 0;
  const auto useProfile = [&](std::size_t number) {
    Outcome& outcome = outcomes[number];
    Host host(library_, kind());
    outcome.init = host.init(startOf(profiles[number]));
    outcome.processId = host.processId();
    host.setVariable("name", profiles[number].name);
    together.arrive_and_wait();
    outcome.told = host.play(
        "await open(variables.site + '/slow?seconds=1');"
        "await evaluate((name) => { document.cookie = 'name=' + name; }, variables.name);");
    together.arrive_and_wait();
    if (number == 0) {
      browsersInBetween = mainBrowserProcesses().size();
    }
    outcome.asked = host.play(
        "await open(variables.site + '/table');"
        "extractText(await evaluate(() => document.cookie)); await extractTable('#names');");
    outcome.cookie = host.extract(1);
    outcome.rows = host.extracts(1001);
    together.arrive_and_wait();
    outcome.exit = host.exit();
  };

  std::thread other([&] { useProfile(1); });
  useProfile(0);
  other.join();

  std::vector<std::string> rows = site::tableRows();
  for (std::size_t number = 0; number < outcomes.size(); ++number) {
    SCOPED_TRACE(profiles[number].name);
    const Outcome& outcome = outcomes[number];
    EXPECT_EQ(outcome.init, KX_OK);
    EXPECT_EQ(outcome.told, KX_OK);
    EXPECT_EQ(outcome.asked, KX_OK);
    EXPECT_EQ(outcome.exit, KX_OK);
    EXPECT_EQ(outcome.cookie, "name=" + profiles[number].name);
    ASSERT_EQ(outcome.rows.size(), 1001U);
    EXPECT_TRUE(std::equal(rows.begin(), rows.end(), outcome.rows.begin() + 1));
    EXPECT_NE(outcome.processId, 0U);
  }
  EXPECT_NE(outcomes[0].processId, outcomes[1].processId);
  EXPECT_EQ(browsersInBetween, 2U);
}

}  // namespace
