// pipe_write(): what reaches the peer, and each way to fail.
#include "win32/pipe/pipe_test.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <string>
#include <thread>

namespace kx {

namespace {

class PipeWrite : public testing::Test {
 protected:
  pipe_handle* end() const { return pipe.end.get(); }

  ConnectedServer pipe;
  LogFile log;
};

// WriteFile takes so many bytes and ends in the given way.
SubstitutedCall<&WindowsCalls::writeFile> writeTakes(DWORD bytes, BOOL result, DWORD error) {
  return SubstitutedCall<&WindowsCalls::writeFile>(
      [=](HANDLE, const void*, DWORD, DWORD* count, OVERLAPPED* overlapped) {
        EXPECT_EQ(*count, 0U);
        EXPECT_NE(overlapped, nullptr);
        *count = bytes;
        return failWith(error, result);
      });
}

TEST_F(PipeWrite, AWriteWritesWhatTheBuffersHoldAtOnce) {
  const std::string bytes("a\0b", 3);
  EXPECT_EQ(writeText(end(), bytes), 3);
  EXPECT_EQ(writeText(end(), ""), 0);
  EXPECT_EQ(writeText(end(), "two"), 3);
  EXPECT_EQ(pipe.peer.readExactly(6), bytes + "two");
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeWrite, AWriteIsForClientEndsToo) {
  const ConnectedClient client;
  EXPECT_EQ(writeText(client.end.get(), "hello"), 5);
  EXPECT_EQ(client.peer.readExactly(5), "hello");
}

TEST_F(PipeWrite, AWriteOfMoreThanTheBuffersHoldWaitsForThePeerToRead) {
  const std::string text = moreThanAPipeHolds();
  std::string received;
  std::thread reading;
  const WatchedWait wait(
      [&](auto...) { reading = std::thread([&] { received = pipe.peer.readExactly(text.size()); }); });
  const int written = writeText(end(), text);
  ASSERT_EQ(wait.count(), 1);
  reading.join();
  EXPECT_EQ(written, static_cast<int>(text.size()));
  EXPECT_EQ(received, text);
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeWrite, AWriteThatIsShortGivesTheBytesTaken) {
  const auto write = writeTakes(3, TRUE, ERROR_SUCCESS);
  EXPECT_EQ(writeText(end(), "hello"), 3);
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeWrite, AWriteThatIsShortAfterAWaitGivesTheBytesTaken) {
  const auto write = writeTakes(0, FALSE, ERROR_IO_PENDING);
  const SubstitutedCall<&WindowsCalls::getOverlappedResult> result(
      [](HANDLE, OVERLAPPED*, DWORD* count, BOOL waits) {
        EXPECT_EQ(waits, FALSE);
        *count = 2;
        return TRUE;
      });
  const WaitsEndWith wait(WAIT_OBJECT_0);
  EXPECT_EQ(writeText(end(), "hello"), 2);
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeWrite, AWriteThatFailsIsLogged) {
  const auto write = writeTakes(0, FALSE, ERROR_ACCESS_DENIED);
  EXPECT_EQ(writeText(end(), "hello"), -1);
  EXPECT_EQ(::GetLastError(), 5U);
  EXPECT_EQ(log.text(), errorEntry("pipe_write: data write error 5"));
}

TEST_F(PipeWrite, AWriteToAPeerThatHasClosedIsAFailure) {
  pipe.peer.close();
  EXPECT_EQ(writeText(end(), "hello"), -1);
  const DWORD error = ::GetLastError();
  EXPECT_NE(error, 0U);
  EXPECT_EQ(log.text(), errorEntry("pipe_write: data write error " + std::to_string(error)));
}

TEST_F(PipeWrite, AWriteThatFailsDuringTheWaitIsLogged) {
  const auto write = writeTakes(0, FALSE, ERROR_IO_PENDING);
  const GivingCall<&WindowsCalls::getOverlappedResult> result(FALSE, ERROR_BROKEN_PIPE);
  const WaitsEndWith wait(WAIT_OBJECT_0);
  EXPECT_EQ(writeText(end(), "hello"), -1);
  EXPECT_EQ(::GetLastError(), 109U);
  EXPECT_EQ(log.text(), errorEntry("pipe_write: get data error 109"));
}

TEST_F(PipeWrite, AWriteToAPeerThatClosesDuringTheWaitIsAFailure) {
  const WatchedWait wait([&](auto...) { pipe.peer.close(); });
  EXPECT_EQ(writeText(end(), moreThanAPipeHolds()), -1);
  EXPECT_EQ(wait.count(), 1);
  const std::string error = std::to_string(::GetLastError());
  EXPECT_EQ(log.text(), errorEntry("pipe_write: get data error " + error));
}

TEST_F(PipeWrite, AWriteLastsItsTimeoutWhichIsLogged) {
  const ULONGLONG begin = ::GetTickCount64();
  EXPECT_EQ(writeText(end(), moreThanAPipeHolds(), 1), -3);
  EXPECT_GE(::GetTickCount64() - begin, 900U);
  EXPECT_EQ(log.text(), errorEntry("pipe_write: timeout"));
}

TEST_F(PipeWrite, AWriteWhoseWaitFailsIsLogged) {
  for (const DWORD result : {WAIT_FAILED, DWORD{WAIT_ABANDONED_0}}) {
    const WaitsEndWith wait(result, ERROR_INVALID_HANDLE);
    EXPECT_EQ(writeText(end(), moreThanAPipeHolds()), -1);
    EXPECT_EQ(::GetLastError(), 6U);
    EXPECT_EQ(log.text(), errorEntry("pipe_write: wait error 6"));
    log.clear();
  }
}

}  // namespace

}  // namespace kx
