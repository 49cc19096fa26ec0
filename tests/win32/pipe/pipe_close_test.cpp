// pipe_close(): its steps in their order, and that each runs whatever the ones before it gave.
#include "support/win32/debugger_lines.h"
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

namespace kx {

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// The steps of a close, by name and in their order. A step in the given list fails with error 5, but a handle
// is closed all the same, so that nothing is left behind.
class CloseSteps {
 public:
  explicit CloseSteps(pipe_handle* pipe, std::vector<std::string> failing = {})
      : failing_(std::move(failing)),
        cancelEvent_(pipe_cancel_event(pipe)),
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

  std::vector<std::string> steps;

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

  std::vector<std::string> failing_;
  HANDLE handle_ = nullptr;
  HANDLE cancelEvent_;
  SubstitutedCall<&WindowsCalls::getNamedPipeInfo> info_;
  SubstitutedCall<&WindowsCalls::flushFileBuffers> flush_;
  SubstitutedCall<&WindowsCalls::disconnectNamedPipe> disconnect_;
  SubstitutedCall<&WindowsCalls::closeHandle> close_;
};

TEST(PipeClose, OfNullDoesNothing) {
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
  const CloseSteps close(pipe.end.get());
  pipe_close(pipe.end.release());
  EXPECT_THAT(close.steps, ElementsAre("info", "flush", "disconnect", "close pipe", "close cancel event",
                                       "close io event"));
  EXPECT_EQ(log.text(), "");
}

TEST(PipeClose, AClientEndIsNeitherFlushedNorDisconnected) {
  ConnectedClient pipe;
  const LogFile log;
  const CloseSteps close(pipe.end.get());
  pipe_close(pipe.end.release());
  EXPECT_THAT(close.steps, ElementsAre("info", "close pipe", "close cancel event", "close io event"));
  EXPECT_EQ(log.text(), "");
}

TEST(PipeClose, AnEndThatDoesNotTellItsKindCountsAsAClientEnd) {
  ConnectedServer pipe;
  const LogFile log;
  const CloseSteps close(pipe.end.get(), {"info"});
  pipe_close(pipe.end.release());
  EXPECT_THAT(close.steps, ElementsAre("info", "close pipe", "close cancel event", "close io event"));
  EXPECT_EQ(log.text(), ExpectedLog().error("Could not get pipe info, error=5").text());
}

TEST(PipeClose, EveryStepRunsAndIsLoggedWhateverTheOnesBeforeItGave) {
  ConnectedServer pipe;
  const LogFile log;
  const CloseSteps close(pipe.end.get(),
                         {"flush", "disconnect", "close pipe", "close cancel event", "close io event"});
  pipe_close(pipe.end.release());
  EXPECT_THAT(close.steps, ElementsAre("info", "flush", "disconnect", "close pipe", "close cancel event",
                                       "close io event"));
  EXPECT_EQ(log.text(), ExpectedLog()
                            .error("Could not flush pipe buffers before closing, error=5")
                            .error("Could not disconnect pipe, error=5")
                            .error("Could not close pipe, error=5")
                            .error("Could not release pipe resources, error=5")
                            .error("Could not release pipe resources, error=5")
                            .text());
}

TEST(PipeClose, AnEventThatCannotBeClosedIsLoggedOnce) {
  ConnectedClient pipe;
  const LogFile log;
  const CloseSteps close(pipe.end.get(), {"close io event"});
  pipe_close(pipe.end.release());
  EXPECT_EQ(log.text(), ExpectedLog().error("Could not release pipe resources, error=5").text());
}

// The security attributes that a server end was made with.
class ServerEndWithKnownSecurity {
 public:
  ServerEndWithKnownSecurity() {
    SubstitutedCall<&WindowsCalls::createNamedPipe> create(
        [&](LPCWSTR name, DWORD openMode, DWORD pipeMode, DWORD instances, DWORD outputBytes,
            DWORD inputBytes, DWORD milliseconds, SECURITY_ATTRIBUTES* security) {
          attributes = security;
          descriptor = security->lpSecurityDescriptor;
          return create.real(name, openMode, pipeMode, instances, outputBytes, inputBytes, milliseconds,
                             security);
        });
    const std::string name = uniquePipeName();
    end.reset(pipe_create(name.c_str()));
    peer = RawPipe::client(name);
    pipe_accept(end.get(), 5);
  }

  bool isDescriptorThere() const { return ::HeapValidate(::GetProcessHeap(), 0, descriptor) != FALSE; }

  UniquePipe end;
  RawPipe peer;
  SECURITY_ATTRIBUTES* attributes = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
};

TEST(PipeClose, FreesTheSecurityAttributesOfAClosedEnd) {
  ServerEndWithKnownSecurity pipe;
  ASSERT_TRUE(pipe.isDescriptorThere());
  pipe_close(pipe.end.release());
  EXPECT_FALSE(pipe.isDescriptorThere());
}

TEST(PipeClose, KeepsTheSecurityAttributesOfAnEndThatCannotBeClosed) {
  ServerEndWithKnownSecurity pipe;
  {
    const LogFile log;
    const CloseSteps close(pipe.end.get(), {"close pipe"});
    pipe_close(pipe.end.release());
    EXPECT_EQ(log.text(), ExpectedLog().error("Could not close pipe, error=5").text());
  }
  ASSERT_TRUE(pipe.isDescriptorThere());
  EXPECT_EQ(pipe.attributes->nLength, sizeof(SECURITY_ATTRIBUTES));
  EXPECT_EQ(pipe.attributes->lpSecurityDescriptor, pipe.descriptor);
  ::LocalFree(pipe.descriptor);
  std::default_delete<SECURITY_ATTRIBUTES>()(pipe.attributes);
}

TEST(PipeClose, WhatWasWrittenReachesAPeerThatStillReads) {
  ConnectedServer pipe;
  const LogFile log;
  ASSERT_EQ(writeText(pipe.end.get(), "last words"), 10);
  std::string received;
  std::thread reading([&] { received = pipe.peer.readToEnd(); });
  pipe_close(pipe.end.release());
  reading.join();
  EXPECT_EQ(received, "last words");
  EXPECT_EQ(log.text(), "");
}

TEST(PipeClose, OfAClientEndLeavesWhatWasWrittenToThePeer) {
  ConnectedClient pipe;
  ASSERT_EQ(writeText(pipe.end.get(), "last words"), 10);
  pipe_close(pipe.end.release());
  EXPECT_EQ(pipe.peer.readToEnd(), "last words");
}

TEST(PipeClose, TheNameIsFreeAfterwards) {
  ConnectedServer pipe;
  pipe_close(pipe.end.release());
  ::SetLastError(0);
  EXPECT_FALSE(::WaitNamedPipeW(wide(pipe.name).c_str(), 1));
  EXPECT_EQ(::GetLastError(), 2U);
}

}  // namespace

}  // namespace kx
