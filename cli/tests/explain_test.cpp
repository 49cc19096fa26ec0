// What a start would do, on machines that answer as the test says.
#include "cli/explain.h"

#include "cli/firefox_choice.h"
#include "cli/start_facts.h"
#include "support/environment.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>

namespace kx::cli {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr char kProfilesIni[] =
    "[General]\nStartWithLastProfile=1\n\n"
    "[Profile1]\nName=old\nPath=Profiles/a.old\nDefault=1\n\n"
    "[Profile0]\nName=default-release\nPath=Profiles/b.default-release\n\n"
    "[Install4F96]\nDefault=Profiles/b.default-release\nLocked=1\n";

TEST(FirefoxChoice, NamesTheLineThatMarksTheProfileAndFirefoxsOwnChoice) {
  const FirefoxChoice choice = firefoxChoice(kProfilesIni);

  EXPECT_EQ(choice.profile, "old");
  EXPECT_EQ(choice.section, "Profile1");
  EXPECT_EQ(choice.line, 7U);
  EXPECT_EQ(choice.firefoxProfile, "default-release");
}

TEST(FirefoxChoice, WithoutAMarkThereIsNone) {
  EXPECT_EQ(firefoxChoice("[Profile0]\nName=a\n").profile, std::nullopt);
  const FirefoxChoice asked =
      firefoxChoice("[General]\nStartWithLastProfile=0\n[Profile0]\nName=a\nDefault=1\n");
  EXPECT_EQ(asked.profile, std::nullopt);
  EXPECT_TRUE(asked.isAskedFor);
}

class Explaining : public ::testing::Test {
 protected:
  Explaining() {
    machine_.fileText = [&](const std::string&) { return profilesIni_; };
    machine_.pipe = [&](const std::string& pipe) {
      return pipes_.contains(pipe) ? pipes_[pipe] : PipeState::NotServed;
    };
    machine_.lock = [&](const std::string&) { return lock_; };
    machine_.profileIsLocked = [&](const std::string&, const std::string&) { return isLocked_; };
    machine_.findProgram = [&](const std::string& path) { return programs_.contains(path) ? 0U : missing_; };
    machine_.writing = [&](const std::string&) { return writingError_; };
    machine_.defaultProgram = [](const std::string&) {
      return std::string("c:\\Program Files\\Mozilla Firefox\\firefox.exe");
    };
    programs_["c:\\Program Files\\Mozilla Firefox\\firefox.exe"] = true;
  }

  StartFacts facts() const { return startFacts(browser_, machine_); }

  std::string value(const std::string& key) const {
    for (const Fact& fact : facts().facts) {
      if (fact.key == key) {
        return fact.value + " / " + fact.why;
      }
    }
    return "no such fact";
  }

  std::vector<std::string> warnings() const {
    std::vector<std::string> ids;
    for (const Warning& warning : facts().warnings) {
      EXPECT_FALSE(warning.wayRound.empty()) << warning.id;
      ids.push_back(warning.id);
    }
    return ids;
  }

