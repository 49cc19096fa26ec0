// What kx_Init makes of its arguments: the start entry, the port, the browser's name, the pipe that follows
// from the profile, the program and the start page.
#include "host/host_test.h"
#include "host/partner.h"

#include <climits>
#include <string>
#include <vector>

namespace {

class InitArguments : public HostTest {
 protected:
  const std::string withProfile = "-fxProfile " + firefoxProfile;
  const std::string withDataFolder = "-crUserDataDir=" + dataFolder;
  const int context = dll.kx_ContextCreate();
};

TEST_F(InitArguments, ArgumentsOfKxInitAreLoggedAsTheyCameAndAnyPortIsRefused) {
  EXPECT_EQ(dll.kx_Init(context, "fx", "-a b", "C:\\b.exe", 7, -2, -5), KX_FAILED);
  EXPECT_EQ(dll.kx_Init(context, "cr", nullptr, nullptr, INT_MIN, 0, 0), KX_FAILED);
  EXPECT_EQ(dll.kx_Init(context, "%s%n", "%d%s%n", "%x%p", -1, 0, 0), KX_FAILED);

  const std::string refusal = "TCP protocol is no longer supported";
  expectLog(HostLog()
                .info("kx_Init start, browser = fx, options = -a b, binary_location = C:\\b.exe, "
                      "port = 7, openNewBrowser = -2, timeout = -5")
                .error(refusal)
                .start("cr", "(null)", "(null)", INT_MIN, 0, 0)
                .error(refusal)
                .start("%s%n", "%d%s%n", "%x%p", -1, 0, 0)
                .error(refusal));
}

TEST_F(InitArguments, ArgumentsOfKxInitWithAPortLeaveABrowserThatIsThereAloneAndWriteNoStartPage) {
  Extension extension(defaultPipe());
  const int attached = attach();

  EXPECT_EQ(dll.kx_Init(attached, "cr", withDataFolder.c_str(), nullptr, 1, 0, 1), KX_FAILED);

  EXPECT_FALSE(fileExists(startPage(dataFolder)));
  expectError(attached, 1, "OK");
  EXPECT_EQ(dll.kx_Play(attached, "macro", 10), KX_OK);
}

TEST_F(InitArguments, ArgumentsOfKxInitWithAPortLeaveTheErrorOfAnEarlierStart) {
  ASSERT_EQ(startMissing(context), 2);

  EXPECT_EQ(dll.kx_Init(context, "fx", nullptr, nullptr, 1, 0, 1), KX_FAILED);

  expectError(context, -2, kMissingText);
  EXPECT_EQ(dll.kx_Exit(context, 1), KX_FAILED);
}

// Each start finds neither an extension nor a program to launch. Firefox's profiles are read when it is asked
// for its default one, and when nobody serves its pipe.
TEST_F(InitArguments, ArgumentsOfKxInitLeadToThePipeOfTheProfileAndWriteItsStartPage) {
  struct Lead {
    const char* browser;
    std::string options;
    std::string pipe;
    std::string page;
  };
  for (const Lead& lead :
       std::vector<Lead>{{"fx", "", defaultPipe("fx"), ""},
                         {"cr", "", defaultPipe("cr"), ""},
                         {"fx", withProfile, profilePipe("fx", firefoxProfile), startPage(firefoxProfile)},
                         {"cr", withDataFolder + "\\", profilePipe("cr", dataFolder), startPage(dataFolder)},
                         {"fx", withDataFolder, defaultPipe("fx"), ""},
                         {"FX", withProfile, "", ""}}) {
    SCOPED_TRACE(lead.browser + (" " + lead.options));
    log.clear();
    std::filesystem::remove(wide(startPage(firefoxProfile)));

    EXPECT_EQ(startMissing(context, lead.browser, lead.options.c_str()), 2);

    HostLog expected;
    expected.start(lead.browser, lead.options, kMissing, 0, 0, 1);
    if (lead.pipe == defaultPipe("fx")) {
      expected.noProfiles();
    }
    expected.notFound(lead.pipe);
    if (lead.browser == std::string("fx")) {
      expected.noProfiles();
    }
    expectLog(expected.error(std::string("Browser binary ") + kMissing + " doesn't exist")
                  .error(std::string("kx_Init(): ") + kMissingText + ", error (2)"));
    expectError(context, -2, kMissingText);
    EXPECT_EQ(fileExists(startPage(firefoxProfile)), lead.page == startPage(firefoxProfile));
    EXPECT_TRUE(lead.page.empty() || fileBytes(lead.page) == "<html><body></body></html>");
  }
}

TEST_F(InitArguments, ArgumentsOfKxInitWithoutAPathLookForChromeInTheUsersOwnFolder) {
  const TempFolder folder("local");
  const EnvironmentVariable local("LOCALAPPDATA", folder.path());
  std::filesystem::create_directories(wide(folder.path("Google\\Chrome\\Application")));
  const std::string path = folder.path("Google\\Chrome\\Application\\chrome.exe");

  EXPECT_EQ(dll.kx_Init(context, "cr", nullptr, nullptr, 0, 0, 1), 2);

  expectError(context, -2, "Browser binary " + path + " doesn't exists");
}

class UnwritableStartPage : public InitArguments {
 protected:
  int init(const std::string& path, int timeout) {
    tempVariable.set("C:\\no_such_folder");
    return dll.kx_Init(context, "cr", withDataFolder.c_str(), path.c_str(), 0, 0, timeout);
  }
};

TEST_F(UnwritableStartPage, AnUnwritableStartPageFailsTheLaunch) {
  IdleBrowser browser;
  const std::string page = std::filesystem::path(wide(startPage(dataFolder))).filename().string();
  const std::string message = "Could not open temp file C:\\no_such_folder\\" + page;

  EXPECT_EQ(init(browser.program(), 1), KX_FAILED);

  expectError(context, -1, message);
  EXPECT_FALSE(browser.wasLaunched());
  expectLog(HostLog()
                .start("cr", withDataFolder, browser.program(), 0, 0, 1)
                .error(message + ", error 3")
                .notFound(profilePipe("cr", dataFolder))
                .error("kx_Init(): " + message + ", error (-1)"));
}

TEST_F(UnwritableStartPage, AnUnwritableStartPageDoesNotKeepFromAttaching) {
  Extension extension(profilePipe("cr", dataFolder));

  EXPECT_EQ(init(kMissing, 30), KX_OK);

  expectError(context, 1, "OK");
}

}  // namespace
