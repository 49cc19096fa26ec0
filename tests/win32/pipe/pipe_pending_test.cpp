// An operation that timed out stays pending: what the next ones on that end do with it, so that no byte is
// lost, comes twice or comes out of order, and nothing is written to a buffer that its caller has back.
#include "support/win32/debugger_lines.h"
#include "win32/pipe/pipe_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <string>
#include <thread>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace kx {

namespace {

TEST_F(PendingRead, APendingReadIsContinuedByTheNextOneAndNeverTouchesTheFirstCallersBuffer) {
  ASSERT_TRUE(pipe.peer.write("late answer"));
  EXPECT_EQ(buffer, kUntouched);
  EXPECT_EQ(readText(end()), "late answer");

  ::SetEvent(pipe_cancel_event(end()));
  ASSERT_EQ(readWithin(end(), buffer, 0), -4);
  ASSERT_TRUE(pipe.peer.write("another"));
  EXPECT_EQ(readText(end()), "another");
  EXPECT_EQ(buffer, kUntouched);
}

TEST_F(PendingRead, APendingReadIsTheOnlyOneHoweverOftenTheCallerTriesAgain) {
  const WatchedCall<&WindowsCalls::readFile> read;
  ASSERT_EQ(readThatTimesOut(end(), buffer), -3);
  ASSERT_EQ(readThatTimesOut(end(), buffer), -3);
  ASSERT_TRUE(pipe.peer.write("one"));
  EXPECT_EQ(readText(end()), "one");
  EXPECT_EQ(read.count(), 0);
  ASSERT_TRUE(pipe.peer.write("two"));
  EXPECT_EQ(readText(end()), "two");
  EXPECT_EQ(read.count(), 1);
}

TEST_F(PendingRead, APendingReadIsWaitedForWithTheNextCallersTimeout) {
  const WaitsEndWith wait(WAIT_TIMEOUT);
  const LogFile log;
  EXPECT_EQ(readWithin(end(), buffer, 7), -3);
  EXPECT_THAT(wait.milliseconds, ElementsAre(7000U));
  EXPECT_EQ(log.text(), errorEntry("pipe_read: timeout"));
}

TEST_F(PendingRead, APendingReadGivesASmallerCallerAPartAndKeepsTheRestInOrder) {
  ASSERT_TRUE(pipe.peer.write("0123456789"));
  ASSERT_TRUE(pipe.peer.write("abc"));
  EXPECT_EQ(readText(end(), 4), "0123");
  EXPECT_EQ(readText(end(), 5), "45678");
  EXPECT_EQ(readText(end()), "9");
  EXPECT_EQ(readText(end()), "abc");
}

TEST_F(PendingRead, APendingReadOfAFewBytesLeavesTheOthersToTheNextOne) {
  ConnectedServer other;
  std::string small(4, '.');
  ASSERT_EQ(readThatTimesOut(other.end.get(), small), -3);
  ASSERT_TRUE(other.peer.write("0123456789"));
  EXPECT_EQ(readText(other.end.get()), "0123");
  EXPECT_EQ(readText(other.end.get()), "456789");
}

TEST_F(PendingRead, APendingReadWhoseOtherEndClosesIsTheEndForTheNextRead) {
  pipe.peer.close();
  const LogFile log;
  EXPECT_EQ(readText(end()), "");
  EXPECT_EQ(log.text(), "");
}

TEST_F(PendingRead, APendingReadIsEndedByAWriteWithoutAMessage) {
  const LogFile log;
  const DebuggerLines debugger;
  std::vector<std::string> steps;
  const WatchedCall<&WindowsCalls::cancelIo> cancel([&](HANDLE, OVERLAPPED* overlapped) {
    steps.push_back("cancel");
    EXPECT_NE(overlapped, nullptr);
  });
  const WatchedCall<&WindowsCalls::getOverlappedResult> result(
      [&](HANDLE, OVERLAPPED*, DWORD*, BOOL waits) { steps.push_back(waits != FALSE ? "wait" : "look"); });
  const WatchedCall<&WindowsCalls::writeFile> write([&](auto...) { steps.push_back("write"); });
  EXPECT_EQ(writeText(end(), "question"), 8);
  EXPECT_THAT(steps, ElementsAre("cancel", "wait", "write"));
  EXPECT_EQ(pipe.peer.readExactly(8), "question");
  ASSERT_TRUE(pipe.peer.write("answer"));
  EXPECT_EQ(readText(end()), "answer");
  EXPECT_EQ(buffer, kUntouched);
  EXPECT_THAT(debugger.lines(), IsEmpty());
}

TEST_F(PendingRead, APendingReadThatIsEndedByWritesKeepsWhatItHasForTheNextReads) {
  ASSERT_TRUE(pipe.peer.write("0123456789"));
  EXPECT_EQ(writeText(end(), "a"), 1);
  ASSERT_TRUE(pipe.peer.write("later"));
  EXPECT_EQ(writeText(end(), "b"), 1);
  EXPECT_EQ(readText(end(), 3), "012");
  EXPECT_EQ(writeText(end(), "c"), 1);
  EXPECT_EQ(readText(end()), "3456789");
  EXPECT_EQ(readText(end()), "later");
  EXPECT_EQ(pipe.peer.readExactly(3), "abc");
  EXPECT_EQ(buffer, kUntouched);
}

// Windows cancels what a thread has under way when the thread ends.
TEST(PendingReadOfAThread, APendingReadThatTheSystemHasCancelledLosesNothing) {
  ConnectedServer pipe;
  HANDLE cancelled = nullptr;
  std::string buffer(16, '.');
  {
    const WatchedCall<&WindowsCalls::readFile> read(
        [&](HANDLE handle, void*, DWORD, DWORD*, OVERLAPPED*) { cancelled = handle; });
    ASSERT_EQ(readThatTimesOut(pipe.end.get(), buffer), -3);
  }
  ASSERT_TRUE(::CancelIoEx(cancelled, nullptr));
  ASSERT_TRUE(pipe.peer.write("late answer"));
  const LogFile log;
  EXPECT_EQ(writeText(pipe.end.get(), "question"), 8);
  EXPECT_EQ(readText(pipe.end.get()), "late answer");
  EXPECT_EQ(log.text(), "");
}

TEST_F(PendingRead, APendingReadThatCannotBeCancelledFailsTheWriteAndStaysUnderWay) {
  const LogFile log;
  {
    const GivingCall<&WindowsCalls::cancelIo> cancel(FALSE, ERROR_GEN_FAILURE);
    EXPECT_EQ(writeText(end(), "question"), -1);
  }
  EXPECT_EQ(log.text(), errorEntry("pipe_write: data write error 31"));

  ASSERT_TRUE(pipe.peer.write("answer"));
  EXPECT_EQ(readText(end()), "answer");
}

TEST_F(PendingRead, APendingReadMakesAnAcceptWait) {
  const WatchedCall<&WindowsCalls::connectNamedPipe> connect;
  {
    const WaitsEndWith wait(WAIT_TIMEOUT);
    EXPECT_EQ(pipe_accept(end(), 7), -3);
    EXPECT_THAT(wait.milliseconds, ElementsAre(7000U));
  }
  EXPECT_EQ(connect.count(), 0);

  ASSERT_TRUE(pipe.peer.write("answer"));
  EXPECT_EQ(readText(end()), "answer");
}

TEST_F(PendingWrite, APendingWriteReachesThePeerAsItWasEvenIfTheCallerChangesItsBytes) {
  ConnectedServer other;
  std::string bytes = text;
  ASSERT_EQ(writeThatTimesOut(other.end.get(), bytes), -3);
  bytes.assign(bytes.size(), '!');
  EXPECT_EQ(other.peer.readExactly(text.size()), text);
}

TEST_F(PendingWrite, APendingWriteMakesTheNextOneWaitUntilItsOwnTimeRunsOut) {
  const LogFile log;
  {
    const WatchedCall<&WindowsCalls::writeFile> write;
    const WaitsEndWith wait(WAIT_TIMEOUT);
    EXPECT_EQ(writeText(end(), "next", 2), -3);
    EXPECT_THAT(wait.milliseconds, ElementsAre(2000U));
    EXPECT_EQ(write.count(), 0);
    EXPECT_EQ(log.text(), errorEntry("pipe_write: timeout"));
  }
  const ULONGLONG begin = ::GetTickCount64();
  EXPECT_EQ(writeText(end(), "next", 1), -3);
  EXPECT_GE(::GetTickCount64() - begin, 900U);
}

TEST_F(PendingWrite, APendingWriteIsFollowedByTheNextOneInOrderOnceThePeerReads) {
  std::string received;
  std::thread reading([&] { received = pipe.peer.readExactly(text.size() + 4); });
  EXPECT_EQ(writeText(end(), "next"), 4);
  reading.join();
  EXPECT_EQ(received, text + "next");
}

TEST_F(PendingWrite, APendingWriteThatHasEndedMeanwhileIsNotInTheWay) {
  ASSERT_TRUE(pipe.peer.write("answer"));
  ASSERT_EQ(pipe.peer.readExactly(text.size()), text);
  EXPECT_EQ(readText(end()), "answer");
  EXPECT_EQ(writeText(end(), "next"), 4);
  EXPECT_EQ(pipe.peer.readExactly(4), "next");
}

TEST_F(PendingWrite, APendingWriteMakesAFailedWaitTheNextOnesFailureAndLetsItBeCancelled) {
  const LogFile log;
  {
    const WaitsEndWith wait(WAIT_FAILED, ERROR_INVALID_HANDLE);
    EXPECT_EQ(writeText(end(), "next"), -1);
  }
  ::SetEvent(pipe_cancel_event(end()));
  EXPECT_EQ(writeText(end(), "next", 0), -4);
  EXPECT_EQ(log.text(), errorEntry("pipe_write: wait error 6"));
}

TEST_F(PendingWrite, APendingWriteMakesAReadWaitUntilItsOwnTimeRunsOut) {
  const LogFile log;
  const WatchedCall<&WindowsCalls::readFile> read;
  std::string buffer(16, '.');
  EXPECT_EQ(readThatTimesOut(end(), buffer), -3);
  EXPECT_EQ(read.count(), 0);
  EXPECT_EQ(log.text(), errorEntry("pipe_read: timeout"));
}

// The first wait is for the write that is in the way, the second one is for the new write.
TEST(PendingWriteInTheWay, APendingWriteAndTheNextOneShareItsTimeout) {
  struct Case {
    int timeoutSeconds;
    ULONGLONG taken;  // by the first wait
    DWORD first;
    DWORD second;
  };
  const std::string text = moreThanAPipeHolds();
  for (const Case& it : {Case{60, 100, 60000, 59900}, Case{1, 999, 1000, 1}, Case{1, 1000, 1000, 0},
                         Case{1, 8000, 1000, 0}, Case{0, 8000, INFINITE, INFINITE}}) {
    ConnectedServer pipe;
    ASSERT_EQ(writeThatTimesOut(pipe.end.get(), text), -3);
    ULONGLONG clock = 5000000000;
    const SubstitutedCall<&WindowsCalls::getTickCount> tickCount([&] { return clock; });
    std::vector<DWORD> waits;
    const SubstitutedCall<&WindowsCalls::waitForMultipleObjects> wait(
        [&](DWORD, const HANDLE*, BOOL, DWORD milliseconds) {
          waits.push_back(milliseconds);
          if (waits.size() > 1) {
            return DWORD{WAIT_TIMEOUT};
          }
          clock += it.taken;
          EXPECT_EQ(pipe.peer.readExactly(text.size()), text);
          return DWORD{WAIT_OBJECT_0};
        });
    EXPECT_EQ(writeText(pipe.end.get(), text, it.timeoutSeconds), -3);
    EXPECT_THAT(waits, ElementsAre(it.first, it.second));
  }
}

TEST_F(PendingAccept, APendingAcceptIsContinuedByTheNextOneHoweverOftenItTimesOutOrIsCancelled) {
  const WatchedCall<&WindowsCalls::connectNamedPipe> connect;
  const LogFile log;
  {
    const WaitsEndWith wait(WAIT_TIMEOUT);
    EXPECT_EQ(pipe_accept(pipe.get(), 4), -3);
    EXPECT_THAT(wait.milliseconds, ElementsAre(4000U));
  }
  ::SetEvent(pipe_cancel_event(pipe.get()));
  EXPECT_EQ(pipe_accept(pipe.get(), 0), -4);
  const RawPipe client = RawPipe::client(name);
  EXPECT_EQ(pipe_accept(pipe.get(), 5), 0);
  EXPECT_EQ(connect.count(), 0);
  EXPECT_EQ(log.text(), errorEntry("pipe_accept: timeout"));
  ASSERT_TRUE(client.write("hello"));
  EXPECT_EQ(readText(pipe.get()), "hello");
}

TEST_F(PendingAccept, APendingAcceptMakesAReadAndAWriteWaitForTheClient) {
  std::string buffer(16, '.');
  const LogFile log;
  EXPECT_EQ(readThatTimesOut(pipe.get(), buffer), -3);
  EXPECT_EQ(writeThatTimesOut(pipe.get(), "hello"), -3);
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_read: timeout").error("pipe_write: timeout").text());
  const RawPipe client = RawPipe::client(name);
  EXPECT_EQ(writeText(pipe.get(), "hello"), 5);
  EXPECT_EQ(client.readExactly(5), "hello");
  ASSERT_TRUE(client.write("hello"));
  EXPECT_EQ(readText(pipe.get()), "hello");
}

// The read begins only once the client has come, whose bytes it finds.
TEST_F(PendingAccept, APendingAcceptIsEndedByAReadOnceTheClientHasCome) {
  const RawPipe client = RawPipe::client(name);
  ASSERT_TRUE(client.write("hello"));
  EXPECT_EQ(readText(pipe.get()), "hello");
}

}  // namespace

}  // namespace kx
