// pipe_close(): its steps in their order, that each runs whatever the ones before it gave, and what it does
// with an operation that is still pending.
#include "support/win32/debugger_lines.h"
#include "support/win32/heap_blocks.h"
#include "win32/pipe/pipe_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <algorithm>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

namespace kx {

namespace {

using Steps = std::vector<std::string>;

const Steps kServerSteps = {"info",          "flush", "disconnect", "close pipe", "close cancel event",
                            "close io event"};
const Steps kClientSteps = {"info", "close pipe", "close cancel event", "close io event"};

// The steps of a close, by name and in their order. A step in the given list fails with error 5, but a handle
// is closed all the same, so that nothing is left behind. Nothing is pending any more when they begin.
class CloseSteps {
 public:
  explicit CloseSteps(pipe_handle* pipe, Steps failing = {})
      : failing_(std::move(failing)),
        cancelEvent_(pipe_cancel_event(pipe)),
        cancel_([this](auto... arguments) {
          steps.push_back("cancel");
          return cancel_.real(arguments...);
        }),
        result_([this](HANDLE handle, OVERLAPPED* overlapped, DWORD* count, BOOL waits) {
          steps.push_back(waits != FALSE ? "wait" : "look");
          const BOOL done = result_.real(handle, overlapped, count, waits);
          EXPECT_TRUE(HasOverlappedIoCompleted(overlapped));
          return done;
        }),
        info_([this](HANDLE handle, DWORD* flags, DWORD* output, DWORD* input, DWORD* instances) {
          handle_ = handle;
          EXPECT_EQ(output, nullptr);
          EXPECT_EQ(input, nullptr);
          EXPECT_EQ(instances, nullptr);
          return step("info") ? info_.real(handle, flags, output, input, instances) : FALSE;
        }),
        flush_([this](HANDLE handle) {
          EXPECT_EQ(handle, handle_);
          return step("flush") ? flush_.real(handle) : FALSE;
        }),
        disconnect_([this](HANDLE handle) {
          EXPECT_EQ(handle, handle_);
          return step("disconnect") ? disconnect_.real(handle) : FALSE;
        }),
        close_([this](HANDLE handle) {
          EXPECT_NE(close_.real(handle), FALSE);
          return step(nameOf(handle)) ? TRUE : FALSE;
        }) {}

  Steps steps;

 private:
  bool step(const std::string& name) {
    steps.push_back(name);
    const bool succeeds = std::find(failing_.begin(), failing_.end(), name) == failing_.end();
    return succeeds ? true : failWith(ERROR_ACCESS_DENIED, false);
  }

  std::string nameOf(HANDLE handle) const {
    if (handle == handle_) {
      return "close pipe";
    }
    return handle == cancelEvent_ ? "close cancel event" : "close io event";
  }

