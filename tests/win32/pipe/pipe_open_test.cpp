// pipe_open(): the arguments of its Windows calls, its patience with a busy pipe, and each way to fail.
#include "support/win32/debugger_lines.h"
#include "support/win32/helper_process.h"
#include "win32/pipe/pipe_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace kx {

namespace {

// CreateFileW fails with each of the errors in turn and then goes through, to a pipe that is served.
class PipeOpen : public testing::Test {
 protected:
  pipe_handle* openAfter(const std::vector<DWORD>& errors) {
    SubstitutedCall<&WindowsCalls::createFile> create([&](auto... arguments) {
      const auto call = static_cast<std::size_t>(create.count() - 1);
      opened =
          call < errors.size() ? failWith(errors[call], INVALID_HANDLE_VALUE) : create.real(arguments...);
      return opened;
    });
    pipe_handle* const pipe = pipe_open(name.c_str());
    EXPECT_EQ(static_cast<std::size_t>(create.count()), errors.size() + (pipe != nullptr ? 1 : 0));
    return pipe;
  }

  const std::string name = uniquePipeName();
  const RawPipe server = RawPipe::server(name, 1);
  HANDLE opened = nullptr;
  LogFile log;
};

TEST_F(PipeOpen, AnOpenAsksForReadingAndWritingWithoutSharingOverlappedByteByByte) {
  const DebuggerLines debugger;
  const WatchedCall<&WindowsCalls::createFile> create([&](LPCWSTR wideName, DWORD access, DWORD share,
                                                          SECURITY_ATTRIBUTES* security, DWORD disposition,
                                                          DWORD flags, HANDLE model) {
    EXPECT_EQ(narrow(wideName), name);
    EXPECT_EQ(access, 0xC0000000U);
    EXPECT_EQ(share, 0U);
    EXPECT_EQ(security, nullptr);
    EXPECT_EQ(disposition, 3U);
    EXPECT_EQ(flags, 0x40000000U);
    EXPECT_EQ(model, nullptr);
  });
  const WatchedCall<&WindowsCalls::setNamedPipeHandleState> set(
      [&](HANDLE, DWORD* mode, DWORD* maximum, DWORD* milliseconds) {
        EXPECT_EQ(*mode, 0U);
        EXPECT_EQ(maximum, nullptr);
        EXPECT_EQ(milliseconds, nullptr);
      });
  const UniquePipe pipe(pipe_open(name.c_str()));
  EXPECT_NE(pipe, nullptr);
  EXPECT_EQ(create.count(), 1);
  EXPECT_EQ(set.count(), 1);
  EXPECT_THAT(debugger.lines(), IsEmpty());
}

TEST_F(PipeOpen, AnOpenMakesTheCancelEventFirstWhichResetsItselfAndThenTheOtherWhichIsSignalled) {
  std::vector<std::pair<BOOL, BOOL>> asked;
  const WatchedCall<&WindowsCalls::createEvent> create(
      [&](SECURITY_ATTRIBUTES*, BOOL manualReset, BOOL initialState, LPCSTR) {
        asked.emplace_back(manualReset, initialState);
      });
  const UniquePipe pipe(pipe_open(name.c_str()));
  EXPECT_THAT(asked, ElementsAre(Pair(FALSE, FALSE), Pair(TRUE, TRUE)));
}

TEST_F(PipeOpen, AnOpenTakesANameOutsideAsciiAsUtf8) {
  const std::string outside = name + "-grün-日本";
  const RawPipe other = RawPipe::server(outside);
  const UniquePipe pipe(pipe_open(outside.c_str()));
  EXPECT_NE(pipe, nullptr);
}

TEST_F(PipeOpen, AnOpenOfAPipeThatNobodyServesIsInformationAndNoError) {
  const std::string nobodys = uniquePipeName();
  EXPECT_EQ(pipe_open(nobodys.c_str()), nullptr);
  EXPECT_EQ(::GetLastError(), 2U);
  EXPECT_EQ(log.text(), infoEntry("Could not open pipe " + nobodys + ", error = 2"));
}

TEST_F(PipeOpen, AnOpenThatFailsOtherwiseThanBusyIsNotWaitedOut) {
  const GivingCall<&WindowsCalls::waitNamedPipe> wait(TRUE);
  EXPECT_EQ(openAfter({ERROR_ACCESS_DENIED}), nullptr);
  EXPECT_EQ(log.text(), infoEntry("Could not open pipe " + name + ", error = 5"));
  EXPECT_EQ(wait.count(), 0);
}

TEST_F(PipeOpen, AnOpenOfABusyPipeIsTriedAgainForAsLongAsItsWaitsSucceed) {
  const SubstitutedCall<&WindowsCalls::waitNamedPipe> wait([&](LPCWSTR wideName, DWORD milliseconds) {
    EXPECT_EQ(narrow(wideName), name);
    EXPECT_EQ(milliseconds, 5000U);
    return TRUE;
  });
  const UniquePipe pipe(openAfter(std::vector<DWORD>(1000, ERROR_PIPE_BUSY)));
  EXPECT_NE(pipe, nullptr);
  EXPECT_EQ(wait.count(), 1000);
}

TEST_F(PipeOpen, AnOpenOfABusyPipeIsGivenUpWhenItsWaitFails) {
  const SubstitutedCall<&WindowsCalls::waitNamedPipe> wait(
      [&](LPCWSTR, DWORD) { return wait.count() == 2 ? failWith(ERROR_SEM_TIMEOUT, FALSE) : TRUE; });
  EXPECT_EQ(openAfter({ERROR_PIPE_BUSY, ERROR_PIPE_BUSY}), nullptr);
  EXPECT_EQ(wait.count(), 2);
  EXPECT_EQ(log.text(), infoEntry("Could not open pipe " + name + ", error = 121"));
}

TEST_F(PipeOpen, AnOpenOfABusyPipeThatThenFailsOtherwiseIsGivenUp) {
  const GivingCall<&WindowsCalls::waitNamedPipe> wait(TRUE);
  EXPECT_EQ(openAfter({ERROR_PIPE_BUSY, ERROR_ACCESS_DENIED}), nullptr);
  EXPECT_EQ(wait.count(), 1);
  EXPECT_EQ(log.text(), infoEntry("Could not open pipe " + name + ", error = 5"));
}

TEST_F(PipeOpen, AnOpenOfAPipeBusyWithAnotherClientSucceedsOnceItIsFree) {
  const RawPipe first = RawPipe::client(name);
  ASSERT_TRUE(server.accept());
  const NamedEvent waiting;
  const WatchedCall<&WindowsCalls::waitNamedPipe> wait([&](auto...) { waiting.signal(); });
  UniquePipe pipe;
  std::thread opening([&] { pipe.reset(pipe_open(name.c_str())); });
  const bool waited = waiting.wait();
  server.disconnect();
  const bool accepted = server.accept();
  opening.join();
  EXPECT_TRUE(waited);
  EXPECT_TRUE(accepted);
  EXPECT_NE(pipe, nullptr);
}

TEST_F(PipeOpen, AnOpenThatCannotSetUpItsEndIsGivenUpButLeavesItOpen) {
  const SubstitutedCall<&WindowsCalls::setNamedPipeHandleState> set(
      [&](HANDLE handle, DWORD*, DWORD*, DWORD*) {
        EXPECT_EQ(handle, opened);
        return failWith(ERROR_INVALID_PARAMETER, FALSE);
      });
  SubstitutedCall<&WindowsCalls::createFile> create([&](auto... arguments) {
    opened = create.real(arguments...);
    return opened;
  });
  EXPECT_EQ(pipe_open(name.c_str()), nullptr);
  EXPECT_EQ(::GetLastError(), 87U);
  EXPECT_EQ(log.text(), infoEntry("Could not set pipe " + name + " state, error = 87"));
  EXPECT_TRUE(server.isConnected());
  EXPECT_TRUE(::CloseHandle(opened));
  EXPECT_FALSE(server.isConnected());
}

TEST_F(PipeOpen, AnOpenWithoutOneOfItsEventsIsGivenUpAndClosed) {
  for (const int failing : {1, 2}) {
    const std::string other = uniquePipeName();
    const RawPipe otherServer = RawPipe::server(other);
    const FailingEvent events(failing);
    EXPECT_EQ(pipe_open(other.c_str()), nullptr);
    EXPECT_EQ(::GetLastError(), 4U);
    EXPECT_EQ(events.count(), failing);
    EXPECT_EQ(log.text(), infoEntry("Could not open pipe " + other + ", error = (4)"));
    EXPECT_FALSE(otherServer.isConnected());
    log.clear();
  }
}

}  // namespace

}  // namespace kx
