// What pipe_close() does with an operation that is still pending.
#include "win32/pipe/pending_operations.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <string>
#include <thread>
#include <vector>

namespace kx {

using testing::ElementsAre;

namespace {

// The steps of the close begin only when nothing is pending any more.
class EndedBeforeTheClose {
 public:
  EndedBeforeTheClose()
      : cancel_([this](HANDLE handle, OVERLAPPED* overlapped) {
          steps.push_back("cancel");
          return cancel_.real(handle, overlapped);
        }),
        result_([this](HANDLE handle, OVERLAPPED* overlapped, DWORD* count, BOOL waits) {
          steps.push_back(waits != FALSE ? "wait" : "look");
          const BOOL done = result_.real(handle, overlapped, count, waits);
          EXPECT_TRUE(HasOverlappedIoCompleted(overlapped));
          return done;
        }),
        info_([this](HANDLE handle, DWORD* flags, DWORD* output, DWORD* input, DWORD* instances) {
          steps.push_back("close");
          return info_.real(handle, flags, output, input, instances);
        }) {}

  std::vector<std::string> steps;

 private:
  SubstitutedCall<&WindowsCalls::cancelIo> cancel_;
  SubstitutedCall<&WindowsCalls::getOverlappedResult> result_;
  SubstitutedCall<&WindowsCalls::getNamedPipeInfo> info_;
};

TEST_F(PendingRead, IsEndedByTheClose) {
  std::string buffer(16, '.');
  ASSERT_EQ(readThatTimesOut(end(), buffer), -3);
  const LogFile log;
  const EndedBeforeTheClose ended;
  pipe_close(pipe.end.release());
  EXPECT_THAT(ended.steps, ElementsAre("cancel", "wait", "close"));
  EXPECT_FALSE(pipe.peer.isConnected());
  EXPECT_EQ(buffer, "................");
  EXPECT_EQ(log.text(), "");
}

TEST_F(PendingWrite, IsEndedByTheClose) {
  const LogFile log;
  const EndedBeforeTheClose ended;
  std::string received;
  std::thread reading;
  // What the buffers hold already is flushed, so somebody has to read it.
  SubstitutedCall<&WindowsCalls::flushFileBuffers> flush([&](HANDLE handle) {
    reading = std::thread([&] { received = pipe.peer.readToEnd(); });
    return flush.real(handle);
  });
  pipe_close(pipe.end.release());
  ASSERT_EQ(flush.count(), 1);
  reading.join();
  EXPECT_THAT(ended.steps, ElementsAre("cancel", "wait", "close"));
  EXPECT_LT(received.size(), text.size());
  EXPECT_EQ(received, text.substr(0, received.size()));
  EXPECT_EQ(log.text(), "");
}

// Neither the wait for its end nor the flush would return.
TEST_F(PendingWrite, ThatCannotBeCancelledIsNeitherAwaitedNorFlushed) {
  const SubstitutedCall<&WindowsCalls::cancelIo> cancel(
      [](HANDLE, OVERLAPPED*) { return failWith(ERROR_GEN_FAILURE, FALSE); });
  const SubstitutedCall<&WindowsCalls::getOverlappedResult> result(
      [](HANDLE, OVERLAPPED*, DWORD*, BOOL) { return failWith(ERROR_IO_INCOMPLETE, FALSE); });
  const SubstitutedCall<&WindowsCalls::flushFileBuffers> flush([](HANDLE) { return TRUE; });

  pipe_close(pipe.end.release());

  EXPECT_EQ(cancel.count(), 1);
  EXPECT_EQ(result.count(), 0);
  EXPECT_EQ(flush.count(), 0);
  EXPECT_FALSE(pipe.peer.isConnected());
}

TEST_F(PendingAccept, IsEndedByTheClose) {
  const LogFile log;
  const EndedBeforeTheClose ended;
  pipe_close(pipe.release());
  EXPECT_THAT(ended.steps, ElementsAre("cancel", "wait", "close"));
  EXPECT_EQ(withoutErrorsOfOneSystem(log.text()), "");
  EXPECT_FALSE(RawPipe::client(name));
}

TEST(PipeClose, WithNothingPendingCancelsNothing) {
  ConnectedServer pipe;
  const EndedBeforeTheClose ended;
  pipe_close(pipe.end.release());
  EXPECT_THAT(ended.steps, ElementsAre("close"));
}

TEST(PipeClose, EndsAPendingReadOfAClientEndToo) {
  ConnectedClient pipe;
  std::string buffer(16, '.');
  ASSERT_EQ(readThatTimesOut(pipe.end.get(), buffer), -3);
  const EndedBeforeTheClose ended;
  pipe_close(pipe.end.release());
  EXPECT_THAT(ended.steps, ElementsAre("cancel", "wait", "close"));
}

}  // namespace

}  // namespace kx
