#include "pipe_choice.h"

#include <gtest/gtest.h>

#include <string>

namespace kxsim {
namespace {

const std::string kProfiles =
    "[Profile1]\r\nName=dev\r\nIsRelative=1\r\nPath=Profiles/abc\r\nDefault=1\r\n"
    "[Profile0]\nName=other\nIsRelative=0\nPath=D:/p\n[General]\nStartWithLastProfile=";

PipeChoice choose(const std::string& line, const std::string& profiles = "",
                  const Overrides& overrides = {}) {
  return choosePipe(readCommandLine(line), overrides, {"alice", "C:\\roaming", parseIni(profiles)});
}

TEST(PipeChoice, WithoutAnythingItIsTheDefaultPipeOfFirefox) {
  EXPECT_EQ("\\\\.\\pipe\\kx-fx-default.alice", choose("kxsim.exe").pipe);
}

TEST(PipeChoice, AProgramNamedChromePlaysChrome) {
  EXPECT_EQ("\\\\.\\pipe\\kx-cr-default.alice", choose("C:\\firefox\\Chrome.exe").pipe);
  EXPECT_EQ("\\\\.\\pipe\\kx-fx-default.alice", choose("C:\\chrome\\firefox.exe").pipe);
}

TEST(PipeChoice, TheSwitchesWinOverTheProgramsName) {
  EXPECT_EQ("fx", choose("chrome.exe -no-remote").type);
  EXPECT_EQ("fx", choose("chrome.exe -P x").type);
  EXPECT_EQ("cr", choose("firefox.exe --user-data-dir=x").type);
}

TEST(PipeChoice, TheDefaultPipeOfFirefoxNamesTheProfileInUse) {
  EXPECT_EQ("\\\\.\\pipe\\kx-fx-dev.alice", choose("f", kProfiles + "1\n").pipe);
  EXPECT_EQ("\\\\.\\pipe\\kx-fx-default.alice", choose("f", kProfiles + "0\n").pipe);
  EXPECT_EQ("\\\\.\\pipe\\kx-fx-other.alice", choose("f -P other", kProfiles + "1\n").pipe);
}

TEST(PipeChoice, TheDefaultPipeOfChromeNeverNamesAProfile) {
  EXPECT_EQ("\\\\.\\pipe\\kx-cr-default.alice",
            choose("f --user-data-dir=\"C:\\d\"", kProfiles + "1\n").pipe);
}

TEST(PipeChoice, AShortNameIsCompleted) {
  EXPECT_EQ("\\\\.\\pipe\\kx-cr-work.alice", choose("chrome file://x.html?pipe=work").pipe);
  EXPECT_EQ("\\\\.\\pipe\\kx-fx-a\\\\.b.alice", choose("f -kx-pipe a\\\\.b").pipe);
}

TEST(PipeChoice, AFullPathIsTakenAsItIs) {
  EXPECT_EQ("\\\\.\\pipe\\q", choose("f file://x.html?pipe=\\\\.\\pipe\\q").pipe);
}

TEST(PipeChoice, TheOptionWinsThenTheScriptThenTheSwitchThenTheStartPage) {
  const std::string line = "f file://x.html?pipe=page";
  EXPECT_EQ("\\\\.\\pipe\\kx-fx-page.alice", choose(line).pipe);
  EXPECT_EQ("\\\\.\\pipe\\kx-fx-switch.alice", choose(line + " -kx-pipe switch").pipe);
  EXPECT_EQ("\\\\.\\pipe\\kx-fx-script.alice", choose(line + " -kx-pipe switch", "", {{}, "script"}).pipe);
  EXPECT_EQ("\\\\.\\pipe\\kx-fx-o.alice",
            choose(line + " -kx-pipe switch --pipe=o", "", {{}, "script"}).pipe);
}

TEST(PipeChoice, TheDirectoryOfAProfileIsFoundByItsName) {
  const IniFile profiles = parseIni(kProfiles);

  EXPECT_EQ("C:\\roaming\\Mozilla\\Firefox\\Profiles\\abc", profileDirectory(profiles, "dev", "C:\\roaming"));
  EXPECT_EQ("D:/p", profileDirectory(profiles, "other", "C:\\roaming"));
  EXPECT_FALSE(profileDirectory(profiles, "none", "C:\\roaming").has_value());
}

}  // namespace
}  // namespace kxsim
