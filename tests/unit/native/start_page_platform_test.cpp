// How the start page asks the system for its file.

#include "common/platform.h"
#include "pipe/start_page.h"
#include "support/environment.h"
#include "support/native/test_platform.h"

#include <gtest/gtest.h>

namespace kx {

namespace {

using test_platform::FileWatch;
using test_platform::OpenedFile;

TEST(StartPageFile, TheStartPageIsOpenedForWritingAsTextUnlessThereIsNoTempFolder) {
  // The log asks for its own file, which has no name here.
  const OpenedFile log = {"", "ab"};
  const std::pair<std::optional<std::string>, std::vector<OpenedFile>> cases[] = {
      {"T:", {{"T:\\stem.html", "w"}, log}}, {"", {{"\\stem.html", "w"}, log}}, {std::nullopt, {log}}};
  for (const auto& [folder, opened] : cases) {
    const EnvironmentVariable temp("TEMP", folder);
    const FileWatch files(5);

    EXPECT_EQ(startPageUrl("stem", "p", nullptr), "");
    EXPECT_EQ(files.opened(), opened);
  }
}

TEST(StartPageFile, TheReasonOfAFailureIsLogged) {
  const EnvironmentVariable temp("TEMP", "T:");
  const test_platform::DebuggerCapture debugger;
  const test_platform::ScopedIds ids(1, 2);
  const FileWatch files(32);

  EXPECT_EQ(startPageUrl("stem", "p", nullptr), "");

  EXPECT_EQ(debugger.lines().at(0), "__logerr from (1, 2): Could not open temp file T:\\stem.html, error 32");
}

}  // namespace

}  // namespace kx
