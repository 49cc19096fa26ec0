// How the start page asks the system for its file.

#include "common/platform.h"
#include "pipe/start_page.h"
#include "support/environment.h"
#include "support/log_capture.h"
#include "support/native/test_platform.h"

#include <gtest/gtest.h>

namespace kx {

namespace {

using test_platform::FileWatch;
using test_platform::OpenedFile;

TEST(StartPageFile, IsOpenedForWritingAsText) {
  const TestFolder folder;
  const ScopedVariable temp("TEMP", folder.path());
  const FileWatch files;

  startPageUrl("stem", "p", nullptr);

  EXPECT_EQ(files.opened(), (std::vector<OpenedFile>{{folder.file("stem.html"), "w"}}));
}

TEST(StartPageFile, IsNotOpenedWithoutATempFolder) {
  const ScopedVariable temp("TEMP", std::nullopt);
  const FileWatch files;

  startPageUrl("stem", "p", nullptr);

  // Only the log asks for its own file, which has no name here.
  EXPECT_EQ(files.opened(), (std::vector<OpenedFile>{{"", "ab"}}));
}

TEST(StartPageFile, WithAnEmptyTempFolderLiesInTheRoot) {
  const ScopedVariable temp("TEMP", "");
  const FileWatch files(5);

  EXPECT_EQ(startPageUrl("stem", "p", nullptr), "");
  EXPECT_EQ(files.opened(), (std::vector<OpenedFile>{{"\\stem.html", "w"}, {"", "ab"}}));
}

TEST(StartPageFile, TheReasonOfAFailureIsLogged) {
  const LogCapture log;
  const ScopedVariable temp("TEMP", "T:");
  std::string logged;
  {
    const test_platform::DebuggerCapture debugger;
    const test_platform::ScopedIds ids(1, 2);
    const FileWatch files(32);

    EXPECT_EQ(startPageUrl("stem", "p", nullptr), "");
    logged = debugger.lines().at(0);
  }

  EXPECT_EQ(logged, "__logerr from (1, 2): Could not open temp file T:\\stem.html, error 32");
}

}  // namespace

}  // namespace kx
