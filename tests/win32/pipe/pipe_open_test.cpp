// pipe_open(): the arguments of its Windows calls, its patience with a busy pipe, and each way to fail.
#include "support/win32/debugger_lines.h"
#include "support/win32/helper_process.h"
#include "win32/pipe/pipe_test.h"

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

// CreateFileW fails with each of the errors in turn and then goes through.
class OpenFailsWith {
 public:
  explicit OpenFailsWith(std::vector<DWORD> errors)
      : create_([this, errors](LPCWSTR name, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                               DWORD disposition, DWORD flags, HANDLE model) {
          const auto call = static_cast<std::size_t>(create_.count() - 1);
          return call < errors.size()
                     ? failWith(errors[call], INVALID_HANDLE_VALUE)
                     : create_.real(name, access, share, security, disposition, flags, model);
        }) {}

  int count() const { return create_.count(); }

 private:
  SubstitutedCall<&WindowsCalls::createFile> create_;
};

class RecordedPipeWaits {
 public:
  explicit RecordedPipeWaits(BOOL result, DWORD error = ERROR_SUCCESS)
      : wait_([this, result, error](LPCWSTR name, DWORD milliseconds) {
          names.push_back(narrow(name));
          waits.push_back(milliseconds);
          return failWith(error, result);
        }) {}

  std::vector<std::string> names;
  std::vector<DWORD> waits;

 private:
  SubstitutedCall<&WindowsCalls::waitNamedPipe> wait_;
};

// Keeps the handle that the library opened.
class OpenedHandle {
 public:
  OpenedHandle()
      : create_([this](LPCWSTR name, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                       DWORD disposition, DWORD flags, HANDLE model) {
          handle = create_.real(name, access, share, security, disposition, flags, model);
          return handle;
        }) {}

  HANDLE handle = nullptr;

 private:
  SubstitutedCall<&WindowsCalls::createFile> create_;
};

TEST(PipeOpen, AsksForReadingAndWritingWithoutSharingOverlapped) {
  const std::string name = uniquePipeName();
  const RawPipe server = RawPipe::server(name);
  int calls = 0;
  SubstitutedCall<&WindowsCalls::createFile> create([&](LPCWSTR wideName, DWORD access, DWORD share,
                                                        SECURITY_ATTRIBUTES* security, DWORD disposition,
                                                        DWORD flags, HANDLE model) {
    ++calls;
    EXPECT_EQ(narrow(wideName), name);
    EXPECT_EQ(access, 0xC0000000U);
    EXPECT_EQ(share, 0U);
    EXPECT_EQ(security, nullptr);
    EXPECT_EQ(disposition, 3U);
    EXPECT_EQ(flags, 0x40000000U);
    EXPECT_EQ(model, nullptr);
    return create.real(wideName, access, share, security, disposition, flags, model);
  });
  const UniquePipe pipe(pipe_open(name.c_str()));
  EXPECT_NE(pipe, nullptr);
  EXPECT_EQ(calls, 1);
}

TEST(PipeOpen, AsksForByteReading) {
  const std::string name = uniquePipeName();
  const RawPipe server = RawPipe::server(name);
  const OpenedHandle opened;
  int calls = 0;
  SubstitutedCall<&WindowsCalls::setNamedPipeHandleState> set(
      [&](HANDLE handle, DWORD* mode, DWORD* maximum, DWORD* milliseconds) {
        ++calls;
        EXPECT_EQ(handle, opened.handle);
        EXPECT_EQ(*mode, 0U);
        EXPECT_EQ(maximum, nullptr);
        EXPECT_EQ(milliseconds, nullptr);
        return set.real(handle, mode, maximum, milliseconds);
      });
  const UniquePipe pipe(pipe_open(name.c_str()));
  EXPECT_NE(pipe, nullptr);
  EXPECT_EQ(calls, 1);
}

TEST(PipeOpen, TheCancelEventIsMadeFirstAndResetsItselfTheOtherIsSignalledAndDoesNot) {
  const std::string name = uniquePipeName();
  const RawPipe server = RawPipe::server(name);
  std::vector<std::string> asked;
  SubstitutedCall<&WindowsCalls::createEvent> create(
      [&](SECURITY_ATTRIBUTES* security, BOOL manualReset, BOOL initialState, LPCSTR eventName) {
        asked.push_back(std::to_string(manualReset) + " " + std::to_string(initialState));
        return create.real(security, manualReset, initialState, eventName);
      });
  const UniquePipe pipe(pipe_open(name.c_str()));
  EXPECT_THAT(asked, ElementsAre("0 0", "1 1"));
}

TEST(PipeOpen, LogsNothingWhenAllGoesWell) {
  const std::string name = uniquePipeName();
  const RawPipe server = RawPipe::server(name);
  const LogFile log;
  const DebuggerLines debugger;
  const UniquePipe pipe(pipe_open(name.c_str()));
  EXPECT_NE(pipe, nullptr);
  EXPECT_THAT(debugger.lines(), IsEmpty());
}

TEST(PipeOpen, ANameOutsideAsciiIsUtf8) {
  const std::string name = uniquePipeName() + "-grün-日本";
  const RawPipe server = RawPipe::server(name);
  const UniquePipe pipe(pipe_open(name.c_str()));
  EXPECT_NE(pipe, nullptr);
}

TEST(PipeOpen, ANullNameIsABadArgumentAndIsNotLogged) {
  const LogFile log;
  const DebuggerLines debugger;
  ::SetLastError(0);
  EXPECT_EQ(pipe_open(nullptr), nullptr);
  EXPECT_EQ(::GetLastError(), 160U);
  EXPECT_THAT(debugger.lines(), IsEmpty());
}

