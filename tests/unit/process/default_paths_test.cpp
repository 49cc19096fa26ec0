#include "process/default_paths.h"

#include <gtest/gtest.h>

namespace kx {

namespace {

TEST(DefaultPaths, FirefoxKeepsItsDataBelowTheRoamingFolder) {
  EXPECT_EQ(firefoxDataFolder("C:\\Roaming"), "C:\\Roaming\\Mozilla\\Firefox");
  EXPECT_EQ(firefoxProfilesPath("C:\\Roaming"), "C:\\Roaming\\Mozilla\\Firefox\\profiles.ini");
  EXPECT_EQ(firefoxProfilesPath(""), "\\Mozilla\\Firefox\\profiles.ini");
}

TEST(DefaultPaths, FirefoxIsLookedForInOneFolderOnly) {
  EXPECT_EQ(defaultFirefoxPath(), "c:\\Program Files\\Mozilla Firefox\\firefox.exe");
}

TEST(DefaultPaths, ChromeLiesBelowHomeOnMajorVersionFiveInTheLocalFolderAboveAndNowhereBelow) {
  const std::string below = "\\Google\\Chrome\\Application\\chrome.exe";
  const std::pair<unsigned, std::string> cases[] = {{0, ""},
                                                    {4, ""},
                                                    {5, "H:\\Local Settings\\Application Data" + below},
                                                    {6, "L:" + below},
                                                    {10, "L:" + below}};
  for (const auto& [major, path] : cases) {
    EXPECT_EQ(defaultChromePath(major, "H:", "L:"), path) << major;
  }
}

}  // namespace

}  // namespace kx
