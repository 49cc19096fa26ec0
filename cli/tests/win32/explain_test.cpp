// kx explain, on a machine where something is going on. It leaves everything as it is.
#include "cli/tests/win32/kx_program.h"
#include "support/environment.h"
#include "support/win32/helper_process.h"
#include "support/win32/pipe_name.h"
#include "support/win32/simulator.h"
#include "support/win32/temp_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST(KxExplain, ABrowserThatServesThePipeIsSeenAndNotDisturbed) {
  SimulatedBrowser browser;
  browser.start();

  const KxOutcome outcome = kx({"explain", "--program", browser.program()});

  EXPECT_EQ(outcome.exitCode, 0U) << outcome.err;
  EXPECT_THAT(outcome.out, HasSubstr("A start would attach to the browser that serves the pipe."));
  EXPECT_THAT(outcome.out, HasSubstr(browser.pipe()));
  EXPECT_THAT(browser.events("conn="), IsEmpty());
}

TEST(KxExplain, NothingIsLaunchedWrittenOrLogged) {
  const TempFolder folder;
  const SimulatedBrowser browser;
  const EnvironmentVariable temp("TEMP", folder.path());
  const EnvironmentVariable on("KORVEX_LOG", "on");
  const EnvironmentVariable path("KORVEX_LOGPATH", folder.path("k.log"));

  const KxOutcome outcome =
      kx({"explain", "--program", browser.program(), "--profile", uniqueName("profile")});

  EXPECT_THAT(outcome.out, HasSubstr("A start would launch the browser"));
  EXPECT_THAT(outcome.out, HasSubstr(folder.path("k.log")));
  EXPECT_TRUE(std::filesystem::is_empty(wide(folder.path())));
  EXPECT_THAT(browser.processIds(), IsEmpty());
}

TEST(KxExplain, AStartLockThatIsHeldIsSeenAndNotWaitedFor) {
  const std::string name = "kx-fx-default." + EnvironmentVariable::valueOf("USERNAME").value_or("") + ".lock";
  const NamedEvent ready;
  const NamedEvent end;
  const HelperProcess holder({"hold-mutex", name, ready.name(), end.name()});
  ASSERT_TRUE(ready.wait());

  EXPECT_THAT(kx({"explain"}).out, HasSubstr("another start holds it now"));

  end.signal();
  EXPECT_EQ(holder.exitCode(), 0U);
  EXPECT_THAT(kx({"explain"}).out, HasSubstr("nobody holds it now"));
}

TEST(KxExplain, AProfileThatAFirefoxHoldsIsSeen) {
  const TempFolder folder;
  const EnvironmentVariable roaming("APPDATA", folder.path());
  folder.write("Mozilla\\Firefox\\profiles.ini",
               "[Profile0]\nName=held\nIsRelative=1\nPath=Profiles/held\nDefault=1\n");
  const std::string lock = folder.write("Mozilla\\Firefox\\Profiles\\held\\parent.lock", "");
  const NamedEvent ready;
  const NamedEvent end;
  const HelperProcess holder({"hold-file", lock, ready.name(), end.name()});
  ASSERT_TRUE(ready.wait());

  const KxOutcome outcome = kx({"explain"});

  EXPECT_THAT(outcome.out, HasSubstr("since a running Firefox holds the profile"));
  EXPECT_THAT(outcome.out, HasSubstr("line 5, marks it with Default=1"));
  EXPECT_THAT(kx({"explain", "--profile", "held"}).out, HasSubstr("Warning (profile-in-use)"));
  end.signal();
}

TEST(KxExplain, AStartPageThatCannotBeWrittenIsSeen) {
  const EnvironmentVariable temp("TEMP", "C:\\no\\such\\folder");

  EXPECT_THAT(kx({"explain", "--profile", uniqueName("profile"), "--program", KxProgram::ownCopy()}).out,
              HasSubstr("A start would fail: the start page cannot be written, error 3."));
}

}  // namespace
