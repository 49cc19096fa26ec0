// kx_Init() attaches to a browser that is running already. No program lies where these tests point the
// library to, so that a launch would fail.
#include "scenario/conversation.h"
#include "scenario/host_process.h"

namespace {

class Attach : public Conversation {};

TEST_F(Attach, FirefoxIsMetOnItsDefaultPipe) {
  SimulatedBrowser browser;
  browser.start();

  EXPECT_EQ(init({}), KX_OK);

  EXPECT_EQ(browser.pipe(), defaultPipe("fx"));
  EXPECT_EQ(errorNumber(), KX_ERROR_SUCCESS);
  EXPECT_EQ(errorText(), "OK");
}

TEST_F(Attach, ChromeIsMetOnItsDefaultPipe) {
  SimulatedBrowser browser = SimulatedBrowser::chrome();
  browser.start();

  EXPECT_EQ(init({.browser = "cr"}), KX_OK);

  EXPECT_EQ(browser.pipe(), defaultPipe("cr"));
}

TEST_F(Attach, AFirefoxProfileIsMetOnThePipeOfItsName) {
  SimulatedBrowser browser;
  const std::string profile = uniqueName("profile");
  browser.start("--pipe=" + profilePipe("fx", profile));

  EXPECT_EQ(init({.options = "-fxProfile " + profile}), KX_OK);
}

TEST_F(Attach, AChromeDataFolderIsMetOnThePipeOfItsPath) {
  SimulatedBrowser browser;
  const std::string folder = "C:\\" + uniqueName("data");
  browser.start("--type=cr --pipe=" + profilePipe("cr", folder));

  EXPECT_EQ(init({.browser = "cr", .options = "-crUserDataDir=" + folder + "\\"}), KX_OK);
}

TEST_F(Attach, TheProfileThatFirefoxStartsWithNamesTheDefaultPipe) {
  user_.writeProfiles("[Profile0]\nName=work\n\n[Profile1]\nName=dev\nDefault=1\n");
  SimulatedBrowser browser;
  browser.start();

  EXPECT_EQ(init({}), KX_OK);

  EXPECT_EQ(browser.pipe(), "\\\\.\\pipe\\kx-fx-dev." + user_.name());
  EXPECT_EQ(browser.nameLine(), ownPipe("fx", "dev") + "\n");
}

TEST_F(Attach, AProfileDoesNotChangeTheDefaultPipeWhenFirefoxAsksWhichToStart) {
  user_.writeProfiles("[General]\nStartWithLastProfile=0\n\n[Profile1]\nName=dev\nDefault=1\n");
  SimulatedBrowser browser;
  browser.start();

  EXPECT_EQ(init({}), KX_OK);

  EXPECT_EQ(browser.pipe(), defaultPipe("fx"));
}

TEST_F(Attach, OptionsOfTheOtherBrowserAreIgnored) {
  SimulatedBrowser browser;
  browser.start();

  EXPECT_EQ(init({.options = "-crUserDataDir C:\\data"}), KX_OK);
}

TEST_F(Attach, TheNameLineIsTheHostsOwnPipeAndALineFeed) {
  SimulatedBrowser browser;
  attach(browser);

  EXPECT_EQ(browser.nameLine(), ownPipe("fx", "default") + "\n");
}

TEST_F(Attach, WithAnExplicitProfileTheOwnPipeIsCalledUnknown) {
  SimulatedBrowser browser;
  const std::string profile = uniqueName("profile");
  browser.start("--pipe=" + profilePipe("fx", profile));

  EXPECT_EQ(init({.options = "-fxProfile " + profile}), KX_OK);

  EXPECT_EQ(browser.nameLine(), ownPipe("fx", "unknonw") + "\n");
}

TEST_F(Attach, NoProcessIdIsKnown) {
  SimulatedBrowser browser;
  attach(browser);

  EXPECT_EQ(dll_.kx_GetBrowserProcessId(context_), 0);
}

TEST_F(Attach, TheBrowserIsToldThatItWasNotLaunched) {
  SimulatedBrowser browser;
  browser.start();

  EXPECT_EQ(init({.openNewBrowser = 0}), KX_OK);

  EXPECT_EQ(browser.request(1), initRequest(false, false));
}

TEST_F(Attach, TheBrowserIsAskedForANewWindow) {
  SimulatedBrowser browser;
  browser.start();

  EXPECT_EQ(init({.openNewBrowser = -1}), KX_OK);

  EXPECT_EQ(browser.request(1), initRequest(true, false));
}

TEST_F(Attach, NothingButTheNameLineTravelsOnTheServedPipe) {
  SimulatedBrowser browser;
  attach(browser);

  EXPECT_EQ(play("extract x"), KX_OK);

  EXPECT_EQ(browser.nameLine(), ownPipe("fx", "default") + "\n");
  EXPECT_EQ(browser.request(2), playRequest("extract x"));
}

TEST_F(Attach, AnUnwritableStartPageDoesNotMatterToABrowserThatRuns) {
  SimulatedBrowser browser;
  const std::string profile = uniqueName("profile");
  browser.start("--pipe=" + profilePipe("fx", profile));
  const EnvironmentVariable noFolder("TEMP", user_.temp() + "\\missing");

  EXPECT_EQ(init({.options = "-fxProfile " + profile}), KX_OK);
}

TEST_F(Attach, TwoContextsOfOneThreadKeepTheirConversationsApart) {
  SimulatedBrowser browser;
  attach(browser);
  const int second = dll_.kx_ContextCreate();

  EXPECT_EQ(init(second, {}), KX_OK);

  EXPECT_EQ(dll_.kx_Play(second, "extract second", 30), KX_OK);
  EXPECT_EQ(play("extract first"), KX_OK);
  EXPECT_EQ(extract(), "first");
  EXPECT_EQ(dll_.extract(second, 0), "second");
  EXPECT_EQ(browser.request(2, 1), playRequest("extract first"));
  EXPECT_EQ(browser.request(2, 2), playRequest("extract second"));
}

TEST_F(Attach, ASecondHostProcessIsServedBesideTheFirst) {
  SimulatedBrowser browser;
  attach(browser);
  const HostProcess other(Start{});
  ASSERT_TRUE(other.isInitialised());

  EXPECT_EQ(play("extract mine"), KX_OK);
  EXPECT_EQ(other.playAndLeave(), 0);
  EXPECT_EQ(play("extract mine again"), KX_OK);

  EXPECT_EQ(browser.request(2, 2), playRequest("extract from a host of its own"));
  EXPECT_EQ(browser.request(3, 1), playRequest("extract mine again"));
}

TEST_F(Attach, TenContextsOneAfterAnotherAreAllServed) {
  SimulatedBrowser browser;
  browser.start();
  std::vector<int> contexts;
  for (int i = 0; i < 10; ++i) {
    contexts.push_back(dll_.kx_ContextCreate());
    ASSERT_EQ(init(contexts.back(), {}), KX_OK) << i;
  }

  for (const int context : contexts) {
    const std::string mark = "context " + std::to_string(context);
    EXPECT_EQ(dll_.kx_Play(context, ("extract " + mark).c_str(), 30), KX_OK);
    EXPECT_EQ(dll_.extract(context, 1), mark);
  }
}

TEST_F(Attach, AContextThatEndedCanAttachAgain) {
  SimulatedBrowser browser;
  browser.script("on exit stay");
  browser.script("on exit wait-for-pid none");
  attach(browser);
  ASSERT_EQ(exit(), KX_OK);

  EXPECT_EQ(init({}), KX_OK);

  EXPECT_EQ(play("extract again"), KX_OK);
  EXPECT_EQ(extract(), "again");
}

TEST_F(Attach, ASecondStartLeavesTheFirstConnectionOpenAndBeyondReach) {
  SimulatedBrowser browser;
  attach(browser);

  EXPECT_EQ(init({}), KX_OK);

  EXPECT_EQ(play("extract x"), KX_OK);
  EXPECT_EQ(browser.request(2, 2), playRequest("extract x"));
  EXPECT_EQ(browser.events("conn=1 peer-gone").size(), 0U);
}

TEST_F(Attach, DestroyingAContextTellsItsBrowserNothing) {
  SimulatedBrowser browser;
  attach(browser);
  const int other = dll_.kx_ContextCreate();

  dll_.kx_ContextDestroy(context_);

  ASSERT_EQ(init(other, {}), KX_OK);
  EXPECT_EQ(dll_.kx_Play(other, "extract x", 30), KX_OK);
  EXPECT_TRUE(browser.isRunning());
  EXPECT_FALSE(browser.hasRecorded("request-1-2.bin"));
  EXPECT_EQ(browser.events("conn=1 peer-gone").size(), 0U);
}

}  // namespace
