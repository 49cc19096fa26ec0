// What the operations have in common: which events they wait for, how long, how a cancelled wait ends, and
// which arguments they refuse.
#include "support/win32/debugger_lines.h"
#include "win32/pipe/pipe_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <functional>
#include <limits>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace kx {

namespace {

// An end for each operation that has to wait.
class PipeWait : public testing::Test {
 protected:
  using Operation = std::pair<pipe_handle*, std::function<int(int timeoutSeconds)>>;

  std::vector<Operation> operations() {
    return {{unconnected.get(), [this](int timeout) { return pipe_accept(unconnected.get(), timeout); }},
            {silent.end.get(), [this](int timeout) { return readWithin(silent.end.get(), buffer, timeout); }},
            {client.end.get(), [this](int timeout) { return readWithin(client.end.get(), buffer, timeout); }},
            {deaf.end.get(),
             [this](int timeout) { return writeText(deaf.end.get(), moreThanAPipeHolds(), timeout); }}};
  }

  std::string buffer = std::string(16, '\0');
  const UniquePipe unconnected{pipe_create(uniquePipeName().c_str())};
  const ConnectedServer silent;
  const ConnectedClient client;
  const ConnectedServer deaf;
};

TEST_F(PipeWait, EachOperationWaitsForItsTimeoutInMilliseconds) {
  for (const auto& [end, operation] : operations()) {
    const WaitsEndWith wait(WAIT_TIMEOUT);
    for (const int timeout : {7, 0, -1, std::numeric_limits<int>::min()}) {
      EXPECT_EQ(operation(timeout), -3);
    }
    EXPECT_THAT(wait.milliseconds, ElementsAre(7000U, INFINITE, 600000U, 600000U));
  }
}

// The cancel event is signalled before each operation.
TEST_F(PipeWait, EachOperationIsEndedByItsCancelEventWithoutAMessage) {
  const DebuggerLines debugger;
  const LogFile log;
  for (const auto& [end, operation] : operations()) {
    const WatchedWait wait([pipe = end](DWORD count, const HANDLE* events, BOOL forAll, DWORD) {
      EXPECT_EQ(count, 2U);
      EXPECT_NE(events[0], events[1]);
      EXPECT_EQ(events[1], pipe_cancel_event(pipe));
      EXPECT_EQ(forAll, FALSE);
    });
    ::SetEvent(pipe_cancel_event(end));
    EXPECT_EQ(operation(0), -4);
    EXPECT_EQ(wait.count(), 1);
  }
  EXPECT_THAT(debugger.lines(), IsEmpty());
}

TEST_F(PipeWait, ACancelEventEndsOneWaitOnly) {
  ::SetEvent(pipe_cancel_event(silent.end.get()));
  EXPECT_EQ(readWithin(silent.end.get(), buffer, 0), -4);
  ASSERT_TRUE(silent.peer.write("hello"));
  EXPECT_EQ(readText(silent.end.get()), "hello");
}

TEST_F(PipeWait, ACancelEventFromAnotherThreadEndsAWaitThatHasNoTimeout) {
  std::thread other;
  const WatchedWait wait([&](DWORD, const HANDLE* events, BOOL, DWORD) {
    other = std::thread([event = events[1]] { ::SetEvent(event); });
  });
  EXPECT_EQ(readWithin(silent.end.get(), buffer, 0), -4);
  other.join();
}

TEST_F(PipeWait, AFinishedOperationWinsOverASignalledCancelEvent) {
  const WatchedWait wait([&](DWORD, const HANDLE* events, BOOL, DWORD) {
    silent.peer.write("hello");
    ::SetEvent(events[1]);
  });
  EXPECT_EQ(readText(silent.end.get()), "hello");
}

TEST_F(PipeWait, EveryOperationRefusesBadArgumentsWithoutAMessage) {
  const DebuggerLines debugger;
  const LogFile log;
  pipe_handle* const end = silent.end.get();
  char bytes[4] = {};
  for (const std::function<int()>& call : std::vector<std::function<int()>>{
           [] { return pipe_create(nullptr) == nullptr ? -1 : 0; },
           [] { return pipe_open(nullptr) == nullptr ? -1 : 0; }, [] { return pipe_accept(nullptr, 1); },
           [&] { return pipe_read(nullptr, bytes, 4, 1); }, [&] { return pipe_read(end, nullptr, 4, 1); },
           [&] { return pipe_read(end, bytes, -1, 1); }, [&] { return pipe_write(nullptr, bytes, 4, 1); },
           [&] { return pipe_write(end, nullptr, 4, 1); }, [&] { return pipe_write(end, bytes, -1, 1); }}) {
    ::SetLastError(0);
    EXPECT_EQ(call(), -1);
    EXPECT_EQ(::GetLastError(), 160U);
  }
  EXPECT_THAT(debugger.lines(), IsEmpty());
}

}  // namespace

}  // namespace kx
