// Processes that fight for one profile's start lock.
#include "scenario/conversation.h"
#include "soak/share.h"
#include "soak/soak_host.h"
#include "support/win32/import_table.h"

#include <array>
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
    SoakHost holder(HoldingHost{holding.name()});
    ASSERT_TRUE(holding.wait());
    {
      const LockMeeting lock(dll_.module());
      std::thread host([&] { EXPECT_EQ(init({}), KX_OK) << errorText(); });
      EXPECT_EQ(lock.found(), DWORD{WAIT_TIMEOUT}) << "two starts hold the lock";
      holder.kill();
      host.join();
    }

    EXPECT_EQ(play("extract x"), KX_OK);
    EXPECT_EQ(exit(), KX_OK);
  }

  SimulatedBrowser browser_{uniqueName("browser") + ".exe", "browser", SimulatedBrowser::Recording::Off};
  const TempFolder reports_{"reports"};
};

TEST_F(FightForTheStartLock, OfTwoProcessesOneAtATimeHoldsIt) {
  constexpr int kHosts = 2;
  const int cycles = shareOf(500);
  const LockWatch watch(user_.name());
  const NamedEvent go;
  const std::array<SoakHost, kHosts> hosts = {SoakHost(FightingHost{go.name(), reports_.path("0"), cycles}),
                                              SoakHost(FightingHost{go.name(), reports_.path("1"), cycles})};

  go.signal();

  for (int i = 0; i < kHosts; ++i) {
    EXPECT_EQ(hosts[static_cast<std::size_t>(i)].exitCode(), 0U)
        << fileBytes(reports_.path(std::to_string(i)));
  }
  EXPECT_EQ(watch.violations(), 0);
  EXPECT_EQ(watch.looks(), kHosts * cycles);
}

TEST_F(FightForTheStartLock, AProcessThatIsKilledWhileItHoldsItLetsTheOtherGoOn) {
  const int rounds = shareOf(100);
  for (int round = 0; round < rounds; ++round) {
    ASSERT_NO_FATAL_FAILURE(killTheHolder()) << "round " << round;
  }
}

}  // namespace
