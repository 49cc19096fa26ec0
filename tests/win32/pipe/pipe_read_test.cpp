// pipe_read(): what a caller gets, how the end of the stream looks, and each way to fail.
#include "support/win32/debugger_lines.h"
#include "win32/pipe/pipe_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <algorithm>
#include <string>

namespace kx {

using testing::IsEmpty;

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

// GetOverlappedResult tells of so many bytes and ends in the given way.
SubstitutedCall<&WindowsCalls::getOverlappedResult> resultIs(DWORD bytes, BOOL result, DWORD error) {
  return SubstitutedCall<&WindowsCalls::getOverlappedResult>(
      [=](HANDLE, OVERLAPPED*, DWORD* count, BOOL waits) {
        EXPECT_EQ(waits, FALSE);
        *count = bytes;
        return failWith(error, result);
      });
}

TEST_F(PipeRead, BytesThatAreThereAlreadyAreGivenAtOnce) {
  ASSERT_TRUE(pipe.peer.write("hello"));
  std::string buffer(8, '.');
  EXPECT_EQ(readWithin(end(), buffer, 5), 5);
  EXPECT_EQ(buffer, "hello...");
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeRead, BytesThatComeDuringTheWaitAreGiven) {
  SubstitutedCall<&WindowsCalls::waitForMultipleObjects> wait(
      [&](DWORD count, const HANDLE* events, BOOL forAll, DWORD milliseconds) {
        pipe.peer.write("hello");
        return wait.real(count, events, forAll, milliseconds);
      });
  std::string buffer(8, '.');
  EXPECT_EQ(readWithin(end(), buffer, 5), 5);
  EXPECT_EQ(buffer, "hello...");
  EXPECT_EQ(wait.count(), 1);
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeRead, AClientEndReadsToo) {
  const ConnectedClient client;
  ASSERT_TRUE(client.peer.write("hello"));
  EXPECT_EQ(readText(client.end.get()), "hello");
}

TEST_F(PipeRead, ZeroBytesAmongOthersAreBytesLikeAnyOther) {
  const std::string bytes("a\0b\0", 4);
  ASSERT_TRUE(pipe.peer.write(bytes));
  EXPECT_EQ(readText(end()), bytes);
}

TEST_F(PipeRead, WhatDoesNotFitIsLeftForTheNextRead) {
  ASSERT_TRUE(pipe.peer.write("0123456789"));
  EXPECT_EQ(readText(end(), 4), "0123");
  EXPECT_EQ(readText(end(), 5), "45678");
  EXPECT_EQ(readText(end(), 5), "9");
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeRead, AReadAsksForExactlyTheCallersLength) {
  DWORD asked = 0;
  SubstitutedCall<&WindowsCalls::readFile> read(
      [&](HANDLE handle, void* buffer, DWORD length, DWORD* count, OVERLAPPED* overlapped) {
        asked = length;
        return read.real(handle, buffer, length, count, overlapped);
      });
  ASSERT_TRUE(pipe.peer.write("hello"));
  EXPECT_EQ(readText(end(), 4096), "hello");
  EXPECT_EQ(asked, 4096U);
  ASSERT_TRUE(pipe.peer.write("hello"));
  EXPECT_EQ(readText(end(), 7), "hello");
  EXPECT_EQ(asked, 7U);
}

TEST_F(PipeRead, MoreDataThanFitsIsSuccess) {
  const auto read = readGives("0123456789", FALSE, ERROR_MORE_DATA);
  EXPECT_EQ(readText(end(), 4), "0123");
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeRead, MoreDataThanFitsAfterAWaitIsSuccess) {
  const auto read = readGives("01234567", FALSE, ERROR_IO_PENDING);
  const auto result = resultIs(4, FALSE, ERROR_MORE_DATA);
  const WaitsEndWith wait(WAIT_OBJECT_0);
  EXPECT_EQ(readText(end(), 8), "0123");
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeRead, OnlyTheBytesThatCameReachTheBuffer) {
  const auto read = readGives("0123456789", FALSE, ERROR_IO_PENDING);
  const auto result = resultIs(3, TRUE, ERROR_SUCCESS);
  const WaitsEndWith wait(WAIT_OBJECT_0);
  std::string buffer(8, '.');
  EXPECT_EQ(readWithin(end(), buffer, 5), 3);
  EXPECT_EQ(buffer, "012.....");
}

TEST_F(PipeRead, AClosedOtherEndIsTheEndWithoutAMessage) {
  pipe.peer.close();
  std::string buffer(8, '.');
  EXPECT_EQ(readWithin(end(), buffer, 5), 0);
  EXPECT_EQ(buffer, "........");
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeRead, WhatWasWrittenBeforeTheOtherEndClosedIsStillRead) {
  ASSERT_TRUE(pipe.peer.write("last words"));
  pipe.peer.close();
  EXPECT_EQ(readText(end()), "last words");
  EXPECT_EQ(readText(end()), "");
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeRead, AnOtherEndThatClosesDuringTheReadIsTheEndWithoutAMessage) {
  SubstitutedCall<&WindowsCalls::waitForMultipleObjects> wait(
      [&](DWORD count, const HANDLE* events, BOOL forAll, DWORD milliseconds) {
        pipe.peer.close();
        return wait.real(count, events, forAll, milliseconds);
      });
  EXPECT_EQ(readText(end()), "");
  EXPECT_EQ(wait.count(), 1);
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeRead, ADisconnectedClientEndIsTheEndWithoutAMessage) {
  const ConnectedClient client;
  client.peer.disconnect();
  EXPECT_EQ(readText(client.end.get()), "");
  EXPECT_EQ(log.text(), "");
}

class PipeReadEnd : public PipeRead, public testing::WithParamInterface<DWORD> {};

TEST_P(PipeReadEnd, IsToldByZeroWithoutAMessage) {
  const auto read = readGives("bytes that do not count", FALSE, GetParam());
  EXPECT_EQ(readText(end()), "");
  EXPECT_EQ(log.text(), "");
}

INSTANTIATE_TEST_SUITE_P(NotConnectedOrBroken, PipeReadEnd, testing::Values(233U, 109U));

TEST_F(PipeRead, AnyErrorThatEndsAWaitedForReadIsTheEnd) {
  const auto read = readGives("bytes that do not count", FALSE, ERROR_IO_PENDING);
  const auto result = resultIs(5, FALSE, ERROR_ACCESS_DENIED);
  const WaitsEndWith wait(WAIT_OBJECT_0);
  EXPECT_EQ(readText(end()), "");
  EXPECT_EQ(log.text(), "");
}

TEST_F(PipeRead, AnyOtherErrorOfTheCallIsLogged) {
  const auto read = readGives("", FALSE, ERROR_ACCESS_DENIED);
  EXPECT_EQ(readText(end()), "failed: -1");
  EXPECT_EQ(::GetLastError(), 5U);
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_read: read error 5").text());
}

TEST_F(PipeRead, AnEndWithoutAClientCannotBeRead) {
  const UniquePipe lonely(pipe_create(uniquePipeName().c_str()));
  EXPECT_EQ(readText(lonely.get()), "failed: -1");
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_PIPE_LISTENING});
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_read: read error 536").text());
}

