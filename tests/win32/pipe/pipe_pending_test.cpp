// An operation that timed out stays pending: what the next ones on that end do with it, so that no byte is
// lost, comes twice or comes out of order, and nothing is written to a buffer that its caller has back.
#include "support/win32/debugger_lines.h"
#include "support/win32/helper_process.h"
#include "win32/pipe/pending_operations.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <string>
#include <thread>
#include <vector>

namespace kx {

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

TEST_F(PendingRead, IsContinuedByTheNextRead) {
  std::string buffer(16, '.');
  ASSERT_EQ(readThatTimesOut(end(), buffer), -3);
  ASSERT_TRUE(pipe.peer.write("late answer"));
  EXPECT_EQ(readText(end()), "late answer");
}

TEST_F(PendingRead, NeverTouchesTheBufferOfTheCallerThatTimedOut) {
  std::string buffer(16, '.');
  ASSERT_EQ(readThatTimesOut(end(), buffer), -3);
  ASSERT_TRUE(pipe.peer.write("late answer"));
  EXPECT_EQ(buffer, "................");
  EXPECT_EQ(readText(end()), "late answer");
  EXPECT_EQ(buffer, "................");
}

TEST_F(PendingRead, NeverTouchesTheBufferOfTheCallerThatWasCancelled) {
  std::string buffer(16, '.');
  ::SetEvent(pipe_cancel_event(end()));
  ASSERT_EQ(readWithin(end(), buffer, 0), -4);
  ASSERT_TRUE(pipe.peer.write("late answer"));
  EXPECT_EQ(buffer, "................");
  EXPECT_EQ(readText(end()), "late answer");
  EXPECT_EQ(buffer, "................");
}

TEST_F(PendingRead, IsTheOnlyOneHoweverOftenTheCallerTriesAgain) {
  SubstitutedCall<&WindowsCalls::readFile> read(
      [&](HANDLE handle, void* buffer, DWORD length, DWORD* count, OVERLAPPED* overlapped) {
        return read.real(handle, buffer, length, count, overlapped);
      });
  std::string buffer(16, '.');
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(readThatTimesOut(end(), buffer), -3);
  }
  ASSERT_TRUE(pipe.peer.write("one"));
  EXPECT_EQ(readText(end()), "one");
  EXPECT_EQ(read.count(), 1);
  ASSERT_TRUE(pipe.peer.write("two"));
  EXPECT_EQ(readText(end()), "two");
  EXPECT_EQ(read.count(), 2);
}

TEST_F(PendingRead, WaitsAgainWithTheNextCallersTimeout) {
  std::string buffer(16, '.');
  ASSERT_EQ(readThatTimesOut(end(), buffer), -3);
  std::vector<DWORD> waits;
  const SubstitutedCall<&WindowsCalls::waitForMultipleObjects> wait(
      [&](DWORD, const HANDLE*, BOOL, DWORD milliseconds) {
        waits.push_back(milliseconds);
        return DWORD{WAIT_TIMEOUT};
      });
  const LogFile log;
  EXPECT_EQ(readWithin(end(), buffer, 7), -3);
  EXPECT_THAT(waits, ElementsAre(7000U));
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_read: timeout").text());
}

TEST_F(PendingRead, GivesASmallerCallerAPartAndKeepsTheRestInOrder) {
  std::string buffer(16, '.');
  ASSERT_EQ(readThatTimesOut(end(), buffer), -3);
  ASSERT_TRUE(pipe.peer.write("0123456789"));
  ASSERT_TRUE(pipe.peer.write("abc"));
  std::string small(4, '.');
  EXPECT_EQ(readWithin(end(), small, 5), 4);
  EXPECT_EQ(small, "0123");
  EXPECT_EQ(readWithin(end(), small, 5), 4);
  EXPECT_EQ(small, "4567");
  EXPECT_EQ(readText(end()), "89");
  EXPECT_EQ(readText(end()), "abc");
}

TEST_F(PendingRead, OfAFewBytesLeavesTheOthersToTheNextOne) {
  std::string buffer(4, '.');
  ASSERT_EQ(readThatTimesOut(end(), buffer), -3);
  ASSERT_TRUE(pipe.peer.write("0123456789"));
  EXPECT_EQ(readText(end()), "0123");
  EXPECT_EQ(readText(end()), "456789");
}

TEST_F(PendingRead, WhoseOtherEndClosesIsTheEndForTheNextRead) {
  std::string buffer(16, '.');
  ASSERT_EQ(readThatTimesOut(end(), buffer), -3);
  pipe.peer.close();
  const LogFile log;
  EXPECT_EQ(readText(end()), "");
  EXPECT_EQ(log.text(), "");
}

