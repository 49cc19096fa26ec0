// Hosts that meet a browser which is running already: one that a user has started, one that another context
// has launched, and one that holds the profile they want but does not serve their pipe.
#include "e2e/real_browser.h"
#include "e2e/real_processes.h"
#include "support/win32/log_signal.h"

#include <gmock/gmock.h>

#include <thread>

using ::testing::HasSubstr;

namespace {

class Attaching : public RealBrowser {};
KX_ON_BOTH_BROWSERS(Attaching);

class FirefoxProfiles : public RealBrowser {};
INSTANTIATE_TEST_SUITE_P(Firefox, FirefoxProfiles, ::testing::Values(kFirefox), nameOfKind);

constexpr char kNoProgram[] = "C:\\no such folder\\browser.exe";
constexpr char kReadHeader[] = "await open(variables.site + '/form'); await extract('header');";

TEST_P(Attaching, ABrowserThatTheUserStartedIsAttachedTo) {
  user_.makeProfile(kind());
  const StartedBrowser browser(kind(), "");
  ASSERT_TRUE(awaitPipe(user_.defaultPipe(kind())));
  Host host(library_, kind());

  ASSERT_EQ(host.init({"", kNoProgram}), KX_OK) << host.errorText();

  EXPECT_EQ(host.processId(), 0U);
  EXPECT_EQ(host.play(kReadHeader), KX_OK) << host.errorText();
  EXPECT_EQ(host.extract(), "Order form");
  EXPECT_EQ(host.exit(), KX_OK);
  EXPECT_EQ(browser.exitCode(), 0U);
}

TEST_P(Attaching, ASecondStartWithAProfileInUseAttachesToItsBrowser) {
  const Profile profile = user_.makeProfile(kind());
  Host first(library_, kind());
  Host second(library_, kind());
  ASSERT_EQ(first.init(startOf(profile)), KX_OK) << first.errorText();

  ASSERT_EQ(second.init({profile.options(), launcher()}), KX_OK) << second.errorText();

  EXPECT_EQ(second.processId(), 0U);
  EXPECT_EQ(mainBrowserProcesses().size(), 1U);
  EXPECT_EQ(second.play(kReadHeader), KX_OK) << second.errorText();
  EXPECT_EQ(first.play(kReadHeader), KX_OK) << first.errorText();
  EXPECT_EQ(first.exit(), KX_OK);
}

TEST_P(Attaching, ASecondStartOnTheDefaultProfileAttachesToItsBrowser) {
  user_.makeProfile(kind());
  Host first(library_, kind());
  Host second(library_, kind());
  ASSERT_EQ(first.init({"", launcher()}), KX_OK) << first.errorText();

  ASSERT_EQ(second.init({"", launcher()}), KX_OK) << second.errorText();

  EXPECT_EQ(second.processId(), 0U);
  EXPECT_EQ(mainBrowserProcesses().size(), 1U);
  EXPECT_EQ(second.play(kReadHeader), KX_OK) << second.errorText();
  EXPECT_EQ(second.extract(), "Order form");
  EXPECT_EQ(first.exit(), KX_OK);
}

TEST_P(Attaching, AHostThatAsksForANewWindowDoesNotDisturbTheOther) {
  const Profile profile = user_.makeProfile(kind());
  Host first(library_, kind());
  Host second(library_, kind());
  ASSERT_EQ(first.init(startOf(profile)), KX_OK) << first.errorText();
  ASSERT_EQ(first.play("await open(variables.site + '/form'); await fill('#customer', 'Ada');"), KX_OK);
  ASSERT_EQ(second.init({.options = profile.options(), .program = launcher(), .openNewBrowser = 1}), KX_OK);

  ASSERT_EQ(second.play("await open(variables.site + '/dialog'); await extract('#answer');"), KX_OK);

  EXPECT_EQ(second.extract(), "none");
  EXPECT_EQ(first.play("await extract('#customer');"), KX_OK);
  EXPECT_EQ(first.extract(), "Ada");
  EXPECT_EQ(first.exit(), KX_OK);
}

TEST_P(Attaching, WhenOneHostEndsTheBrowserTheOtherIsTold) {
  const Profile profile = user_.makeProfile(kind());
  Host first(library_, kind());
  Host second(library_, kind());
  ASSERT_EQ(first.init(startOf(profile)), KX_OK) << first.errorText();
  ASSERT_EQ(second.init(startOf(profile)), KX_OK) << second.errorText();

  EXPECT_EQ(second.exit(), KX_OK);

  EXPECT_EQ(first.play(kReadHeader), KX_FAILED);
  EXPECT_LT(first.errorNumber(), 0);
  EXPECT_EQ(first.exit(), KX_OK);
}

// Launched with the profile's name, a browser serves another pipe than the one without a name that a host
// without options looks for.
TEST_P(FirefoxProfiles, ADefaultProfileInUseIsNotLaunchedASecondTime) {
  constexpr int kTwoAttempts = 4;
  const Profile profile = user_.makeProfile(kind());
  Host first(library_, kind());
  Host second(library_, kind());
  ASSERT_EQ(first.init(startOf(profile)), KX_OK) << first.errorText();

  EXPECT_EQ(second.init({"", launcher(), 0, kTwoAttempts}), KX_FAILED);

  EXPECT_EQ(second.errorNumber(), KX_ERROR_PROFILE_IN_USE);
  EXPECT_EQ(second.errorText(), "Could not open server pipe " + user_.defaultPipe(kind()));
  EXPECT_THAT(log_.text(), HasSubstr("Client: connect failed but lock present"));
  EXPECT_EQ(mainBrowserProcesses().size(), 1U);
  EXPECT_EQ(first.play(kReadHeader), KX_OK) << first.errorText();
  EXPECT_EQ(first.exit(), KX_OK);
}

TEST_P(FirefoxProfiles, ADefaultProfileIsLaunchedOnceItIsFree) {
  const Profile profile = user_.makeProfile(kind());
  Host first(library_, kind());
  Host second(library_, kind());
  ASSERT_EQ(first.init(startOf(profile)), KX_OK) << first.errorText();
  const NamedEvent refused;
  const LogSignal whenRefused("Client: connect failed but lock present", 1, [&] { refused.signal(); });
  int secondResult = KX_FAILED;
  std::thread starting([&] { secondResult = second.init({"", launcher()}); });

  EXPECT_TRUE(refused.wait(kStartSeconds * 1000));
  EXPECT_EQ(first.exit(), KX_OK);
  starting.join();

  EXPECT_EQ(secondResult, KX_OK) << second.errorText();
  EXPECT_NE(second.processId(), 0U);
  EXPECT_EQ(second.play(kReadHeader), KX_OK) << second.errorText();
  EXPECT_EQ(second.exit(), KX_OK);
}

}  // namespace
