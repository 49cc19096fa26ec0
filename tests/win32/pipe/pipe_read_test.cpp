// pipe_read(): what a caller gets, how the end of the stream looks, and each way to fail.
#include "win32/pipe/pipe_test.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <algorithm>
#include <string>

namespace kx {

namespace {

class PipeRead : public testing::Test {
 protected:
  pipe_handle* end() const { return pipe.end.get(); }

  ConnectedServer pipe;
  LogFile log;
};

// ReadFile puts the bytes into the buffer and ends in the given way.
SubstitutedCall<&WindowsCalls::readFile> readGives(const std::string& bytes, BOOL result, DWORD error) {
  return SubstitutedCall<&WindowsCalls::readFile>(
      [=](HANDLE, void* buffer, DWORD length, DWORD* count, OVERLAPPED* overlapped) {
        EXPECT_EQ(*count, 0U);
        EXPECT_NE(overlapped, nullptr);
        *count = static_cast<DWORD>(std::min<std::size_t>(bytes.size(), length));
        std::copy_n(bytes.begin(), *count, static_cast<char*>(buffer));
        return failWith(error, result);
      });
}

// A read that had to wait tells of so many bytes and ends in the given way.
class WaitedForRead {
 public:
  WaitedForRead(const std::string& bytes, DWORD count, BOOL result, DWORD error)
      : read_(readGives(bytes, FALSE, ERROR_IO_PENDING)),
        result_([=](HANDLE, OVERLAPPED*, DWORD* told, BOOL waits) {
          EXPECT_EQ(waits, FALSE);
          *told = count;
          return failWith(error, result);
        }),
        wait_(WAIT_OBJECT_0) {}

