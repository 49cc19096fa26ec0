// pipe_accept(): how a client arrives, and each way to fail.
#include "support/win32/debugger_lines.h"
#include "win32/pipe/pipe_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <string>
#include <thread>

namespace kx {

using testing::IsEmpty;

namespace {

class PipeAccept : public testing::Test {
 protected:
  std::string name = uniquePipeName();
  UniquePipe pipe{pipe_create(name.c_str())};
  LogFile log;
};

TEST_F(PipeAccept, AClientThatCameBeforeTheCallNeedsNoWait) {
  const RawPipe client = RawPipe::client(name);
  const WaitsEndWith wait(WAIT_TIMEOUT);
  EXPECT_EQ(pipe_accept(pipe.get(), 1), 0);
  EXPECT_EQ(wait.count(), 0);
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeAccept, AClientThatComesDuringTheWaitIsAccepted) {
  RawPipe client;
  SubstitutedCall<&WindowsCalls::waitForMultipleObjects> wait(
      [&](DWORD count, const HANDLE* events, BOOL forAll, DWORD milliseconds) {
        client = RawPipe::client(name);
        return wait.real(count, events, forAll, milliseconds);
      });
  EXPECT_EQ(pipe_accept(pipe.get(), 10), 0);
  EXPECT_EQ(wait.count(), 1);
  ASSERT_TRUE(client.write("hello"));
  EXPECT_EQ(readText(pipe.get()), "hello");
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeAccept, ACallThatConnectsAtOnceIsEnough) {
  const SubstitutedCall<&WindowsCalls::connectNamedPipe> connect([](HANDLE, OVERLAPPED*) { return TRUE; });
  const WaitsEndWith wait(WAIT_TIMEOUT);
  EXPECT_EQ(pipe_accept(pipe.get(), 1), 0);
  EXPECT_EQ(wait.count(), 0);
}

TEST_F(PipeAccept, AFailedCallIsLogged) {
  const SubstitutedCall<&WindowsCalls::connectNamedPipe> connect(
      [](HANDLE, OVERLAPPED*) { return failWith(ERROR_ACCESS_DENIED, FALSE); });
  EXPECT_EQ(pipe_accept(pipe.get(), 1), -1);
  EXPECT_EQ(::GetLastError(), 5U);
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_accept: wait error 5").text());
}

TEST_F(PipeAccept, AClientThatLeftBeforeTheCallIsAFailure) {
  { const RawPipe client = RawPipe::client(name); }
  EXPECT_EQ(pipe_accept(pipe.get(), 1), -1);
  EXPECT_EQ(::GetLastError(), 232U);
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_accept: wait error 232").text());
}

TEST_F(PipeAccept, ATimeoutThatPassesIsLogged) {
  const ULONGLONG begin = ::GetTickCount64();
  EXPECT_EQ(pipe_accept(pipe.get(), 1), -3);
  EXPECT_GE(::GetTickCount64() - begin, 900U);
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_accept: timeout").text());
}

TEST_F(PipeAccept, AFailedWaitCountsAsATimeout) {
  const WaitsEndWith wait(WAIT_FAILED, ERROR_INVALID_HANDLE);
  EXPECT_EQ(pipe_accept(pipe.get(), 1), -3);
  EXPECT_EQ(::GetLastError(), 6U);
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_accept: timeout").text());
}

TEST_F(PipeAccept, AnyOtherResultOfTheWaitCountsAsATimeout) {
  const WaitsEndWith wait(WAIT_ABANDONED_0);
  EXPECT_EQ(pipe_accept(pipe.get(), 1), -3);
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_accept: timeout").text());
}

TEST_F(PipeAccept, AConnectionThatFailsDuringTheWaitIsLogged) {
  RawPipe client;
  SubstitutedCall<&WindowsCalls::waitForMultipleObjects> wait(
      [&](DWORD count, const HANDLE* events, BOOL forAll, DWORD milliseconds) {
        client = RawPipe::client(name);
        return wait.real(count, events, forAll, milliseconds);
      });
  const SubstitutedCall<&WindowsCalls::getOverlappedResult> result(
      [](HANDLE, OVERLAPPED*, DWORD*, BOOL waits) {
        EXPECT_EQ(waits, FALSE);
        return failWith(ERROR_BROKEN_PIPE, FALSE);
      });
  EXPECT_EQ(pipe_accept(pipe.get(), 10), -1);
  EXPECT_EQ(::GetLastError(), 109U);
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_accept: get data error 109").text());
}

TEST_F(PipeAccept, ANullEndIsABadArgumentAndIsNotLogged) {
  const DebuggerLines debugger;
  ::SetLastError(0);
  EXPECT_EQ(pipe_accept(nullptr, 1), -1);
  EXPECT_EQ(::GetLastError(), 160U);
  EXPECT_THAT(debugger.lines(), IsEmpty());
}

}  // namespace

}  // namespace kx