TEST_F(PipeRead, ATimeoutThatPassesIsLogged) {
  std::string buffer(8, '.');
  const ULONGLONG begin = ::GetTickCount64();
  EXPECT_EQ(readWithin(end(), buffer, 1), -3);
  EXPECT_GE(::GetTickCount64() - begin, 900U);
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_read: timeout").text());
}

TEST_F(PipeRead, AFailedWaitIsLogged) {
  const WaitsEndWith wait(WAIT_FAILED, ERROR_INVALID_HANDLE);
  EXPECT_EQ(readText(end()), "failed: -1");
  EXPECT_EQ(::GetLastError(), 6U);
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_read: wait error 6").text());
}

TEST_F(PipeRead, AnyOtherResultOfTheWaitIsAFailedWait) {
  const WaitsEndWith wait(WAIT_ABANDONED_0, ERROR_GEN_FAILURE);
  EXPECT_EQ(readText(end()), "failed: -1");
  EXPECT_EQ(log.text(), ExpectedLog().error("pipe_read: wait error 31").text());
}

TEST_F(PipeRead, BadArgumentsAreRefusedWithoutAMessage) {
  const DebuggerLines debugger;
  char buffer[4] = {};
  ::SetLastError(0);
  EXPECT_EQ(pipe_read(nullptr, buffer, 4, 1), -1);
  EXPECT_EQ(::GetLastError(), 160U);
  ::SetLastError(0);
  EXPECT_EQ(pipe_read(end(), nullptr, 4, 1), -1);
  EXPECT_EQ(::GetLastError(), 160U);
  ::SetLastError(0);
  EXPECT_EQ(pipe_read(end(), buffer, -1, 1), -1);
  EXPECT_EQ(::GetLastError(), 160U);
  EXPECT_THAT(debugger.lines(), IsEmpty());
}

TEST_F(PipeRead, ALengthOfZeroIsNoBadArgument) {
  const auto read = readGives("", TRUE, ERROR_SUCCESS);
  char buffer[1] = {};
  EXPECT_EQ(pipe_read(end(), buffer, 0, 1), 0);
  EXPECT_EQ(read.count(), 1);
}

}  // namespace

}  // namespace kx