  Steps failing_;
  HANDLE handle_ = nullptr;
  HANDLE cancelEvent_;
  SubstitutedCall<&WindowsCalls::cancelIo> cancel_;
  SubstitutedCall<&WindowsCalls::getOverlappedResult> result_;
  SubstitutedCall<&WindowsCalls::getNamedPipeInfo> info_;
  SubstitutedCall<&WindowsCalls::flushFileBuffers> flush_;
  SubstitutedCall<&WindowsCalls::disconnectNamedPipe> disconnect_;
  SubstitutedCall<&WindowsCalls::closeHandle> close_;
};

// Closes the end and gives the steps.
Steps stepsOfClosing(UniquePipe& end, Steps failing = {}) {
  const CloseSteps close(end.get(), std::move(failing));
  pipe_close(end.release());
  return close.steps;
}

Steps endedFirst(Steps steps) {
  steps.insert(steps.begin(), {"cancel", "wait"});
  return steps;
}

TEST(PipeClose, ACloseOfNullDoesNothing) {
  const LogFile log;
  const DebuggerLines debugger;
  ::SetLastError(4711);
  pipe_close(nullptr);
  EXPECT_EQ(::GetLastError(), 4711U);
  EXPECT_THAT(debugger.lines(), IsEmpty());
}

TEST(PipeClose, AServerEndIsFlushedAndDisconnectedBeforeItIsClosed) {
  ConnectedServer pipe;
  const LogFile log;
  EXPECT_EQ(stepsOfClosing(pipe.end), kServerSteps);
  EXPECT_EQ(log.text(), "");
}

TEST(PipeClose, AClientEndIsNeitherFlushedNorDisconnected) {
  ConnectedClient pipe;
  const LogFile log;
  EXPECT_EQ(stepsOfClosing(pipe.end), kClientSteps);
  EXPECT_EQ(log.text(), "");
}

TEST(PipeClose, AnEndThatDoesNotTellItsKindIsClosedAsAClientEnd) {
  ConnectedServer pipe;
  const LogFile log;
  EXPECT_EQ(stepsOfClosing(pipe.end, {"info"}), kClientSteps);
  EXPECT_EQ(log.text(), errorEntry("Could not get pipe info, error=5"));
}

TEST(PipeClose, EveryStepOfACloseRunsAndIsLoggedWhateverTheOnesBeforeItGave) {
  ConnectedServer pipe;
  const LogFile log;
  EXPECT_EQ(
      stepsOfClosing(pipe.end, {"flush", "disconnect", "close pipe", "close cancel event", "close io event"}),
      kServerSteps);
  EXPECT_EQ(log.text(), ExpectedLog()
                            .error("Could not flush pipe buffers before closing, error=5")
                            .error("Could not disconnect pipe, error=5")
                            .error("Could not close pipe, error=5")
                            .error("Could not release pipe resources, error=5")
                            .error("Could not release pipe resources, error=5")
                            .text());
}

TEST(PipeClose, OneEventThatCannotBeClosedIsLoggedOnce) {
  ConnectedClient pipe;
  const LogFile log;
  stepsOfClosing(pipe.end, {"close io event"});
  EXPECT_EQ(log.text(), errorEntry("Could not release pipe resources, error=5"));
}

TEST(PipeClose, ACloseFreesTheSecurityAttributesUnlessTheEndCannotBeClosed) {
  for (const Steps& failing : {Steps{}, Steps{"close pipe"}}) {
    SECURITY_ATTRIBUTES* attributes = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const std::string name = uniquePipeName();
    UniquePipe end;
    {
      const WatchedCall<&WindowsCalls::createNamedPipe> create(
          [&](LPCWSTR, DWORD, DWORD, DWORD, DWORD, DWORD, DWORD, SECURITY_ATTRIBUTES* security) {
            attributes = security;
            descriptor = security->lpSecurityDescriptor;
          });
      end.reset(pipe_create(name.c_str()));
    }
    const RawPipe peer = RawPipe::client(name);
    const auto isDescriptorThere = [&] { return ::HeapValidate(::GetProcessHeap(), 0, descriptor) != FALSE; };
    ASSERT_TRUE(isDescriptorThere());
    stepsOfClosing(end, failing);
    ASSERT_EQ(isDescriptorThere(), !failing.empty());
    if (!failing.empty()) {
      EXPECT_EQ(attributes->nLength, sizeof(SECURITY_ATTRIBUTES));
      EXPECT_EQ(attributes->lpSecurityDescriptor, descriptor);
      ::LocalFree(descriptor);
      std::default_delete<SECURITY_ATTRIBUTES>()(attributes);
    }
  }
}

TEST(PipeClose, WhatWasWrittenBeforeACloseReachesAPeerThatStillReads) {
  ConnectedServer server;
  ConnectedClient client;
  const LogFile log;
  ASSERT_EQ(writeText(server.end.get(), "last words"), 10);
  ASSERT_EQ(writeText(client.end.get(), "last words"), 10);
  std::string received;
  std::thread reading([&] { received = server.peer.readToEnd(); });
  pipe_close(server.end.release());
  reading.join();
  pipe_close(client.end.release());
  EXPECT_EQ(received, "last words");
  EXPECT_EQ(client.peer.readToEnd(), "last words");
  EXPECT_EQ(log.text(), "");
}

TEST(PipeClose, TheNameOfAClosedPipeIsFree) {
  ConnectedServer pipe;
  pipe_close(pipe.end.release());
  ::SetLastError(0);
  EXPECT_FALSE(::WaitNamedPipeW(wide(pipe.name).c_str(), 1));
  EXPECT_EQ(::GetLastError(), 2U);
}

TEST_F(PendingRead, APendingReadIsEndedByTheClose) {
  const LogFile log;
  EXPECT_EQ(stepsOfClosing(pipe.end), endedFirst(kServerSteps));
  EXPECT_FALSE(pipe.peer.isConnected());
  EXPECT_EQ(buffer, kUntouched);
  EXPECT_EQ(log.text(), "");

  ConnectedClient client;
  ASSERT_EQ(readThatTimesOut(client.end.get(), buffer), -3);
  EXPECT_EQ(stepsOfClosing(client.end), endedFirst(kClientSteps));
}

TEST_F(PendingWrite, APendingWriteIsEndedByTheClose) {
  const LogFile log;
  std::string received;
  // What the buffers hold already is flushed, therefore somebody has to read it.
  std::thread reading;
  const WatchedCall<&WindowsCalls::getNamedPipeInfo> info(
      [&](auto...) { reading = std::thread([&] { received = pipe.peer.readToEnd(); }); });
  pipe_close(pipe.end.release());
  ASSERT_EQ(info.count(), 1);
  reading.join();
  EXPECT_LT(received.size(), text.size());
  EXPECT_EQ(received, text.substr(0, received.size()));
  EXPECT_EQ(log.text(), "");
}

TEST_F(PendingRead, APendingReadThatACloseCancelsLeavesTheLastErrorAsItWas) {
  ::SetLastError(4711);
  pipe_close(pipe.end.release());
  EXPECT_EQ(::GetLastError(), 4711U);
}

bool isAllocated(const void* block) {
  bool isFound = false;
  forEachHeapBlock([&](const void* address, DWORD) { isFound = isFound || address == block; });
  return isFound;
}

TEST_F(PendingWrite, APendingWriteThatCannotBeCancelledKeepsItsRecordForTheKernel) {
  pipe_handle* const ended = ConnectedServer().end.release();
  ASSERT_TRUE(isAllocated(ended));
  pipe_close(ended);
  EXPECT_FALSE(isAllocated(ended));

  const GivingCall<&WindowsCalls::cancelIo> cancel(FALSE, ERROR_GEN_FAILURE);
  const GivingCall<&WindowsCalls::flushFileBuffers> flush(TRUE);
  pipe_handle* const underWay = pipe.end.release();
  pipe_close(underWay);
  EXPECT_TRUE(isAllocated(underWay));
}

// Neither the wait for its end nor the flush would return.
TEST_F(PendingWrite, APendingWriteThatCannotBeCancelledIsNeitherAwaitedNorFlushed) {
  const GivingCall<&WindowsCalls::cancelIo> cancel(FALSE, ERROR_GEN_FAILURE);
  const GivingCall<&WindowsCalls::getOverlappedResult> result(FALSE, ERROR_IO_INCOMPLETE);
  const GivingCall<&WindowsCalls::flushFileBuffers> flush(TRUE);

  pipe_close(pipe.end.release());

  EXPECT_EQ(cancel.count(), 1);
  EXPECT_EQ(result.count(), 0);
  EXPECT_EQ(flush.count(), 0);
  EXPECT_FALSE(pipe.peer.isConnected());
}

TEST_F(PendingAccept, APendingAcceptIsEndedByTheClose) {
  const LogFile log;
  EXPECT_EQ(stepsOfClosing(pipe), endedFirst(kServerSteps));
  EXPECT_EQ(withoutErrorsOfOneSystem(log.text()), "");
  EXPECT_FALSE(RawPipe::client(name));
}

}  // namespace

}  // namespace kx
