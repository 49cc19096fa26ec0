// The log as a host sees it: its switch and its place, which take effect at once, and the lines that a
// debugger gets. What an entry looks like is tested without the library.
#include "host/host_test.h"
#include "support/win32/debugger_lines.h"

#include <cstdlib>
#include <string>
#include <vector>

namespace {

using Lines = std::vector<std::string>;

// The information entry and the error entry of the call below.
constexpr char kInfo[] =
    "kx_Init start, browser = fx, options = , binary_location = (null), port = 1, openNewBrowser = 0, "
    "timeout = 0";
constexpr char kError[] = "TCP protocol is no longer supported";

class Log : public HostTest {
 protected:
  // The lines that the debugger gets of one entry of information, then one error.
  Lines callThatLogs() const {
    const DebuggerLines debugger;
    EXPECT_EQ(dll.kx_Init(context, "fx", "", nullptr, 1, 0, 0), KX_FAILED);
    return debugger.lines();
  }

  const std::string both = HostLog().info(kInfo).error(kError).text();
  const std::string errorOnly = HostLog().error(kError).text();
  const Lines bothLines = {infoLine(kInfo), errorLine(kError)};
  const Lines errorLineOnly = {errorLine(kError)};
  EnvironmentVariable onOff{"KORVEX_LOG"};
  EnvironmentVariable place{"KORVEX_LOGPATH"};
  const int context = dll.kx_ContextCreate();
};

TEST_F(Log, TheLogIsSwitchedWhileTheLibraryIsLoadedAndErrorsAreAlwaysWritten) {
  EXPECT_EQ(callThatLogs(), bothLines);
  onOff.set("off");
  EXPECT_EQ(callThatLogs(), errorLineOnly);
  onOff.set("tRuE");
  EXPECT_EQ(callThatLogs(), bothLines);
  onOff.remove();
  EXPECT_EQ(callThatLogs(), errorLineOnly);

  EXPECT_EQ(log.text(), both + errorOnly + both + errorOnly);
}

TEST_F(Log, TheLogIsMovedWhileTheLibraryIsLoadedAndLiesInTheHomeFolderWithoutAPlace) {
  const EnvironmentVariable drive("HOMEDRIVE", temp.path().substr(0, 2));
  const EnvironmentVariable home("HOMEPATH", temp.path().substr(2));

  callThatLogs();
  place.set(temp.path("other.log"));
  callThatLogs();
  place.remove();
  callThatLogs();

  EXPECT_EQ(log.text(), both);
  EXPECT_EQ(fileBytes(temp.path("other.log")), both);
  EXPECT_EQ(fileBytes(temp.path("korvex.log")), both);
}

TEST_F(Log, TheLogIsOnlyHeardByTheDebuggerWithoutAPlaceAndTheSwitchOrWhenItsFileCannotBeOpened) {
  place.set("C:\\no_such_folder\\kx.log");
  EXPECT_EQ(callThatLogs(), bothLines);
  place.remove();
  onOff.set("off");
  EXPECT_EQ(callThatLogs(), errorLineOnly);

  expectLog(HostLog());
}

TEST_F(Log, TheLogCanBeSwitchedByAHostThatUsesItsOwnRunTime) {
  onOff.remove();
  ASSERT_EQ(_putenv("KORVEX_LOG=on"), 0);

  callThatLogs();

  EXPECT_EQ(log.text(), both);
  _putenv("KORVEX_LOG=");
}

}  // namespace