TEST(PipeOpen, APipeThatNobodyServesIsInformationNotAnError) {
  const LogFile log;
  const std::string name = uniquePipeName();
  EXPECT_EQ(pipe_open(name.c_str()), nullptr);
  EXPECT_EQ(::GetLastError(), 2U);
  EXPECT_EQ(log.text(), ExpectedLog().info("Could not open pipe " + name + ", error = 2").text());
}

TEST(PipeOpen, AFailureOtherThanBusyIsNotWaitedOut) {
  const LogFile log;
  const OpenFailsWith open({ERROR_ACCESS_DENIED});
  const RecordedPipeWaits waits(TRUE);
  EXPECT_EQ(pipe_open("\\\\.\\pipe\\kx-grün"), nullptr);
  EXPECT_EQ(log.text(), ExpectedLog().info("Could not open pipe \\\\.\\pipe\\kx-grün, error = 5").text());
  EXPECT_THAT(waits.waits, IsEmpty());
}

TEST(PipeOpen, ABusyPipeIsTriedAgainForAsLongAsItsWaitsSucceed) {
  const std::string name = uniquePipeName();
  const RawPipe server = RawPipe::server(name);
  const OpenFailsWith open(std::vector<DWORD>(1000, ERROR_PIPE_BUSY));
  const RecordedPipeWaits waits(TRUE);
  const UniquePipe pipe(pipe_open(name.c_str()));
  EXPECT_NE(pipe, nullptr);
  EXPECT_EQ(open.count(), 1001);
  EXPECT_EQ(waits.waits, std::vector<DWORD>(1000, 5000));
  EXPECT_EQ(waits.names, std::vector<std::string>(1000, name));
}

TEST(PipeOpen, ABusyPipeIsGivenUpWhenItsWaitFails) {
  const LogFile log;
  const std::string name = uniquePipeName();
  const OpenFailsWith open({ERROR_PIPE_BUSY, ERROR_PIPE_BUSY});
  SubstitutedCall<&WindowsCalls::waitNamedPipe> wait(
      [&](LPCWSTR, DWORD) { return wait.count() == 2 ? failWith(ERROR_SEM_TIMEOUT, FALSE) : TRUE; });
  EXPECT_EQ(pipe_open(name.c_str()), nullptr);
  EXPECT_EQ(open.count(), 2);
  EXPECT_EQ(wait.count(), 2);
  EXPECT_EQ(log.text(), ExpectedLog().info("Could not open pipe " + name + ", error = 121").text());
}

TEST(PipeOpen, ABusyPipeThatThenFailsOtherwiseIsGivenUp) {
  const LogFile log;
  const std::string name = uniquePipeName();
  const OpenFailsWith open({ERROR_PIPE_BUSY, ERROR_ACCESS_DENIED});
  const RecordedPipeWaits waits(TRUE);
  EXPECT_EQ(pipe_open(name.c_str()), nullptr);
  EXPECT_THAT(waits.waits, ElementsAre(5000U));
  EXPECT_EQ(log.text(), ExpectedLog().info("Could not open pipe " + name + ", error = 5").text());
}

TEST(PipeOpen, APipeBusyWithAnotherClientIsOpenedOnceItIsFree) {
  const std::string name = uniquePipeName();
  const RawPipe server = RawPipe::server(name, 1);
  const RawPipe first = RawPipe::client(name);
  ASSERT_TRUE(server.accept());
  const NamedEvent waiting;
  SubstitutedCall<&WindowsCalls::waitNamedPipe> wait([&](LPCWSTR wideName, DWORD milliseconds) {
    waiting.signal();
    return wait.real(wideName, milliseconds);
  });
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

TEST(PipeOpen, AnEndThatCannotBeSetUpIsGivenUpButStaysOpen) {
  const std::string name = uniquePipeName();
  const RawPipe server = RawPipe::server(name);
  const LogFile log;
  const OpenedHandle opened;
  const SubstitutedCall<&WindowsCalls::setNamedPipeHandleState> set(
      [](HANDLE, DWORD*, DWORD*, DWORD*) { return failWith(ERROR_INVALID_PARAMETER, FALSE); });
  EXPECT_EQ(pipe_open(name.c_str()), nullptr);
  EXPECT_EQ(::GetLastError(), 87U);
  EXPECT_EQ(log.text(), ExpectedLog().info("Could not set pipe " + name + " state, error = 87").text());
  EXPECT_TRUE(server.isConnected());
  EXPECT_TRUE(::CloseHandle(opened.handle));
  EXPECT_FALSE(server.isConnected());
}

class PipeOpenWithoutEvent : public testing::TestWithParam<int> {};

TEST_P(PipeOpenWithoutEvent, IsGivenUpAndClosed) {
  const std::string name = uniquePipeName();
  const RawPipe server = RawPipe::server(name);
  const LogFile log;
  SubstitutedCall<&WindowsCalls::createEvent> create(
      [&](SECURITY_ATTRIBUTES* security, BOOL manualReset, BOOL initialState, LPCSTR eventName) {
        return create.count() == GetParam() ? failWith(ERROR_TOO_MANY_OPEN_FILES, HANDLE{})
                                            : create.real(security, manualReset, initialState, eventName);
      });
  EXPECT_EQ(pipe_open(name.c_str()), nullptr);
  EXPECT_EQ(::GetLastError(), 4U);
  EXPECT_EQ(create.count(), GetParam());
  EXPECT_EQ(log.text(), ExpectedLog().info("Could not open pipe " + name + ", error = (4)").text());
  EXPECT_FALSE(server.isConnected());
}

INSTANTIATE_TEST_SUITE_P(FirstAndSecond, PipeOpenWithoutEvent, testing::Values(1, 2));

}  // namespace

}  // namespace kx
