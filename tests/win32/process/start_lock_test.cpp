// The start lock on real mutexes, which other threads and processes look at by name.
#include "process/win32/start_lock.h"

#include "support/win32/debugger_lines.h"
#include "support/win32/helper_process.h"
#include "support/win32/log_file.h"
#include "support/win32/named_mutex.h"
#include "support/win32/next_handle.h"
#include "support/win32/pipe_name.h"
#include "support/win32/windows_calls_override.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <string>
#include <thread>
#include <utility>

namespace kx {

using testing::IsEmpty;

namespace {

// WaitForSingleObject gives this at once.
class LockWaitEndsWith {
 public:
  explicit LockWaitEndsWith(DWORD result, DWORD error = ERROR_SUCCESS)
      : wait_([this, result, error](HANDLE handle, DWORD milliseconds) {
          mutex = handle;
          waited = milliseconds;
          return failWith(error, result);
        }) {}

  HANDLE mutex = nullptr;
  DWORD waited = 0;

 private:
  SubstitutedCall<&WindowsCalls::waitForSingleObject> wait_;
};

class StartLockTest : public testing::Test {
 protected:
  std::string name = uniqueName("lock");
  LogFile log;
  StartLock lock;
};

TEST_F(StartLockTest, TheLockIsAMutexOfThatNameThatIsNotOwnedFromTheBeginning) {
  SubstitutedCall<&WindowsCalls::createMutex> create(
      [&](SECURITY_ATTRIBUTES* security, BOOL isOwned, LPCWSTR wideName) {
        EXPECT_EQ(security, nullptr);
        EXPECT_EQ(isOwned, FALSE);
        EXPECT_EQ(narrow(wideName), name);
        return create.real(security, isOwned, wideName);
      });
  EXPECT_TRUE(lock.acquire(name));
  EXPECT_EQ(create.count(), 1);
  EXPECT_EQ(log.text(), "");
}

TEST_F(StartLockTest, TheLockKeepsOthersOutUntilItIsReleasedOrItsOwnerIsDestroyed) {
  ASSERT_TRUE(lock.acquire(name));
  EXPECT_TRUE(lock.isHeld());
  EXPECT_EQ(stateOfMutex(name), MutexState::Owned);
  lock.release();
  EXPECT_FALSE(lock.isHeld());
  EXPECT_EQ(stateOfMutex(name), MutexState::Absent);
  const NamedMutex keptAlive(name);
  {
    StartLock inner;
    ASSERT_TRUE(inner.acquire(name));
    EXPECT_EQ(stateOfMutex(name), MutexState::Owned);
  }
  EXPECT_EQ(stateOfMutex(name), MutexState::Free);
}

TEST_F(StartLockTest, TheLockIsReleasedOnceHoweverOftenItIsAskedAndKeepsTheLastError) {
  const NamedMutex other(name);
  ASSERT_TRUE(lock.acquire(name));
  ::SetLastError(4711);
  lock.release();
  EXPECT_EQ(::GetLastError(), 4711U);
  ASSERT_TRUE(other.acquire());
  lock.release();
  EXPECT_EQ(stateOfMutex(name), MutexState::Owned);
  other.release();
}

TEST_F(StartLockTest, ALockThatIsHeldIsNotTakenAgain) {
  ASSERT_TRUE(lock.acquire(name));
  const LockWaitEndsWith wait(WAIT_FAILED);
  SubstitutedCall<&WindowsCalls::createMutex> create(
      [&](SECURITY_ATTRIBUTES*, BOOL, LPCWSTR) { return failWith(ERROR_ACCESS_DENIED, HANDLE{}); });
  EXPECT_TRUE(lock.acquire(name));
  EXPECT_EQ(create.count(), 0);
  EXPECT_EQ(log.text(), "");
}

TEST_F(StartLockTest, ANameOutsideAsciiIsUtf8) {
  const std::string outside = name + "-grün-日本";
  ASSERT_TRUE(lock.acquire(outside));
  EXPECT_EQ(stateOfMutex(outside), MutexState::Owned);
}

TEST_F(StartLockTest, TheLockWaitsForTenMinutesAtMost) {
  const LockWaitEndsWith wait(WAIT_OBJECT_0);
  EXPECT_TRUE(lock.acquire(name));
  EXPECT_EQ(wait.waited, 600000U);
}

TEST_F(StartLockTest, TheLockWaitsUntilAnotherProcessReleasesIt) {
  const NamedEvent ready;
  const NamedEvent end;
  const HelperProcess holder({"hold-mutex", name, ready.name(), end.name()});
  ASSERT_TRUE(ready.wait());
  SubstitutedCall<&WindowsCalls::waitForSingleObject> wait([&](HANDLE mutex, DWORD milliseconds) {
    EXPECT_EQ(wait.real(mutex, 0), DWORD{WAIT_TIMEOUT});
    end.signal();
    return wait.real(mutex, milliseconds);
  });
  EXPECT_TRUE(lock.acquire(name));
  EXPECT_EQ(holder.exitCode(), 0U);
  EXPECT_EQ(wait.count(), 1);
  EXPECT_EQ(log.text(), "");
}

TEST_F(StartLockTest, ALockOfAHolderThatEndedWithoutReleasingCountsAsTaken) {
  const NamedMutex keptAlive(name);
  const NamedEvent ready;
  const HelperProcess holder({"abandon-mutex", name, ready.name()});
  ASSERT_TRUE(ready.wait());
  ASSERT_EQ(holder.exitCode(), 0U);
  SubstitutedCall<&WindowsCalls::waitForSingleObject> wait([&](HANDLE mutex, DWORD milliseconds) {
    const DWORD result = wait.real(mutex, milliseconds);
    EXPECT_EQ(result, DWORD{WAIT_ABANDONED});
    return result;
  });
  EXPECT_TRUE(lock.acquire(name));
  EXPECT_EQ(wait.count(), 1);
  EXPECT_TRUE(lock.isHeld());
  EXPECT_EQ(stateOfMutex(name), MutexState::Owned);
  EXPECT_EQ(log.text(), "");
  lock.release();
  EXPECT_EQ(stateOfMutex(name), MutexState::Free);
}

TEST_F(StartLockTest, ANameThatAnotherKindOfObjectHasIsAFailure) {
  const NamedEvent event(name);
  EXPECT_FALSE(lock.acquire(name));
  EXPECT_FALSE(lock.isHeld());
  EXPECT_EQ(log.text(),
            ExpectedLog().error("Could not create binary start lock " + name + ", error 6").text());
}

TEST_F(StartLockTest, AWaitThatRunsOutOrFailsIsLoggedAndLeavesNothing) {
  ExpectedLog expected;
  const std::pair<DWORD, const char*> cases[] = {
      {WAIT_TIMEOUT, "Timout while waiting for binary start lock"},
      {WAIT_FAILED, "Failed waiting for binary start lock, error 5"}};
  for (const auto& [result, message] : cases) {
    const LockWaitEndsWith wait(result, ERROR_ACCESS_DENIED);
    EXPECT_FALSE(lock.acquire(name));
    EXPECT_FALSE(lock.isHeld());
    EXPECT_FALSE(isOpen(wait.mutex));
    EXPECT_EQ(log.text(), expected.error(message).text());
  }
  EXPECT_TRUE(lock.acquire(name)) << "it can be taken after a failure";
  EXPECT_EQ(stateOfMutex(name), MutexState::Owned);
}

TEST(MutexOwnershipTest, AMutexThatCannotBeReleasedLeavesTheLastErrorAsItWas) {
  const NamedMutex mutex(uniqueName("mutex"));
  MutexOwnership nobodys(mutex.handle());
  ::SetLastError(4711);
  nobodys.release();
  EXPECT_EQ(::GetLastError(), 4711U);
}

TEST(MutexOwnershipTest, OwnershipPassesFromOneObjectToAnother) {
  const std::string name = uniqueName("mutex");
  const NamedMutex mutex(name);
  ASSERT_TRUE(mutex.acquire());
  MutexOwnership first(mutex.handle());
  MutexOwnership second(std::move(first));
  first.release();
  EXPECT_EQ(stateOfMutex(name), MutexState::Owned);
  MutexOwnership third;
  third = std::move(second);
  second.release();
  EXPECT_EQ(stateOfMutex(name), MutexState::Owned);
  third = MutexOwnership();
  EXPECT_EQ(stateOfMutex(name), MutexState::Free);
}

}  // namespace

}  // namespace kx