 private:
  SubstitutedCall<&WindowsCalls::readFile> read_;
  SubstitutedCall<&WindowsCalls::getOverlappedResult> result_;
  WaitsEndWith wait_;
};

TEST_F(PipeRead, AReadGivesBytesThatAreThereAlreadyAtOnce) {
  const std::string bytes("a\0b\0", 4);
  ASSERT_TRUE(pipe.peer.write(bytes));
  std::string buffer(8, '.');
  EXPECT_EQ(readWithin(end(), buffer, 5), 4);
  EXPECT_EQ(buffer, bytes + "....");
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeRead, AReadGivesBytesThatComeDuringTheWait) {
  const WatchedWait wait([&](auto...) { pipe.peer.write("hello"); });
  std::string buffer(8, '.');
  EXPECT_EQ(readWithin(end(), buffer, 5), 5);
  EXPECT_EQ(buffer, "hello...");
  EXPECT_EQ(wait.count(), 1);
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeRead, AReadIsForClientEndsToo) {
  const ConnectedClient client;
  ASSERT_TRUE(client.peer.write("hello"));
  EXPECT_EQ(readText(client.end.get()), "hello");
}

TEST_F(PipeRead, AReadLeavesWhatDoesNotFitForTheNextRead) {
  ASSERT_TRUE(pipe.peer.write("0123456789"));
  EXPECT_EQ(readText(end(), 4), "0123");
  EXPECT_EQ(readText(end(), 5), "45678");
  EXPECT_EQ(readText(end(), 5), "9");
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeRead, AReadAsksForExactlyTheCallersLength) {
  DWORD asked = 99;
  const WatchedCall<&WindowsCalls::readFile> read(
      [&](HANDLE, void*, DWORD length, DWORD*, OVERLAPPED*) { asked = length; });
  for (const std::size_t size : {4096U, 7U}) {
    ASSERT_TRUE(pipe.peer.write("hello"));
    EXPECT_EQ(readText(end(), size), "hello");
    EXPECT_EQ(asked, size);
  }
}

TEST_F(PipeRead, AReadMayAskForNothing) {
  const auto read = readGives("", TRUE, ERROR_SUCCESS);
  char buffer[1] = {};
  EXPECT_EQ(pipe_read(end(), buffer, 0, 1), 0);
  EXPECT_EQ(read.count(), 1);
}

TEST_F(PipeRead, AReadSucceedsWhenThereAreMoreDataThanFit) {
  {
    const auto read = readGives("0123456789", FALSE, ERROR_MORE_DATA);
    EXPECT_EQ(readText(end(), 4), "0123");
  }
  const WaitedForRead read("01234567", 4, FALSE, ERROR_MORE_DATA);
  EXPECT_EQ(readText(end(), 8), "0123");
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeRead, AReadWritesOnlyTheBytesThatCameToTheBuffer) {
  const WaitedForRead read("0123456789", 3, TRUE, ERROR_SUCCESS);
  std::string buffer(8, '.');
  EXPECT_EQ(readWithin(end(), buffer, 5), 3);
  EXPECT_EQ(buffer, "012.....");
}

TEST_F(PipeRead, AReadGivesWhatWasWrittenBeforeTheOtherEndClosedAndThenTheEndWithoutAMessage) {
  ASSERT_TRUE(pipe.peer.write("last words"));
  pipe.peer.close();
  EXPECT_EQ(readText(end()), "last words");
  std::string buffer(8, '.');
  EXPECT_EQ(readWithin(end(), buffer, 5), 0);
  EXPECT_EQ(buffer, "........");
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeRead, AReadGivesTheEndWhenTheOtherEndClosesDuringTheWait) {
  const WatchedWait wait([&](auto...) { pipe.peer.close(); });
  EXPECT_EQ(readText(end()), "");
  EXPECT_EQ(wait.count(), 1);
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeRead, AReadGivesTheEndToAClientThatWasDisconnected) {
  const ConnectedClient client;
  client.peer.disconnect();
  EXPECT_EQ(readText(client.end.get()), "");
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeRead, AReadGivesTheEndForAPipeThatIsNotConnectedOrBroken) {
  for (const DWORD error : {233U, 109U}) {
    const auto read = readGives("bytes that do not count", FALSE, error);
    EXPECT_EQ(readText(end()), "") << error;
  }
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeRead, AReadGivesTheEndForAnyErrorThatEndsAReadThatHadToWait) {
  const WaitedForRead read("bytes that do not count", 5, FALSE, ERROR_ACCESS_DENIED);
  EXPECT_EQ(readText(end()), "");
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeRead, AReadThatFailsOtherwiseIsLogged) {
  const auto read = readGives("", FALSE, ERROR_ACCESS_DENIED);
  EXPECT_EQ(readText(end()), "failed: -1");
  EXPECT_EQ(::GetLastError(), 5U);
  EXPECT_EQ(log.text(), errorEntry("pipe_read: read error 5"));
}

TEST_F(PipeRead, AReadFailsOnAnEndWithoutAClient) {
  const UniquePipe lonely(pipe_create(uniquePipeName().c_str()));
  EXPECT_EQ(readText(lonely.get()), "failed: -1");
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_PIPE_LISTENING});
  EXPECT_EQ(log.text(), errorEntry("pipe_read: read error 536"));
}

TEST_F(PipeRead, AReadLastsItsTimeoutWhichIsLogged) {
  std::string buffer(8, '.');
  const ULONGLONG begin = ::GetTickCount64();
  EXPECT_EQ(readWithin(end(), buffer, 1), -3);
  EXPECT_GE(::GetTickCount64() - begin, 900U);
  EXPECT_EQ(log.text(), errorEntry("pipe_read: timeout"));
}

TEST_F(PipeRead, AReadWhoseWaitFailsIsLogged) {
  for (const DWORD result : {WAIT_FAILED, DWORD{WAIT_ABANDONED_0}}) {
    const WaitsEndWith wait(result, ERROR_INVALID_HANDLE);
    EXPECT_EQ(readText(end()), "failed: -1");
    EXPECT_EQ(::GetLastError(), 6U);
    EXPECT_EQ(log.text(), errorEntry("pipe_read: wait error 6"));
    log.clear();
  }
}

}  // namespace

}  // namespace kx
