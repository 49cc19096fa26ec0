// Macros that run into their time-out in a real browser: the context can be ended, whatever hangs, and the
// same profile can be started again.
#include "e2e/real_browser.h"
#include "e2e/real_processes.h"

#include <gmock/gmock.h>

using ::testing::HasSubstr;
using ::testing::Not;

namespace {

class TimeOuts : public RealBrowser {
 protected:
  // Launches, and plays a macro that takes longer than it may.
  void playTooLong(Host& host, const Profile& profile, const std::string& macro) const {
    constexpr int kShortPlay = 2;
    ASSERT_EQ(host.init(startOf(profile)), KX_OK) << host.errorText();
    EXPECT_EQ(host.play(macro, kShortPlay), KX_FAILED);
    EXPECT_EQ(host.errorNumber(), KX_ERROR_TIMEOUT);
    EXPECT_EQ(host.errorText(), "Error while receiving response");
    log_.clear();
  }
};
KX_ON_BOTH_BROWSERS(TimeOuts);

TEST_P(TimeOuts, AfterASlowPageTheBrowserEndsByItself) {
  const Profile profile = user_.makeProfile(kind());
  Host host(library_, kind());
  playTooLong(host, profile, "await open(variables.site + '/slow?seconds=100');");
  // Held, so that its id stays known however soon it ends.
  const ObservedProcess launched = host.process();

  EXPECT_EQ(host.exit(), KX_OK);

  EXPECT_THAT(log_.text(), Not(HasSubstr("Error: ")));
  expectThatItStartsAgain(profile);
}

TEST_P(TimeOuts, ThePlayAfterASlowPageOpensItsOwnPage) {
  const Profile profile = user_.makeProfile(kind());
  Host host(library_, kind());
  playTooLong(host, profile, "await open(variables.site + '/slow?seconds=100');");

  expectOrderForm(host);
  EXPECT_EQ(host.exit(), KX_OK);
}

TEST_P(TimeOuts, APageThatNeverGivesBackControlIsEnded) {
  const Profile profile = user_.makeProfile(kind());
  Host host(library_, kind());
  playTooLong(host, profile, "await open(variables.site + '/form'); await evaluate(() => { for (;;) {} });");

  EXPECT_EQ(host.exit(), KX_OK);

  EXPECT_EQ(described(leftoversOfRun()), "");
  expectThatItStartsAgain(profile);
}

}  // namespace
