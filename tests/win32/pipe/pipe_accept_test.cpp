// pipe_accept(): how a client arrives, and each way to fail.
#include "win32/pipe/pipe_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <string>

using testing::IsEmpty;

namespace kx {

namespace {

class PipeAccept : public testing::Test {
 protected:
  std::string name = uniquePipeName();
  UniquePipe pipe{pipe_create(name.c_str())};
  LogFile log;
};

TEST_F(PipeAccept, AClientThatCameBeforeTheAcceptNeedsNoWait) {
  const RawPipe client = RawPipe::client(name);
  const WaitsEndWith wait(WAIT_TIMEOUT);
  EXPECT_EQ(pipe_accept(pipe.get(), 1), 0);
  EXPECT_THAT(wait.milliseconds, IsEmpty());
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeAccept, AClientThatComesDuringTheWaitIsAccepted) {
  RawPipe client;
  const WatchedWait wait([&](auto...) { client = RawPipe::client(name); });
  EXPECT_EQ(pipe_accept(pipe.get(), 10), 0);
  EXPECT_EQ(wait.count(), 1);
  ASSERT_TRUE(client.write("hello"));
  EXPECT_EQ(readText(pipe.get()), "hello");
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeAccept, AnAcceptThatConnectsAtOnceNeedsNoWait) {
  const GivingCall<&WindowsCalls::connectNamedPipe> connect(TRUE);
  const WaitsEndWith wait(WAIT_TIMEOUT);
  EXPECT_EQ(pipe_accept(pipe.get(), 1), 0);
  EXPECT_THAT(wait.milliseconds, IsEmpty());
}

TEST_F(PipeAccept, AnAcceptThatFailsIsLogged) {
  const GivingCall<&WindowsCalls::connectNamedPipe> connect(FALSE, ERROR_ACCESS_DENIED);
  EXPECT_EQ(pipe_accept(pipe.get(), 1), -1);
  EXPECT_EQ(::GetLastError(), 5U);
  EXPECT_EQ(log.text(), errorEntry("pipe_accept: wait error 5"));
}

TEST_F(PipeAccept, AClientThatLeftBeforeTheAcceptIsAFailure) {
  { const RawPipe client = RawPipe::client(name); }
  EXPECT_EQ(pipe_accept(pipe.get(), 1), -1);
  EXPECT_EQ(::GetLastError(), 232U);
  EXPECT_EQ(log.text(), errorEntry("pipe_accept: wait error 232"));
}

TEST_F(PipeAccept, AnAcceptLastsItsTimeoutWhichIsLogged) {
  const ULONGLONG begin = ::GetTickCount64();
  EXPECT_EQ(pipe_accept(pipe.get(), 1), -3);
  EXPECT_GE(::GetTickCount64() - begin, 900U);
  EXPECT_EQ(log.text(), errorEntry("pipe_accept: timeout"));
}

TEST_F(PipeAccept, AnAcceptWhoseWaitFailsCountsAsTimedOut) {
  for (const DWORD result : {WAIT_FAILED, DWORD{WAIT_ABANDONED_0}}) {
    const WaitsEndWith wait(result, ERROR_INVALID_HANDLE);
    EXPECT_EQ(pipe_accept(pipe.get(), 1), -3);
    EXPECT_EQ(::GetLastError(), 6U);
    EXPECT_EQ(log.text(), errorEntry("pipe_accept: timeout"));
    log.clear();
  }
}

TEST_F(PipeAccept, AConnectionThatFailsDuringTheWaitIsLogged) {
  RawPipe client;
  const WatchedWait wait([&](auto...) { client = RawPipe::client(name); });
  const SubstitutedCall<&WindowsCalls::getOverlappedResult> result(
      [](HANDLE, OVERLAPPED*, DWORD*, BOOL waits) {
        EXPECT_EQ(waits, FALSE);
        return failWith(ERROR_BROKEN_PIPE, FALSE);
      });
  EXPECT_EQ(pipe_accept(pipe.get(), 10), -1);
  EXPECT_EQ(::GetLastError(), 109U);
  EXPECT_EQ(log.text(), errorEntry("pipe_accept: get data error 109"));
}

}  // namespace

}  // namespace kx
