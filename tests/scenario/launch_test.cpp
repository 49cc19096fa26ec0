// kx_Init() launches the browser: the command line, the folder, the start page, and what the browser is told
// first.
#include "scenario/conversation.h"

namespace {

class Launch : public Conversation {};

TEST_F(Launch, FirefoxWithAProfileGetsItsSwitchesAndTheStartPage) {
  SimulatedBrowser browser;
  const std::string profile = uniqueName("profile");

  launch(browser, "fx", "-fxProfile " + profile);

  EXPECT_EQ(browser.commandLine(),
            browser.program() + " -no-remote -P \"" + profile + "\" " + startPageUrl("fx", profile));
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Launch, ChromeWithADataFolderGetsItsSwitchAndTheStartPage) {
  SimulatedBrowser browser;
  const std::string folder = user_.roaming() + "\\" + uniqueName("data");

  launch(browser, "cr", "-crUserDataDir " + folder);

  EXPECT_EQ(browser.commandLine(),
            browser.program() + " --user-data-dir=\"" + folder + "\" " + startPageUrl("cr", folder));
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Launch, ABrowserWithoutAProfileGetsNothingButItsPath) {
  SimulatedBrowser browser;

  launch(browser);

  EXPECT_EQ(browser.commandLine(), browser.program());
  EXPECT_EQ(browser.pipe(), defaultPipe("fx"));
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Launch, ChromeWithoutADataFolderGetsNothingButItsPath) {
  SimulatedBrowser browser = SimulatedBrowser::chrome();

  launch(browser, "cr");

  EXPECT_EQ(browser.commandLine(), browser.program());
  EXPECT_EQ(browser.pipe(), defaultPipe("cr"));
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Launch, ChromeWithAnEmptyDataFolderIsPassedItWithoutAStartPage) {
  SimulatedBrowser browser;
  browser.script("pipe " + profilePipe("cr", ""));

  launch(browser, "cr", "-crUserDataDir=\"\"");

  EXPECT_EQ(browser.commandLine(), browser.program() + " --user-data-dir=\"\"");
  EXPECT_FALSE(fileExists(startPage("")));
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Launch, FirefoxWithAnEmptyProfileGetsNeitherSwitchesNorAStartPage) {
  SimulatedBrowser browser;
  browser.script("pipe " + profilePipe("fx", ""));

  launch(browser, "fx", "-fxProfile=\"\"");

  EXPECT_EQ(browser.commandLine(), browser.program());
  EXPECT_FALSE(fileExists(startPage("")));
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Launch, ABackslashAtTheEndOfTheDataFolderDoesNotChangeThePipeAndThePage) {
  SimulatedBrowser browser;
  const std::string folder = user_.roaming() + "\\" + uniqueName("data");

  launch(browser, "cr", "-crUserDataDir " + folder + "\\");

  EXPECT_EQ(browser.commandLine(),
            browser.program() + " --user-data-dir=\"" + folder + "\\\" " + startPageUrl("cr", folder));
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Launch, OnlyOneBackslashAtTheEndIsLeftOut) {
  SimulatedBrowser browser;
  const std::string folder = user_.roaming() + "\\" + uniqueName("data") + "\\";

  launch(browser, "cr", "-crUserDataDir " + folder + "\\");

  EXPECT_EQ(browser.pipe(), profilePipe("cr", folder));
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Launch, AProgramInAPathWithBlanksIsQuoted) {
  SimulatedBrowser browser(uniqueName("my browser") + ".exe", "program files");
  const std::string profile = uniqueName("profile");

  launch(browser, "fx", "-fxProfile " + profile);

  EXPECT_EQ(browser.commandLine(),
            "\"" + browser.program() + "\" -no-remote -P \"" + profile + "\" " + startPageUrl("fx", profile));
  EXPECT_EQ(browser.workingDirectory(), browser.folder());
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Launch, TheStartPageIsTheSmallPageWithoutALineEnd) {
  SimulatedBrowser browser;
  const std::string profile = uniqueName("profile");

  launch(browser, "fx", "-fxProfile " + profile);

  EXPECT_EQ(fileBytes(startPage(profile)), "<html><body></body></html>");
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Launch, TheBrowserServesThePipeThatTheStartPageNames) {
  SimulatedBrowser browser;
  const std::string profile = uniqueName("profile");

  launch(browser, "fx", "-fxProfile " + profile);

  EXPECT_EQ(browser.events("pipe "),
            std::vector<std::string>{"pipe from=start page name=" + profilePipe("fx", profile)});
  EXPECT_EQ(exit(), KX_OK);
}

}  // namespace