TEST_F(PendingRead, IsEndedByAWrite) {
  const LogFile log;
  std::string buffer(16, '.');
  ASSERT_EQ(readThatTimesOut(end(), buffer), -3);
  const DebuggerLines debugger;
  EXPECT_EQ(writeText(end(), "question"), 8);
  EXPECT_EQ(pipe.peer.readExactly(8), "question");
  ASSERT_TRUE(pipe.peer.write("answer"));
  EXPECT_EQ(readText(end()), "answer");
  EXPECT_EQ(buffer, "................");
  EXPECT_THAT(debugger.lines(), IsEmpty());
}

TEST_F(PendingRead, ThatIsEndedByAWriteKeepsWhatItHasForTheNextRead) {
  std::string buffer(16, '.');
  ASSERT_EQ(readThatTimesOut(end(), buffer), -3);
  ASSERT_TRUE(pipe.peer.write("kept,"));
  EXPECT_EQ(writeText(end(), "question"), 8);
  ASSERT_TRUE(pipe.peer.write("later"));
  EXPECT_EQ(pipe.peer.readExactly(8), "question");
  EXPECT_EQ(readText(end()), "kept,");
  EXPECT_EQ(readText(end()), "later");
  EXPECT_EQ(buffer, "................");
}

TEST_F(PendingRead, ThatWasEndedKeepsItsBytesThroughSeveralWrites) {
  std::string buffer(16, '.');
  ASSERT_EQ(readThatTimesOut(end(), buffer), -3);
  ASSERT_TRUE(pipe.peer.write("0123456789"));
  EXPECT_EQ(writeText(end(), "a"), 1);
  EXPECT_EQ(writeText(end(), "b"), 1);
  EXPECT_EQ(readText(end(), 3), "012");
  EXPECT_EQ(writeText(end(), "c"), 1);
  EXPECT_EQ(readText(end()), "3456789");
  EXPECT_EQ(pipe.peer.readExactly(3), "abc");
}

TEST_F(PendingRead, IsCancelledAndWaitedForBeforeTheWriteBegins) {
  std::string buffer(16, '.');
  ASSERT_EQ(readThatTimesOut(end(), buffer), -3);
  std::vector<std::string> steps;
  SubstitutedCall<&WindowsCalls::cancelIo> cancel([&](HANDLE handle, OVERLAPPED* overlapped) {
    steps.push_back("cancel");
    EXPECT_NE(overlapped, nullptr);
    return cancel.real(handle, overlapped);
  });
  SubstitutedCall<&WindowsCalls::getOverlappedResult> result(
      [&](HANDLE handle, OVERLAPPED* overlapped, DWORD* count, BOOL waits) {
        steps.push_back(waits != FALSE ? "wait" : "look");
        return result.real(handle, overlapped, count, waits);
      });
  SubstitutedCall<&WindowsCalls::writeFile> write(
      [&](HANDLE handle, const void* bytes, DWORD length, DWORD* count, OVERLAPPED* overlapped) {
        steps.push_back("write");
        return write.real(handle, bytes, length, count, overlapped);
      });
  EXPECT_EQ(writeText(end(), "question"), 8);
  EXPECT_THAT(steps, ElementsAre("cancel", "wait", "write"));
}

// Windows cancels what a thread has under way when the thread ends.
TEST_F(PendingRead, ThatTheSystemHasCancelledLosesNothing) {
  HANDLE cancelled = nullptr;
  SubstitutedCall<&WindowsCalls::readFile> read(
      [&](HANDLE handle, void* buffer, DWORD length, DWORD* count, OVERLAPPED* overlapped) {
        cancelled = handle;
        return read.real(handle, buffer, length, count, overlapped);
      });
  std::string buffer(16, '.');
  ASSERT_EQ(readThatTimesOut(end(), buffer), -3);
  ASSERT_TRUE(::CancelIoEx(cancelled, nullptr));
  ASSERT_TRUE(pipe.peer.write("late answer"));
  const LogFile log;
  EXPECT_EQ(writeText(end(), "question"), 8);
  EXPECT_EQ(readText(end()), "late answer");
  EXPECT_EQ(log.text(), "");
}

