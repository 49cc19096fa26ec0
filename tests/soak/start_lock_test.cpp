// Processes that fight for one profile's start lock.
#include "scenario/conversation.h"
#include "soak/share.h"
#include "soak/soak_host.h"
#include "support/win32/import_table.h"

#include <thread>

namespace {

// What a start finds when it comes to the lock, told before it waits.
class LockMeeting {
 public:
  explicit LockMeeting(HMODULE library) : imports_(library) {
    real_ = imports_.replace("WaitForSingleObject", &LockMeeting::wait);
    current_ = this;
  }

  // WAIT_TIMEOUT when somebody else has it. Waits until a start has come.
  DWORD found() const { return hasCome_.wait() ? found_ : WAIT_FAILED; }

 private:
  static DWORD WINAPI wait(HANDLE lock, DWORD milliseconds) {
    current_->found_ = real_(lock, 0);
    current_->hasCome_.signal();
    return current_->found_ == WAIT_TIMEOUT ? real_(lock, milliseconds) : current_->found_;
  }

  static inline decltype(&::WaitForSingleObject) real_ = nullptr;
  static inline LockMeeting* current_ = nullptr;
  const NamedEvent hasCome_;
  DWORD found_ = WAIT_FAILED;
  ImportTable imports_;
};

class FightForTheStartLock : public Conversation {
 protected:
  FightForTheStartLock() {
    browser_.script("on exit stay");
    browser_.script("on exit wait-for-pid none");
    browser_.script("idle-limit 600");
    browser_.start();
  }

  // A host takes the lock and is killed while another start waits for it; that one goes on.
  void killTheHolder() {
    const NamedEvent holding;
    std::optional<HelperProcess> holder(holdingHost(holding));
    ASSERT_TRUE(holding.wait());
    {
      const LockMeeting lock(dll_.module());
      std::thread host([&] { EXPECT_EQ(init({}), KX_OK) << errorText(); });
      EXPECT_EQ(lock.found(), DWORD{WAIT_TIMEOUT}) << "two starts hold the lock";
      holder.reset();
      host.join();
    }

    EXPECT_EQ(play("extract x"), KX_OK);
    EXPECT_EQ(exit(), KX_OK);
  }

  SimulatedBrowser browser_{uniqueName("browser") + ".exe", "browser", SimulatedBrowser::Recording::Off};
  const TempFolder reports_{"reports"};
};

TEST_F(FightForTheStartLock, OfTwoProcessesOneAtATimeHoldsTheStartLock) {
  const NamedEvent go;
  const HelperProcess first(fightingHost(go, reports_.path("first"), shareOf(500)));
  const HelperProcess second(fightingHost(go, reports_.path("second"), shareOf(500)));

  go.signal();

  EXPECT_EQ(first.exitCode(INFINITE), 0U) << fileBytes(reports_.path("first"));
  EXPECT_EQ(second.exitCode(INFINITE), 0U) << fileBytes(reports_.path("second"));
}

TEST_F(FightForTheStartLock, AProcessThatIsKilledWithTheStartLockLetsTheOtherGoOn) {
  const int rounds = shareOf(100);
  for (int round = 0; round < rounds; ++round) {
    ASSERT_NO_FATAL_FAILURE(killTheHolder()) << "round " << round;
  }
}

}  // namespace