  EnvironmentVariable temp_{"TEMP", "C:\\Temp"};
  EnvironmentVariable user_{"USERNAME", "ada"};
  EnvironmentVariable roaming_{"APPDATA", "C:\\Roaming"};
  BrowserChoice browser_;
  Machine machine_;
  std::optional<std::string> profilesIni_;
  std::map<std::string, PipeState> pipes_;
  std::map<std::string, bool> programs_;
  LockState lock_ = LockState::Free;
  bool isLocked_ = false;
  std::uint32_t missing_ = 2;
  std::uint32_t writingError_ = 0;
};

TEST_F(Explaining, AProfileThatIsGivenHasPipePageAndCommandLine) {
  browser_.profile = "work";

  EXPECT_EQ(value("profile"), "work / given by --profile");
  EXPECT_EQ(value("pipe"),
            "\\\\.\\pipe\\kx-fx-67e92c8765a9bc7fb2d335c459de9eb5.runner / kx_Init: nobody serves it now");
  EXPECT_EQ(value("other family's pipe"), "\\\\.\\pipe\\work.runner / kxr_Init: nobody serves it now");
  EXPECT_EQ(value("start lock"), "kx-fx-unknonw.ada.lock / nobody holds it now");
  EXPECT_EQ(value("start page"), "C:\\Temp\\67e92c8765a9bc7fb2d335c459de9eb5.html / it can be written");
  EXPECT_EQ(value("command line"),
            "\"c:\\Program Files\\Mozilla Firefox\\firefox.exe\" -no-remote -P \"work\" "
            "file://C:\\Temp\\67e92c8765a9bc7fb2d335c459de9eb5.html?pipe=\\\\.\\pipe\\kx-fx-"
            "67e92c8765a9bc7fb2d335c459de9eb5.runner / ");
  EXPECT_EQ(facts().verdict, "A start would launch the browser and try to connect: up to 31 attempts, 60 s.");
}

TEST_F(Explaining, ARunnersCommandLineNamesThePipe) {
  browser_.profile = "work";
  browser_.runner = true;

  EXPECT_EQ(value("pipe"), "\\\\.\\pipe\\work.runner / kxr_Init: nobody serves it now");
  EXPECT_EQ(value("command line"),
            "\"c:\\Program Files\\Mozilla Firefox\\firefox.exe\" -no-remote -P \"work\" -kx-pipe "
            "\"\\\\.\\pipe\\work.runner\" / ");
}

TEST_F(Explaining, WithoutAProfileTheLineThatChoosesOneIsNamed) {
  profilesIni_ = kProfilesIni;

  EXPECT_EQ(value("profile"),
            "old / section [Profile1] of C:\\Roaming\\Mozilla\\Firefox\\profiles.ini, line 7, marks it with "
            "Default=1");
  EXPECT_EQ(value("pipe"), "\\\\.\\pipe\\kx-fx-old.ada / kx_Init: nobody serves it now");
  EXPECT_EQ(value("start lock"), "kx-fx-old.ada.lock / nobody holds it now");
  EXPECT_THAT(warnings(), ElementsAre("firefox-chooses-another"));
}

TEST_F(Explaining, WithoutAProfilesFileTheProfileIsDefault) {
  EXPECT_EQ(value("profile"), "default / there is no C:\\Roaming\\Mozilla\\Firefox\\profiles.ini");
}

TEST_F(Explaining, TheVerdictSaysWhatAStartWouldDoNow) {
  const std::string pipe = "\\\\.\\pipe\\kx-fx-default.ada";
  struct Case {
    std::function<void()> arrange;
    std::string verdict;
  };
  const Case cases[] = {
      {[] {}, "A start would launch the browser and try to connect: up to 31 attempts, 60 s."},
      {[&] { isLocked_ = true; },
       "A start would launch nothing, since a running Firefox holds the profile, and wait for its extension: "
       "31 "
       "attempts, 60 s."},
      {[&] {
         isLocked_ = false;
         programs_.clear();
       },
       "A start would fail: the program is not there."},
      {[&] { missing_ = 3; }, "A start would fail: the program cannot be looked at, error 3."},
      {[&] {
         browser_.profile = "work";
         writingError_ = 5;
       },
       "A start would fail: the start page cannot be written, error 5."},
      {[&] {
         browser_.profile.reset();
         browser_.attach = true;
       },
       "A start would fail: nobody serves the pipe, and --attach launches no browser."},
      {[&] { pipes_[pipe] = PipeState::Busy; },
       "A start would wait for the busy pipe, up to five seconds at each attempt."},
      {[&] { pipes_[pipe] = PipeState::Served; },
       "A start would attach to the browser that serves the pipe."},
  };
  for (const Case& one : cases) {
    one.arrange();
    EXPECT_EQ(facts().verdict, one.verdict);
  }
}

TEST_F(Explaining, WhatIsKnownToGoWrongIsWarnedOf) {
  struct Case {
    std::string id;
    std::function<void()> arrange;
  };
  const Case cases[] = {
      {"temp-hash", [&] { temp_.set("C:\\T#1"); }},
      {"temp-percent", [&] { temp_.set("C:\\T%41"); }},
      {"temp-blank",
       [&] {
         temp_.set("C:\\My Temp");
         browser_.type = "cr";
         browser_.runner = true;
       }},
      {"temp-not-writable", [&] { writingError_ = 5; }},
      {"empty-profile", [&] { browser_.profile = ""; }},
      {"trailing-backslash", [&] { browser_.profile = "C:\\data\\"; }},
      {"profile-in-use", [&] { isLocked_ = true; }},
      {"no-backslash", [&] { browser_.program = "firefox.exe"; }},
      {"quoted-path", [&] { browser_.program = "\"C:\\firefox.exe\""; }},
      {"browser-of-32-bit",
       [&] {
         programs_.clear();
         programs_["c:\\Program Files (x86)\\Mozilla Firefox\\firefox.exe"] = true;
       }},
      {"elevated", [&] { machine_.isElevated = true; }},
      {"lock-refused", [&] { lock_ = LockState::Refused; }},
      {"no-time-limit", [&] { browser_.timeoutSeconds = 0; }},
  };
  for (const Case& one : cases) {
    temp_.set("C:\\Temp");
    browser_ = BrowserChoice();
    browser_.profile = "work";
    writingError_ = 0;
    isLocked_ = false;
    lock_ = LockState::Free;
    machine_.isElevated = false;
    programs_ = {{"c:\\Program Files\\Mozilla Firefox\\firefox.exe", true}};
    ASSERT_THAT(warnings(), IsEmpty());

    one.arrange();

    EXPECT_THAT(warnings(), ElementsAre(one.id));
  }
}

TEST_F(Explaining, TheLogsPlaceIsToldAsTheEnvironmentAsksForIt) {
  EXPECT_EQ(value("log"), "nowhere / KORVEX_LOG is off");
  machine_.logPath = "C:\\k.log";
  EXPECT_EQ(value("log"), "C:\\k.log / KORVEX_LOG is off: errors only");
  machine_.isLogOn = true;
  EXPECT_EQ(value("log"), "C:\\k.log / KORVEX_LOG is on: everything");
}

TEST_F(Explaining, AsJsonItHasTheSameFacts) {
  ExplainArguments arguments;
  arguments.json = true;
  arguments.browser.timeoutSeconds = 0;

  const std::string text = explain(arguments, machine_, Palette());

  EXPECT_THAT(text, HasSubstr("\"longest of all\": {\n      \"value\": \"for ever\""));
  EXPECT_THAT(text, HasSubstr("\"id\": \"no-time-limit\""));
}

}  // namespace
}  // namespace kx::cli
