// kx sim, with the simulator beside it and the library as the host.
#include "cli/tests/win32/kx_program.h"
#include "support/environment.h"
#include "support/win32/helper_process.h"
#include "support/win32/temp_folder.h"
#include "support/win32/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

// kx sim, which says by an event that its simulator serves.
class KxSim : public ::testing::Test {
 protected:
  std::vector<std::string> words(std::vector<std::string> more) {
    const std::string script =
        folder_.write("own.script", "on serving set-event " + serving_.name() + "\nwatch-parent " +
                                        std::to_string(::GetCurrentProcessId()) + "\n");
    more.insert(more.begin(), {"sim", "--profile", profile_, "--script", script});
    return more;
  }

  KxOutcome play(const std::string& macro) {
    return kx({"play", "--attach", "--profile", profile_, "--timeout", "20", "-q", "--macro", macro});
  }

  const TempFolder folder_;
  const NamedEvent serving_;
  const std::string profile_ = uniqueName("sim profile");
};

TEST_F(KxSim, AHostMeetsTheMisbehaviourAndIsShownUntilCtrlC) {
  KxProgram sim(words({"failing-macros"}));
  ASSERT_TRUE(serving_.wait());

  EXPECT_THAT(play("extract from a host").out, HasSubstr("error number -50: The page has no such button"));
  sim.interrupt();

  const KxOutcome outcome = sim.outcome();
  EXPECT_EQ(outcome.exitCode, 0U) << outcome.err;
  EXPECT_THAT(outcome.out,
              AllOf(HasSubstr("It lets each macro fail with error number -50 (failing-macros).\n"),
                    HasSubstr("host 1  request n=2 type=play"),
                    HasSubstr("{ \"type\" : \"play\", \"args\" : { \"source\" : \"extract from a host\"")));
  EXPECT_THAT(play("stop").out, HasSubstr("Nobody serves the extension's pipe"));
}

TEST_F(KxSim, APipeThatIsServedAlreadyIsRefused) {
  KxProgram sim(words({}));
  ASSERT_TRUE(serving_.wait());

  const KxOutcome outcome = kx({"sim", "--profile", profile_});

  EXPECT_EQ(outcome.exitCode, 4U);
  EXPECT_THAT(outcome.err, AllOf(HasSubstr("Somebody serves"), HasSubstr("already.")));
  sim.interrupt();
  EXPECT_EQ(sim.outcome().exitCode, 0U);
}

TEST(KxSimItself, ListsWhatTheSimulatorCanDoWrongAndPrintsItsScript) {
  EXPECT_THAT(kx({"sim", "--list"}).out,
              HasSubstr("\n  sudden-death          ends with code 3 during a play\n"));
  EXPECT_EQ(kx({"sim", "stays", "sudden-death", "--print-script"}).out, "on exit stay\non play die 3\n");
}

TEST(KxSimItself, AScriptWithAMistakeIsToldWithItsLine) {
  const TempFolder folder;

  const KxOutcome outcome = kx(
      {"sim", "--profile", uniqueName("bad"), "--script", folder.write("bad.script", "\non play dance\n")});

  EXPECT_EQ(outcome.exitCode, 2U);
  EXPECT_THAT(outcome.out, HasSubstr("line 2: there is no action 'dance'"));
}

TEST(KxSimItself, WithoutTheSimulatorBesideItItSaysSo) {
  const TempFolder folder;
  const std::string copy = folder.write("kx.exe", fileBytes(KxProgram::ownCopy()));

  const KxOutcome outcome = KxProgram({"sim", "--list"}, "", copy).outcome();

  EXPECT_EQ(outcome.exitCode, 4U);
  EXPECT_THAT(outcome.err, HasSubstr("kxsim.exe cannot be started, error 2: it is not there."));
}

}  // namespace
