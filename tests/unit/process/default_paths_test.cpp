#include "process/default_paths.h"

#include <gtest/gtest.h>

namespace kx {

namespace {

constexpr char kHome[] = "D:\\Home\\alice";
constexpr char kLocal[] = "C:\\Users\\a\\AppData\\Local";

TEST(DefaultPaths, FirefoxKeepsItsDataBelowTheRoamingFolder) {
  EXPECT_EQ(firefoxDataFolder("C:\\Roaming"), "C:\\Roaming\\Mozilla\\Firefox");
  EXPECT_EQ(firefoxProfilesPath("C:\\Roaming"), "C:\\Roaming\\Mozilla\\Firefox\\profiles.ini");
}

TEST(DefaultPaths, AnEmptyRoamingFolderLeavesTheRestOfThePath) {
  EXPECT_EQ(firefoxProfilesPath(""), "\\Mozilla\\Firefox\\profiles.ini");
}

TEST(DefaultPaths, FirefoxIsLookedForInOneFolderOnly) {
  EXPECT_EQ(defaultFirefoxPath(), "c:\\Program Files\\Mozilla Firefox\\firefox.exe");
}

TEST(DefaultPaths, ChromeHasNoDefaultBelowMajorVersionFive) {
  EXPECT_EQ(defaultChromePath(0, kHome, kLocal), "");
  EXPECT_EQ(defaultChromePath(4, kHome, kLocal), "");
}

TEST(DefaultPaths, ChromeLiesBelowTheHomeDirectoryOnMajorVersionFive) {
  EXPECT_EQ(defaultChromePath(5, kHome, kLocal),
            "D:\\Home\\alice\\Local Settings\\Application Data\\Google\\Chrome\\Application\\chrome.exe");
}

TEST(DefaultPaths, ChromeLiesInTheLocalFolderAboveMajorVersionFive) {
  EXPECT_EQ(defaultChromePath(6, kHome, kLocal),
            "C:\\Users\\a\\AppData\\Local\\Google\\Chrome\\Application\\chrome.exe");
  EXPECT_EQ(defaultChromePath(10, kHome, kLocal),
            "C:\\Users\\a\\AppData\\Local\\Google\\Chrome\\Application\\chrome.exe");
}

}  // namespace

}  // namespace kx
