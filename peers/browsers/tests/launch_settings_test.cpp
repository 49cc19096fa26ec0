#include "launch_settings.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace kxbrowser {
namespace {

TEST(SettingsFile, GivesNamesAndValuesWithoutTheBlanksAroundThem) {
  const Variables settings =
      parseSettings("KX_NODE = C:\\my node\\node.exe \r\n\tKX_CHROME=/usr/bin/chromium");

  EXPECT_EQ(settings, (Variables{{"KX_NODE", "C:\\my node\\node.exe"}, {"KX_CHROME", "/usr/bin/chromium"}}));
}

TEST(SettingsFile, LeavesOutCommentsAndLinesWithoutAnEqualsSign) {
  EXPECT_EQ(parseSettings("# A=1\n\n  \nB\nC=2\n"), (Variables{{"C", "2"}}));
}

TEST(SettingsFile, KeepsFurtherEqualsSignsInTheValue) {
  EXPECT_EQ(parseSettings("A=b=c"), (Variables{{"A", "b=c"}}));
}

TEST(SettingsFile, GivesWayToTheEnvironment) {
  const Environment environment = [](const std::string& name) {
    return name == "A" ? std::optional<std::string>("environment") : std::nullopt;
  };

  EXPECT_EQ(missingIn(environment, {{"A", "file"}, {"B", "file"}}), (Variables{{"B", "file"}}));
}

TEST(ProgramName, OfFirefoxPlaysFirefox) {
  EXPECT_EQ(typeByName("C:\\Program Files\\Firefox.exe"), "fx");
  EXPECT_EQ(typeByName("kxfirefox.exe"), "fx");
}

TEST(ProgramName, OfChromeOrChromiumPlaysChrome) {
  EXPECT_EQ(typeByName("C:\\x\\CHROME.EXE"), "cr");
  EXPECT_EQ(typeByName("chromium.exe"), "cr");
}

TEST(ProgramName, SaysNothingOtherwise) {
  EXPECT_EQ(typeByName("C:\\chrome\\kxbrowser.exe"), std::nullopt);
}

TEST(ChromeFolder, EndsAtAQuoteThatItsOwnBackslashHasEscaped) {
  EXPECT_EQ(cleanFolder("C:\\data\" file://C:\\x.html?pipe=p"), "C:\\data");
  EXPECT_EQ(cleanFolder("C:\\data"), "C:\\data");
}

TEST(MutexName, HoldsNoBackslash) {
  EXPECT_EQ(mutexName("\\\\.\\pipe\\kx-fx-dev.ada"), "kxbrowser://./pipe/kx-fx-dev.ada");
}

}  // namespace
}  // namespace kxbrowser