TEST_F(PendingRead, ThatCannotBeCancelledFailsTheWrite) {
  std::string buffer(16, '.');
  ASSERT_EQ(readThatTimesOut(end(), buffer), -3);
  const LogFile log;
  {
    const SubstitutedCall<&WindowsCalls::cancelIo> cancel(
        [](HANDLE, OVERLAPPED*) { return failWith(ERROR_GEN_FAILURE, FALSE); });
    EXPECT_EQ(writeText(end(), "question"), -1);
  }
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_write: data write error 31").text());

  ASSERT_TRUE(pipe.peer.write("answer"));
  EXPECT_EQ(readText(end()), "answer") << "the read is still under way";
}

TEST_F(PendingWrite, ReachesThePeerAsItWasEvenIfTheCallerChangesItsBytes) {
  ConnectedServer other;
  std::string bytes = text;
  ASSERT_EQ(writeThatTimesOut(other.end.get(), bytes), -3);
  bytes.assign(bytes.size(), '!');
  EXPECT_EQ(other.peer.readExactly(text.size()), text);
}

TEST_F(PendingWrite, MakesTheNextOneWaitUntilItsOwnTimeRunsOut) {
  const LogFile log;
  SubstitutedCall<&WindowsCalls::writeFile> write(
      [&](HANDLE handle, const void* bytes, DWORD length, DWORD* count, OVERLAPPED* overlapped) {
        return write.real(handle, bytes, length, count, overlapped);
      });
  std::vector<DWORD> waits;
  const SubstitutedCall<&WindowsCalls::waitForMultipleObjects> wait(
      [&](DWORD, const HANDLE*, BOOL, DWORD milliseconds) {
        waits.push_back(milliseconds);
        return DWORD{WAIT_TIMEOUT};
      });
  EXPECT_EQ(writeText(end(), "next", 2), -3);
  EXPECT_THAT(waits, ElementsAre(2000U));
  EXPECT_EQ(write.count(), 0);
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_write: timeout").text());
}

TEST_F(PendingWrite, MakesTheNextOneWaitInRealTimeToo) {
  const LogFile log;
  const ULONGLONG begin = ::GetTickCount64();
  EXPECT_EQ(writeText(end(), "next", 1), -3);
  EXPECT_GE(::GetTickCount64() - begin, 900U);
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_write: timeout").text());
}

TEST_F(PendingWrite, IsFollowedByTheNextOneInOrderOnceThePeerReads) {
  std::string received;
  std::thread reading([&] { received = pipe.peer.readExactly(text.size() + 4); });
  EXPECT_EQ(writeText(end(), "next"), 4);
  reading.join();
  EXPECT_EQ(received, text + "next");
}

TEST_F(PendingWrite, ThatHasEndedMeanwhileIsNotInTheWay) {
  ASSERT_EQ(pipe.peer.readExactly(text.size()), text);
  EXPECT_EQ(writeText(end(), "next"), 4);
  EXPECT_EQ(pipe.peer.readExactly(4), "next");
}

TEST_F(PendingWrite, MakesAFailedWaitTheNextOnesFailure) {
  const LogFile log;
  const WaitsEndWith wait(WAIT_FAILED, ERROR_INVALID_HANDLE);
  EXPECT_EQ(writeText(end(), "next"), -1);
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_write: wait error 6").text());
}

TEST_F(PendingWrite, LetsTheNextOneBeCancelled) {
  const LogFile log;
  ::SetEvent(pipe_cancel_event(end()));
  EXPECT_EQ(writeText(end(), "next", 0), -4);
  EXPECT_EQ(log.text(), "");
}

TEST_F(PendingWrite, MakesAReadWaitUntilItsOwnTimeRunsOut) {
  const LogFile log;
  SubstitutedCall<&WindowsCalls::readFile> read(
      [&](HANDLE handle, void* buffer, DWORD length, DWORD* count, OVERLAPPED* overlapped) {
        return read.real(handle, buffer, length, count, overlapped);
      });
  std::string buffer(16, '.');
  EXPECT_EQ(readThatTimesOut(end(), buffer), -3);
  EXPECT_EQ(read.count(), 0);
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_read: timeout").text());
}

TEST_F(PendingWrite, IsFollowedByAReadOnceThePeerHasReadIt) {
  ASSERT_TRUE(pipe.peer.write("answer"));
  ASSERT_EQ(pipe.peer.readExactly(text.size()), text);
  EXPECT_EQ(readText(end()), "answer");
}

