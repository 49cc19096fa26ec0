// kx log, on what the library itself has logged.
#include "cli/tests/win32/kx_program.h"
#include "support/environment.h"
#include "support/win32/simulator.h"
#include "support/win32/temp_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

TEST(KxLog, TellsWhatAPlayDidAndRedactedWithoutItsTexts) {
  const TempFolder folder;
  const std::string log = folder.path("k.log");
  SimulatedBrowser browser;
  browser.start();
  {
    const EnvironmentVariable on("KORVEX_LOG", "on");
    const EnvironmentVariable path("KORVEX_LOGPATH", log);
    ASSERT_EQ(kx({"play", "--attach", "--timeout", "20", "--macro", "extract my secret"}).exitCode, 0U);
  }

  EXPECT_THAT(kx({"log", log}).out,
              AllOf(HasSubstr("extract my secret"), HasSubstr("1 start, 2 requests (2 answered), 0 errors")));
  EXPECT_THAT(kx({"log", "--redact", log}).out, AllOf(HasSubstr("play, "), Not(HasSubstr("secret"))));
  EXPECT_THAT(kx({"log", "--json", log}).out, HasSubstr("\"answered\": 2"));
}

TEST(KxLog, AFileThatIsNotThereIsNamed) {
  const KxOutcome outcome = kx({"log", "C:\\no.log"});

  EXPECT_EQ(outcome.exitCode, 2U);
  EXPECT_EQ(outcome.err, "kx: The file C:\\no.log cannot be opened. Is its name right, and is it there?\n");
}

}  // namespace
