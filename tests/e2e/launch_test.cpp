// The library launches a real browser: with the profile that the options name, in that profile's folder, and
// with all that the profile remembers.
#include "e2e/real_browser.h"
#include "e2e/real_processes.h"
#include "e2e/site.h"

#include <gmock/gmock.h>

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

namespace {

class Launches : public RealBrowser {};
KX_ON_BOTH_BROWSERS(Launches);

// A path below the run's folder, as Linux programs name it.
std::string seenFromLinux(std::string path) {
  path = path.substr(sizeof("Z:") - 1);
  std::replace(path.begin(), path.end(), '\\', '/');
  return path;
}

TEST_P(Launches, TheBrowserRunsInTheFolderOfItsProfile) {
  const Profile profile = user_.makeProfile(kind());
  Host host(library_, kind());

  ASSERT_EQ(host.init(startOf(profile)), KX_OK) << host.errorText();

  const std::vector<RealProcess> browsers = mainBrowserProcesses();
  ASSERT_EQ(browsers.size(), 1U) << described(browsers);
  EXPECT_TRUE(browsers.front().hasArgument(seenFromLinux(profile.folder))) << browsers.front().described();
  EXPECT_TRUE(host.process().isRunning());
  EXPECT_EQ(profile.isFree(), !isFirefox(kind()));
  EXPECT_EQ(host.exit(), KX_OK);
}

TEST_P(Launches, AProfileMayHaveAnyNameAndItsBrowserBeginsWithTheStartPage) {
  const Profile profile = user_.makeProfile(kind(), "Łódź-世界");
  Host host(library_, kind());

  ASSERT_EQ(host.init(startOf(profile)), KX_OK) << host.errorText();

  EXPECT_TRUE(mainBrowserProcesses().at(0).hasArgument(seenFromLinux(profile.folder)));
  EXPECT_EQ(host.play("extractText(await page.url());"), KX_OK);
  EXPECT_THAT(host.extract(), StartsWith("file:///"));
  EXPECT_THAT(host.extract(), HasSubstr(".html?pipe="));
  EXPECT_THAT(host.extract(), HasSubstr(std::string("kx-") + kind().type + "-"));
  EXPECT_EQ(host.exit(), KX_OK);
}

TEST_P(Launches, AProfileRemembersWhatItWasTold) {
  const Profile profile = user_.makeProfile(kind());
  Host host(library_, kind());
  ASSERT_EQ(host.init(startOf(profile)), KX_OK) << host.errorText();
  EXPECT_EQ(host.play("await open(variables.site + '/form');"
                      "await evaluate(() => { document.cookie = 'told=Oslo; max-age=86400'; });"),
            KX_OK);
  ASSERT_EQ(host.exit(), KX_OK);

  ASSERT_EQ(host.init(startOf(profile)), KX_OK) << host.errorText();
  EXPECT_EQ(host.play("await open(variables.site + '/form');"
                      "extractText(await evaluate(() => document.cookie));"),
            KX_OK);

  EXPECT_EQ(host.extract(), "told=Oslo");
  EXPECT_EQ(host.exit(), KX_OK);
}

TEST_P(Launches, WithoutOptionsTheUsualProfileIsUsed) {
  const Profile profile = user_.makeProfile(kind());
  Host host(library_, kind());

  ASSERT_EQ(host.init({"", launcher()}), KX_OK) << host.errorText();

  EXPECT_NE(host.processId(), 0U);
  if (isFirefox(kind())) {
    EXPECT_TRUE(mainBrowserProcesses().at(0).hasArgument(seenFromLinux(profile.folder)));
  }
  expectOrderForm(host);
  EXPECT_EQ(host.exit(), KX_OK);
}

TEST_P(Launches, TheLaunchedProcessMayStartTheBrowserAndEnd) {
  const EnvironmentVariable launcher("KX_BROWSER_LAUNCHER", "1");
  const Profile profile = user_.makeProfile(kind());
  Host host(library_, kind());
  ASSERT_EQ(host.init(startOf(profile)), KX_OK) << host.errorText();
  const std::string waitForTheLaunched =
      "Waiting for browser process (" + std::to_string(host.processId()) + ")";

  EXPECT_EQ(host.play("extractText(await page.url());"), KX_OK);
  EXPECT_EQ(host.exit(), KX_OK);

  EXPECT_EQ(described(mainBrowserProcesses()), "");
  EXPECT_THAT(log_.text(), HasSubstr("Waiting for browser process ("));
  EXPECT_THAT(log_.text(), Not(HasSubstr(waitForTheLaunched)));
}

}  // namespace
