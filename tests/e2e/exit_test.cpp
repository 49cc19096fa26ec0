// The end of a browser that kx_Exit() asks for: by itself, or by force. Afterwards the profile serves the
// next browser.
#include "e2e/real_browser.h"
#include "e2e/real_processes.h"

#include <gmock/gmock.h>

using ::testing::HasSubstr;
using ::testing::Not;

namespace {

class Exits : public RealBrowser {};
KX_ON_BOTH_BROWSERS(Exits);

std::string waitOf(DWORD processId) {
  return "Waiting for browser process (" + std::to_string(processId) + ") ";
}

TEST_P(Exits, ABrowserThatEndsByItselfIsWaitedForAndNotKilled) {
  const Profile profile = user_.makeProfile(kind());
  Host host(library_, kind());
  ASSERT_EQ(host.init(startOf(profile)), KX_OK) << host.errorText();
  ASSERT_EQ(host.play("await open(variables.site + '/form');"), KX_OK);
  const ObservedProcess launched = host.process();
  log_.clear();

  EXPECT_EQ(host.exit(), KX_OK);

  EXPECT_FALSE(launched.isRunning());
  EXPECT_EQ(described(mainBrowserProcesses()), "") << "the process ended before the browser";
  EXPECT_THAT(log_.text(), HasSubstr(waitOf(launched.id()) + "termination"));
  EXPECT_THAT(log_.text(), Not(HasSubstr("exit failed")));
  EXPECT_EQ(described(leftoversOfRun()), "");
  expectThatItStartsAgain(profile);
}

TEST_P(Exits, ABrowserThatStaysIsEndedByForce) {
  EnvironmentVariable stays("KX_BROWSER_STAYS", "1");
  const Profile profile = user_.makeProfile(kind());
  Host host(library_, kind());
  ASSERT_EQ(host.init(startOf(profile)), KX_OK) << host.errorText();
  ASSERT_EQ(host.play("await open(variables.site + '/form');"), KX_OK);
  const ObservedProcess launched = host.process();
  log_.clear();
  // The one that is started afterwards does not stay.
  stays.remove();

  EXPECT_EQ(host.exit(3), KX_OK);

  EXPECT_EQ(launched.exitCode(), 0U) << "ended, but not by the library";
  EXPECT_THAT(log_.text(), HasSubstr(waitOf(launched.id()) + "exit failed, error "));
  EXPECT_EQ(described(leftoversOfRun()), "");
  expectThatItStartsAgain(profile);
}

}  // namespace
