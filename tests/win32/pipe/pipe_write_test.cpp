// pipe_write(): what reaches the peer, and each way to fail.
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

TEST_F(PipeWrite, WhatTheBuffersHoldIsWrittenAtOnce) {
  const std::string bytes("a\0b", 3);
  EXPECT_EQ(writeText(end(), bytes), 3);
  EXPECT_EQ(pipe.peer.readExactly(3), bytes);
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeWrite, AClientEndWritesToo) {
  const ConnectedClient client;
  EXPECT_EQ(writeText(client.end.get(), "hello"), 5);
  EXPECT_EQ(client.peer.readExactly(5), "hello");
}

TEST_F(PipeWrite, MoreThanTheBuffersHoldWaitsForThePeerToRead) {
  const std::string text = moreThanAPipeHolds();
  std::string received;
  std::thread reading;
  SubstitutedCall<&WindowsCalls::waitForMultipleObjects> wait(
      [&](DWORD count, const HANDLE* events, BOOL forAll, DWORD milliseconds) {
        reading = std::thread([&] { received = pipe.peer.readExactly(text.size()); });
        return wait.real(count, events, forAll, milliseconds);
      });
  const int written = writeText(end(), text);
  ASSERT_EQ(wait.count(), 1);
  reading.join();
  EXPECT_EQ(written, static_cast<int>(text.size()));
  EXPECT_EQ(received, text);
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeWrite, OneWriteFollowsAnother) {
  EXPECT_EQ(writeText(end(), "one,"), 4);
  EXPECT_EQ(writeText(end(), "two"), 3);
  EXPECT_EQ(pipe.peer.readExactly(7), "one,two");
}

TEST_F(PipeWrite, NothingCanBeWrittenToo) {
  EXPECT_EQ(writeText(end(), ""), 0);
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeWrite, AShortWriteGivesTheBytesTaken) {
  const auto write = writeTakes(3, TRUE, ERROR_SUCCESS);
  EXPECT_EQ(writeText(end(), "hello"), 3);
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeWrite, AShortWriteAfterAWaitGivesTheBytesTaken) {
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

TEST_F(PipeWrite, AFailedCallIsLogged) {
  const auto write = writeTakes(0, FALSE, ERROR_ACCESS_DENIED);
  EXPECT_EQ(writeText(end(), "hello"), -1);
  EXPECT_EQ(::GetLastError(), 5U);
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_write: data write error 5").text());
}

TEST_F(PipeWrite, APeerThatHasClosedIsAFailure) {
  pipe.peer.close();
  EXPECT_EQ(writeText(end(), "hello"), -1);
  const std::string error = std::to_string(::GetLastError());
  EXPECT_NE(error, "0");
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_write: data write error " + error).text());
}

TEST_F(PipeWrite, AWriteThatFailsDuringTheWaitIsLogged) {
  const auto write = writeTakes(0, FALSE, ERROR_IO_PENDING);
  const SubstitutedCall<&WindowsCalls::getOverlappedResult> result(
      [](HANDLE, OVERLAPPED*, DWORD*, BOOL) { return failWith(ERROR_BROKEN_PIPE, FALSE); });
  const WaitsEndWith wait(WAIT_OBJECT_0);
  EXPECT_EQ(writeText(end(), "hello"), -1);
  EXPECT_EQ(::GetLastError(), 109U);
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_write: get data error 109").text());
}

TEST_F(PipeWrite, APeerThatClosesDuringTheWaitIsAFailure) {
  SubstitutedCall<&WindowsCalls::waitForMultipleObjects> wait(
      [&](DWORD count, const HANDLE* events, BOOL forAll, DWORD milliseconds) {
        pipe.peer.close();
        return wait.real(count, events, forAll, milliseconds);
      });
  EXPECT_EQ(writeText(end(), moreThanAPipeHolds()), -1);
  EXPECT_EQ(wait.count(), 1);
  const std::string error = std::to_string(::GetLastError());
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_write: get data error " + error).text());
}

TEST_F(PipeWrite, ATimeoutThatPassesIsLogged) {
  const ULONGLONG begin = ::GetTickCount64();
  EXPECT_EQ(writeText(end(), moreThanAPipeHolds(), 1), -3);
  EXPECT_GE(::GetTickCount64() - begin, 900U);
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_write: timeout").text());
}

TEST_F(PipeWrite, AFailedWaitIsLogged) {
  const WaitsEndWith wait(WAIT_FAILED, ERROR_INVALID_HANDLE);
  EXPECT_EQ(writeText(end(), moreThanAPipeHolds()), -1);
  EXPECT_EQ(::GetLastError(), 6U);
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_write: wait error 6").text());
}

TEST_F(PipeWrite, AnyOtherResultOfTheWaitIsAFailedWait) {
  const WaitsEndWith wait(WAIT_ABANDONED_0, ERROR_GEN_FAILURE);
  EXPECT_EQ(writeText(end(), moreThanAPipeHolds()), -1);
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_write: wait error 31").text());
}

TEST_F(PipeWrite, BadArgumentsAreRefusedWithoutAMessage) {
  const DebuggerLines debugger;
  ::SetLastError(0);
  EXPECT_EQ(pipe_write(nullptr, "text", 4, 1), -1);
  EXPECT_EQ(::GetLastError(), 160U);
  ::SetLastError(0);
  EXPECT_EQ(pipe_write(end(), nullptr, 4, 1), -1);
  EXPECT_EQ(::GetLastError(), 160U);
  ::SetLastError(0);
  EXPECT_EQ(pipe_write(end(), "text", -1, 1), -1);
  EXPECT_EQ(::GetLastError(), 160U);
  EXPECT_THAT(debugger.lines(), IsEmpty());
}

}  // namespace

}  // namespace kx
