// Hosts that meet a browser which is running already: one that a user has started, and one that another
// context has launched.
#include "e2e/real_browser.h"
#include "e2e/real_processes.h"

namespace {

class Attaching : public RealBrowser {};
KX_ON_BOTH_BROWSERS(Attaching);

TEST_P(Attaching, ABrowserThatTheUserStartedIsAttachedTo) {
  user_.makeProfile(kind());
  const StartedBrowser browser(kind(), "");
  ASSERT_TRUE(awaitPipe(user_.defaultPipe(kind())));
  Host host(library_, kind());

  ASSERT_EQ(host.init({"", "C:\\no such folder\\browser.exe"}), KX_OK) << host.errorText();

  EXPECT_EQ(host.processId(), 0U);
  expectOrderForm(host);
  EXPECT_EQ(host.exit(), KX_OK);
  EXPECT_EQ(browser.exitCode(), 0U);
}

TEST_P(Attaching, AHostThatAsksForANewWindowDoesNotDisturbTheOther) {
  const Profile profile = user_.makeProfile(kind());
  Host first(library_, kind());
  Host second(library_, kind());
  ASSERT_EQ(first.init(startOf(profile)), KX_OK) << first.errorText();
  ASSERT_EQ(first.play("await open(variables.site + '/form'); await fill('#customer', 'Ada');"), KX_OK);
  ASSERT_EQ(second.init({.options = profile.options(), .program = launcher(), .openNewBrowser = 1}), KX_OK);

  EXPECT_EQ(mainBrowserProcesses().size(), 1U);
  ASSERT_EQ(second.play("await open(variables.site + '/dialog'); await extract('#answer');"), KX_OK);

  EXPECT_EQ(second.extract(), "none");
  EXPECT_EQ(first.play("await extract('#customer');"), KX_OK);
  EXPECT_EQ(first.extract(), "Ada");
  EXPECT_EQ(first.exit(), KX_OK);
}

}  // namespace
