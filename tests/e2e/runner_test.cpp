// The runner family with real browsers: the host asks for the command line, starts the browser with it, and
// binds a context to it.
#include "e2e/real_browser.h"
#include "e2e/real_processes.h"

#include <gmock/gmock.h>

using ::testing::HasSubstr;

namespace {

class Runner : public RealBrowser {
 protected:
  static std::string runnerOptions(const Profile& profile) { return "-runner " + profile.options(); }

  std::string commandLine(const Profile& profile, const std::string& page = "") const {
    const std::string options = runnerOptions(profile);
    const int size = library_.kxr_GetCommandLine(kind().type, options.c_str(), nullptr, 0, page.c_str());
    std::string line(static_cast<std::size_t>(size), '?');
    if (library_.kxr_GetCommandLine(kind().type, options.c_str(), line.data(), size, page.c_str()) != KX_OK) {
      throw std::runtime_error("there is no command line");
    }
    line.pop_back();
    return line;
  }
};
KX_ON_BOTH_BROWSERS(Runner);

class ChromiumRunner : public Runner {};
INSTANTIATE_TEST_SUITE_P(Chromium, ChromiumRunner, ::testing::Values(kChromium), nameOfKind);

TEST_P(Runner, TheHostStartsTheBrowserWithTheCommandLineItWasGiven) {
  const Profile profile = user_.makeProfile(kind());
  const StartedBrowser browser(kind(), commandLine(profile));
  Host host(library_, kind());

  ASSERT_EQ(host.initRunner(runnerOptions(profile)), KX_OK) << host.errorText();

  EXPECT_EQ(host.processId(), 0U);
  EXPECT_EQ(mainBrowserProcesses().size(), 1U);
  expectOrderForm(host);
  EXPECT_EQ(host.exitRunner(), KX_OK);
  EXPECT_EQ(browser.exitCode(), 0U);
  EXPECT_EQ(described(leftoversOfRun()), "");
  EXPECT_TRUE(profile.isFree());
}

TEST_P(ChromiumRunner, TheBrowserBeginsWithThePageOfTheHost) {
  const Profile profile = user_.makeProfile(kind());
  const TempFolder pages("pages");
  const std::string page =
      pages.write("welcome.html", "<title>Welcome</title><p id=\"who\">Host's own page</p>");
  const StartedBrowser browser(kind(), commandLine(profile, page));
  Host host(library_, kind());
  ASSERT_EQ(host.initRunner(runnerOptions(profile)), KX_OK) << host.errorText();

  EXPECT_EQ(host.play("await extract('#who'); extractText(await page.url());"), KX_OK) << host.errorText();

  EXPECT_EQ(host.extract(1), "Host's own page");
  EXPECT_THAT(host.extract(2), HasSubstr("/welcome.html?pipe="));
  EXPECT_EQ(host.exitRunner(), KX_OK);
  EXPECT_EQ(browser.exitCode(), 0U);
}

}  // namespace
