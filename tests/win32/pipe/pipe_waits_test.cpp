// What the three waiting operations have in common: which events they wait for, how long, and how a cancelled
// wait ends.
#include "support/win32/debugger_lines.h"
#include "win32/pipe/pipe_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <limits>
#include <string>
#include <thread>
#include <vector>

namespace kx {

using testing::IsEmpty;

namespace {

struct Timeout {
  int seconds;
  DWORD milliseconds;
};

class PipeTimeout : public testing::TestWithParam<Timeout> {
 protected:
  // Records the time of each wait, which ends at once.
  std::vector<DWORD> waits;
  const SubstitutedCall<&WindowsCalls::waitForMultipleObjects> wait{
      [this](DWORD, const HANDLE*, BOOL, DWORD milliseconds) {
        waits.push_back(milliseconds);
        return DWORD{WAIT_TIMEOUT};
      }};
};

TEST_P(PipeTimeout, OfAnAcceptBecomesMilliseconds) {
  const UniquePipe pipe(pipe_create(uniquePipeName().c_str()));
  EXPECT_EQ(pipe_accept(pipe.get(), GetParam().seconds), -3);
  EXPECT_EQ(waits, std::vector<DWORD>{GetParam().milliseconds});
}

TEST_P(PipeTimeout, OfAReadBecomesMilliseconds) {
  const ConnectedServer pipe;
  std::string buffer(16, '\0');
  EXPECT_EQ(readWithin(pipe.end.get(), buffer, GetParam().seconds), -3);
  EXPECT_EQ(waits, std::vector<DWORD>{GetParam().milliseconds});
}

TEST_P(PipeTimeout, OfAWriteBecomesMilliseconds) {
  const ConnectedServer pipe;
  EXPECT_EQ(writeText(pipe.end.get(), moreThanAPipeHolds(), GetParam().seconds), -3);
  EXPECT_EQ(waits, std::vector<DWORD>{GetParam().milliseconds});
}

std::string timeoutName(const testing::TestParamInfo<Timeout>& timeout) {
  const int seconds = timeout.param.seconds;
  return seconds < 0 ? "Minus" + std::to_string(seconds).substr(1) : std::to_string(seconds);
}

INSTANTIATE_TEST_SUITE_P(Seconds, PipeTimeout,
                         testing::Values(Timeout{0, 0xFFFFFFFFU}, Timeout{-5, 600000U}, Timeout{-1, 600000U},
                                         Timeout{std::numeric_limits<int>::min(), 600000U}, Timeout{1, 1000U},
                                         Timeout{3, 3000U}, Timeout{600, 600000U},
                                         Timeout{4294967, 4294967000U}, Timeout{4294968, 4294967294U},
                                         Timeout{std::numeric_limits<int>::max(), 4294967294U}),
                         timeoutName);

// A wait for either of two events, the second of which is the end's cancel event; it goes through to the real
// one.
class WaitsForEitherEvent {
 public:
  explicit WaitsForEitherEvent(const pipe_handle* pipe)
      : wait_([this, pipe](DWORD count, const HANDLE* events, BOOL forAll, DWORD milliseconds) {
          EXPECT_EQ(count, 2U);
          EXPECT_NE(events[0], events[1]);
          EXPECT_EQ(events[1], pipe_cancel_event(pipe));
          EXPECT_EQ(forAll, FALSE);
          return wait_.real(count, events, forAll, milliseconds);
        }) {}

  int count() const { return wait_.count(); }

 private:
  SubstitutedCall<&WindowsCalls::waitForMultipleObjects> wait_;
};

// The cancel event is signalled before each operation, so that its wait ends with it at once.
TEST(PipeCancel, EndsAnAcceptWithoutAMessage) {
  const UniquePipe pipe(pipe_create(uniquePipeName().c_str()));
  const DebuggerLines debugger;
  const LogFile log;
  const WaitsForEitherEvent waits(pipe.get());
  ::SetEvent(pipe_cancel_event(pipe.get()));
  EXPECT_EQ(pipe_accept(pipe.get(), 0), -4);
  EXPECT_EQ(waits.count(), 1);
  EXPECT_THAT(debugger.lines(), IsEmpty());
}

TEST(PipeCancel, EndsAReadWithoutAMessage) {
  const ConnectedServer pipe;
  const DebuggerLines debugger;
  const LogFile log;
  const WaitsForEitherEvent waits(pipe.end.get());
  std::string buffer(16, '\0');
  ::SetEvent(pipe_cancel_event(pipe.end.get()));
  EXPECT_EQ(readWithin(pipe.end.get(), buffer, 0), -4);
  EXPECT_EQ(waits.count(), 1);
  EXPECT_THAT(debugger.lines(), IsEmpty());
}

TEST(PipeCancel, EndsAWriteWithoutAMessage) {
  const ConnectedServer pipe;
  const DebuggerLines debugger;
  const LogFile log;
  const WaitsForEitherEvent waits(pipe.end.get());
  ::SetEvent(pipe_cancel_event(pipe.end.get()));
  EXPECT_EQ(writeText(pipe.end.get(), moreThanAPipeHolds(), 0), -4);
  EXPECT_EQ(waits.count(), 1);
  EXPECT_THAT(debugger.lines(), IsEmpty());
}

TEST(PipeCancel, OfAClientEndWorksToo) {
  const ConnectedClient pipe;
  std::string buffer(16, '\0');
  ::SetEvent(pipe_cancel_event(pipe.end.get()));
  EXPECT_EQ(readWithin(pipe.end.get(), buffer, 0), -4);
}

TEST(PipeCancel, EndsOneWaitOnly) {
  const ConnectedServer pipe;
  std::string buffer(16, '\0');
  ::SetEvent(pipe_cancel_event(pipe.end.get()));
  EXPECT_EQ(readWithin(pipe.end.get(), buffer, 0), -4);
  ASSERT_TRUE(pipe.peer.write("hello"));
  EXPECT_EQ(readText(pipe.end.get()), "hello");
}

TEST(PipeCancel, FromAnotherThreadEndsAWaitThatHasNoTimeout) {
  const ConnectedServer pipe;
  SubstitutedCall<&WindowsCalls::waitForMultipleObjects> wait(
      [&](DWORD count, const HANDLE* events, BOOL forAll, DWORD milliseconds) {
        EXPECT_EQ(milliseconds, INFINITE);
        const HANDLE cancelEvent = events[1];
        std::thread other([cancelEvent] { ::SetEvent(cancelEvent); });
        const DWORD result = wait.real(count, events, forAll, milliseconds);
        other.join();
        return result;
      });
  std::string buffer(16, '\0');
  EXPECT_EQ(readWithin(pipe.end.get(), buffer, 0), -4);
}

TEST(PipeWait, AFinishedOperationWinsOverASignalledCancelEvent) {
  const ConnectedServer pipe;
  SubstitutedCall<&WindowsCalls::waitForMultipleObjects> wait(
      [&](DWORD count, const HANDLE* events, BOOL forAll, DWORD milliseconds) {
        pipe.peer.write("hello");
        ::SetEvent(events[1]);
        return wait.real(count, events, forAll, milliseconds);
      });
  EXPECT_EQ(readText(pipe.end.get()), "hello");
}

}  // namespace

}  // namespace kx
