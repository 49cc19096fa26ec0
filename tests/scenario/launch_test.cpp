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

TEST_F(Launch, ADataFolderWithBlanksKeepsItsOwnQuotes) {
  SimulatedBrowser browser;
  const std::string folder = user_.roaming() + "\\my " + uniqueName("data");

  launch(browser, "cr", "-crUserDataDir \"" + folder + "\"");

  EXPECT_EQ(browser.commandLine(),
            browser.program() + " --user-data-dir=\"" + folder + "\" " + startPageUrl("cr", folder));
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Launch, AProfileWithBlanksKeepsItsOwnQuotes) {
  SimulatedBrowser browser;
  const std::string profile = "my " + uniqueName("profile");

  launch(browser, "fx", "-fxProfile \"" + profile + "\"");

  EXPECT_EQ(browser.commandLine(),
            browser.program() + " -no-remote -P \"" + profile + "\" " + startPageUrl("fx", profile));
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Launch, AStartPageInAFolderWithBlanksIsQuoted) {
  SimulatedBrowser browser;
  const std::string profile = uniqueName("profile");
  const TempFolder blank("a folder");
  const EnvironmentVariable temp("TEMP", blank.path());

  launch(browser, "fx", "-fxProfile " + profile);

  EXPECT_EQ(browser.commandLine(), browser.program() + " -no-remote -P \"" + profile + "\" \"file://" +
                                       blank.path(md5Digest(profile)) +
                                       ".html?pipe=" + profilePipe("fx", profile) + "\"");
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Launch, EverythingMayHoldCharactersOutsideAscii) {
  const std::string name = "\xc3\xa6\xc3\xb8 \xe6\x97\xa5\xe6\x9c\xac";
  SimulatedBrowser browser(uniqueName(name) + ".exe", name);
  const TempFolder folder(name);
  const EnvironmentVariable temp("TEMP", folder.path());
  const std::string profile = uniqueName(name);

  launch(browser, "fx", "-fxProfile \"" + profile + "\"");

  EXPECT_EQ(browser.commandLine(), "\"" + browser.program() + "\" -no-remote -P \"" + profile +
                                       "\" \"file://" + folder.path(md5Digest(profile)) +
                                       ".html?pipe=" + profilePipe("fx", profile) + "\"");
  EXPECT_EQ(browser.workingDirectory(), browser.folder());
  EXPECT_EQ(fileBytes(folder.path(md5Digest(profile) + ".html")), "<html><body></body></html>");
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Launch, TheBrowserStartsInTheFolderOfItsProgram) {
  SimulatedBrowser browser;

  launch(browser);

  EXPECT_EQ(browser.workingDirectory(), browser.folder());
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Launch, TheBrowserInheritsTheHostsEnvironment) {
  SimulatedBrowser browser;
  browser.script("on start log mark=$(env.KX_TEST_MARK)");
  const EnvironmentVariable mark("KX_TEST_MARK", "of the host");

  launch(browser);

  EXPECT_EQ(browser.events("log mark="), std::vector<std::string>{"log mark=of the host"});
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Launch, TheProcessIdIsThatOfTheStartedProcess) {
  SimulatedBrowser browser;

  launch(browser);

  EXPECT_EQ(browserProcessId(), browser.processId());
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Launch, TheBrowserIsToldThatItWasLaunched) {
  SimulatedBrowser browser;

  ASSERT_EQ(init({.program = browser.program(), .openNewBrowser = 0}), KX_OK);

  EXPECT_EQ(browser.request(1), initRequest(false, true));
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Launch, TheLaunchedBrowserIsAskedForANewWindowToo) {
  SimulatedBrowser browser;

  ASSERT_EQ(init({.program = browser.program(), .openNewBrowser = 1}), KX_OK);

  EXPECT_EQ(browser.request(1), initRequest(true, true));
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Launch, TheProfilerIsNoSwitchOfTheBrowser) {
  SimulatedBrowser browser;
  const std::string profile = uniqueName("profile");

  launch(browser, "fx", "-fxProfile " + profile + " -profiler");

  EXPECT_EQ(browser.commandLine(),
            browser.program() + " -no-remote -P \"" + profile + "\" " + startPageUrl("fx", profile));
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Launch, TheLastOfTwoProfilesIsTaken) {
  SimulatedBrowser browser;
  const std::string profile = uniqueName("profile");

  launch(browser, "fx", "-fxProfile first -unknown=1 -fxProfile=" + profile);

  EXPECT_EQ(browser.pipe(), profilePipe("fx", profile));
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Launch, WithoutAPathChromeIsFoundInTheUsersLocalFolder) {
  const std::string inLocalFolder = "\\Google\\Chrome\\Application";
  SimulatedBrowser browser("chrome.exe", "local" + inLocalFolder);
  const std::string local = browser.folder().substr(0, browser.folder().size() - inLocalFolder.size());
  const EnvironmentVariable localFolder("LOCALAPPDATA", local);

  EXPECT_EQ(dll_.kx_Init(context_, "cr", nullptr, nullptr, 0, 0, 60), KX_OK);

  EXPECT_EQ(browser.commandLine(), local + inLocalFolder + "\\chrome.exe");
  EXPECT_EQ(exit(), KX_OK);
}

TEST_F(Launch, AProfileNameMayBeLongerThanAPath) {
  SimulatedBrowser browser;
  const std::string profile = uniqueName("profile") + std::string(300, 'p');

  launch(browser, "fx", "-fxProfile " + profile);

  EXPECT_EQ(browser.commandLine(),
            browser.program() + " -no-remote -P \"" + profile + "\" " + startPageUrl("fx", profile));
  EXPECT_EQ(exit(), KX_OK);
}

}  // namespace
