// The names of an instance: the extension's pipe and the profile, as the given name, the browser type, the
// user and Firefox's profiles make them.
#include "win32/pipe/pipe_browser_test.h"

#include <gtest/gtest.h>

#include <string>

namespace kx {

namespace {

class PipeBrowserNames : public testing::Test {
 protected:
  void expectNames(const std::string& browserType, const std::string& givenName,
                   const std::string& serverPipe, const std::string& profile) const {
    const PipeBrowserInstance browser(browserType, givenName);
    EXPECT_EQ(browser.browserType(), browserType);
    EXPECT_EQ(browser.serverPipeName(), serverPipe);
    EXPECT_EQ(browser.profileName(), profile);
    EXPECT_EQ(browser.errorNumber(), 0);
    EXPECT_EQ(browser.errorText(), "");
  }

  TestUser user;
  LogFile log;
};

TEST_F(PipeBrowserNames, AShortNameIsCompletedWithBrowserAndUser) {
  expectNames("fx", "work", "\\\\.\\pipe\\kx-fx-work." + user.name(), "work");
  expectNames("cr", "grün", "\\\\.\\pipe\\kx-cr-grün." + user.name(), "grün");
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeBrowserNames, AFullPathIsTakenAsItIs) {
  expectNames("fx", "\\\\.\\pipe\\custom", "\\\\.\\pipe\\custom", "unknonw");
  expectNames("cr", "\\\\.", "\\\\.", "unknonw");
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeBrowserNames, APathThatBeginsLaterIsAShortName) {
  expectNames("fx", "a\\\\.b", "\\\\.\\pipe\\kx-fx-a\\\\.b." + user.name(), "a\\\\.b");
}

TEST_F(PipeBrowserNames, WithoutANameFirefoxIsTheOneOfItsStartProfile) {
  user.writeProfiles(
      "[General]\nStartWithLastProfile=1\n[Profile0]\nName=default\n[Profile1]\nName=dev\nDefault=1\n");
  expectNames("fx", "", "\\\\.\\pipe\\kx-fx-dev." + user.name(), "dev");
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeBrowserNames, EachInstanceReadsTheProfilesAfresh) {
  for (const std::string name : {"dev", "work"}) {
    user.writeProfiles("[Profile0]\nName=" + name + "\nDefault=1\n");
    expectNames("fx", "", "\\\\.\\pipe\\kx-fx-" + name + "." + user.name(), name);
  }
}

TEST_F(PipeBrowserNames, WithoutANameAFirefoxThatAsksIsTheDefaultOne) {
  user.writeProfiles("[General]\nStartWithLastProfile=0\n[Profile1]\nName=dev\nDefault=1\n");
  expectNames("fx", "", "\\\\.\\pipe\\kx-fx-default." + user.name(), "default");
}

TEST_F(PipeBrowserNames, WithoutANameAndProfilesFirefoxIsTheDefaultOne) {
  expectNames("fx", "", "\\\\.\\pipe\\kx-fx-default." + user.name(), "default");
  EXPECT_EQ(log.text(), ExpectedLog().error("Can not open " + user.profilesPath() + " file").text());
}

TEST_F(PipeBrowserNames, WithoutANameChromeIsTheDefaultOneAndProfilesAreNotRead) {
  expectNames("cr", "", "\\\\.\\pipe\\kx-cr-default." + user.name(), "default");
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeBrowserNames, WithoutANameAnyOtherBrowserHasNone) {
  expectNames("ie", "", "", "");
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeBrowserNames, AUserWithoutANameHasAnEmptyOne) {
  EnvironmentVariable userName("USERNAME");
  userName.remove();
  expectNames("cr", "work", "\\\\.\\pipe\\kx-cr-work.", "work");
  userName.set("");
  expectNames("cr", "work", "\\\\.\\pipe\\kx-cr-work.", "work");
}

TEST_F(PipeBrowserNames, TheUsersNameMayHoldAnyCharacter) {
  const EnvironmentVariable userName("USERNAME", "Jörg Ü");
  expectNames("cr", "work", "\\\\.\\pipe\\kx-cr-work.Jörg Ü", "work");
}

TEST_F(PipeBrowserNames, ABrowserWithoutAPipeCannotBeConnectedTo) {
  PipeBrowserInstance browser("ie", "");
  EXPECT_FALSE(browser.connect(1));
  EXPECT_EQ(browser.errorNumber(), -1);
  EXPECT_EQ(browser.errorText(), "Could not open server pipe ");
}

}  // namespace

}  // namespace kx