// The first wait is for the write that is in the way and takes this many milliseconds, the second one is for
// the new write: both share one time-out. Gives how long each may last.
class PendingWriteInTheWay : public PendingWrite {
 protected:
  std::vector<DWORD> waitsOfAWrite(int timeoutSeconds, ULONGLONG taken) {
    ULONGLONG clock = 5000000000;
    const SubstitutedCall<&WindowsCalls::getTickCount> tickCount([&] { return clock; });
    std::vector<DWORD> waits;
    SubstitutedCall<&WindowsCalls::waitForMultipleObjects> wait(
        [&](DWORD, const HANDLE*, BOOL, DWORD milliseconds) {
          waits.push_back(milliseconds);
          if (wait.count() == 1) {
            clock += taken;
            EXPECT_EQ(pipe.peer.readExactly(text.size()), text);
            return DWORD{WAIT_OBJECT_0};
          }
          return DWORD{WAIT_TIMEOUT};
        });
    EXPECT_EQ(writeText(end(), text, timeoutSeconds), -3);
    return waits;
  }
};

TEST_F(PendingWriteInTheWay, UsesUpTheTimeOfTheNextOne) {
  EXPECT_THAT(waitsOfAWrite(60, 100), ElementsAre(60000U, 59900U));
}

TEST_F(PendingWriteInTheWay, LeavesTheNextOneTheLastMillisecond) {
  EXPECT_THAT(waitsOfAWrite(1, 999), ElementsAre(1000U, 1U));
}

TEST_F(PendingWriteInTheWay, ThatUsesUpAllOfTheTimeLeavesNoneForTheNextOne) {
  EXPECT_THAT(waitsOfAWrite(1, 1000), ElementsAre(1000U, 0U));
}

TEST_F(PendingWriteInTheWay, ThatTakesLongerLeavesNoneEither) {
  EXPECT_THAT(waitsOfAWrite(1, 8000), ElementsAre(1000U, 0U));
}

TEST_F(PendingWriteInTheWay, LeavesATimeForEverAsItIs) {
  EXPECT_THAT(waitsOfAWrite(0, 8000), ElementsAre(INFINITE, INFINITE));
}

TEST_F(PendingAccept, IsContinuedByTheNextAccept) {
  SubstitutedCall<&WindowsCalls::connectNamedPipe> connect(
      [&](HANDLE handle, OVERLAPPED* overlapped) { return connect.real(handle, overlapped); });
  const RawPipe client = RawPipe::client(name);
  const LogFile log;
  EXPECT_EQ(pipe_accept(pipe.get(), 5), 0);
  EXPECT_EQ(connect.count(), 0);
  EXPECT_EQ(log.text(), "");
  ASSERT_TRUE(client.write("hello"));
  EXPECT_EQ(readText(pipe.get()), "hello");
}

TEST_F(PendingAccept, MayTimeOutAgain) {
  std::vector<DWORD> waits;
  {
    const SubstitutedCall<&WindowsCalls::waitForMultipleObjects> wait(
        [&](DWORD, const HANDLE*, BOOL, DWORD milliseconds) {
          waits.push_back(milliseconds);
          return DWORD{WAIT_TIMEOUT};
        });
    const LogFile log;
    EXPECT_EQ(pipe_accept(pipe.get(), 4), -3);
    EXPECT_EQ(log.text(), ExpectedLog().error("pipe_accept: timeout").text());
  }
  EXPECT_THAT(waits, ElementsAre(4000U));
  const RawPipe client = RawPipe::client(name);
  EXPECT_EQ(pipe_accept(pipe.get(), 5), 0);
}

TEST_F(PendingAccept, MakesAReadWaitForTheClient) {
  std::string buffer(16, '.');
  const LogFile log;
  EXPECT_EQ(readThatTimesOut(pipe.get(), buffer), -3);
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_read: timeout").text());
  const RawPipe client = RawPipe::client(name);
  ASSERT_TRUE(client.write("hello"));
  EXPECT_EQ(readText(pipe.get()), "hello");
}

TEST_F(PendingAccept, MakesAWriteWaitForTheClient) {
  const LogFile log;
  EXPECT_EQ(writeThatTimesOut(pipe.get(), "hello"), -3);
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_write: timeout").text());
  const RawPipe client = RawPipe::client(name);
  EXPECT_EQ(writeText(pipe.get(), "hello"), 5);
  EXPECT_EQ(client.readExactly(5), "hello");
}

TEST_F(PendingAccept, ThatWasCancelledIsContinuedToo) {
  ::SetEvent(pipe_cancel_event(pipe.get()));
  EXPECT_EQ(pipe_accept(pipe.get(), 0), -4);
  const RawPipe client = RawPipe::client(name);
  EXPECT_EQ(pipe_accept(pipe.get(), 5), 0);
}

}  // namespace

}  // namespace kx
