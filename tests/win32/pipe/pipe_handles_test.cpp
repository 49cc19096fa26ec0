// No operation leaves a handle behind. Windows hands out the lowest free value, so a value that has grown
// after many cycles tells of a leak.
#include "win32/pipe/pipe_browser_test.h"
#include "win32/pipe/pipe_test.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <cstdint>
#include <string>
#include <vector>

namespace kx {

namespace {

std::uintptr_t freshHandle() {
  const HANDLE event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  ::CloseHandle(event);
  return reinterpret_cast<std::uintptr_t>(event);
}

// How many handles are left behind per cycle, in hundredths.
template <typename Cycle>
std::intptr_t leakedPerHundred(Cycle cycle) {
  constexpr std::intptr_t kHandleStep = 4;
  cycle();  // what is made once stays
  const std::uintptr_t before = freshHandle();
  for (int i = 0; i < 100; ++i) {
    cycle();
  }
  return (static_cast<std::intptr_t>(freshHandle()) - static_cast<std::intptr_t>(before)) / kHandleStep;
}

TEST(PipeHandles, TheMeasureSeesALeak) {
  std::vector<HANDLE> leaked;
  EXPECT_GE(leakedPerHundred([&] { leaked.push_back(::CreateEventW(nullptr, TRUE, FALSE, nullptr)); }), 90);
  for (const HANDLE event : leaked) {
    ::CloseHandle(event);
  }
}

TEST(PipeHandles, AConversationLeavesNone) {
  EXPECT_LT(leakedPerHundred([] {
              const std::string name = uniquePipeName();
              const UniquePipe server(pipe_create(name.c_str()));
              const UniquePipe client(pipe_open(name.c_str()));
              EXPECT_EQ(pipe_accept(server.get(), 5), 0);
              EXPECT_EQ(writeText(client.get(), "hello"), 5);
              EXPECT_EQ(readText(server.get()), "hello");
            }),
            50);
}

TEST(PipeHandles, AFailedOpenLeavesNone) {
  EXPECT_LT(leakedPerHundred([] { EXPECT_EQ(pipe_open(uniquePipeName().c_str()), nullptr); }), 50);
}

class PipeHandlesWithoutEvent : public testing::TestWithParam<int> {
 protected:
  // The first or the second event of every pipe end cannot be made.
  SubstitutedCall<&WindowsCalls::createEvent> create{
      [this](SECURITY_ATTRIBUTES* security, BOOL manualReset, BOOL initialState, LPCSTR name) {
        const bool fails = GetParam() == (manualReset != FALSE ? 2 : 1);
        return fails ? failWith(ERROR_TOO_MANY_OPEN_FILES, HANDLE{})
                     : create.real(security, manualReset, initialState, name);
      }};
};

TEST_P(PipeHandlesWithoutEvent, AFailedCreateLeavesNone) {
  EXPECT_LT(leakedPerHundred([] { EXPECT_EQ(pipe_create(uniquePipeName().c_str()), nullptr); }), 50);
}

TEST_P(PipeHandlesWithoutEvent, AFailedOpenLeavesNone) {
  EXPECT_LT(leakedPerHundred([] {
              const std::string name = uniquePipeName();
              const RawPipe server = RawPipe::server(name);
              EXPECT_EQ(pipe_open(name.c_str()), nullptr);
            }),
            50);
}

INSTANTIATE_TEST_SUITE_P(FirstAndSecond, PipeHandlesWithoutEvent, testing::Values(1, 2));

TEST(PipeHandles, ClosesWithSomethingPendingLeaveNone) {
  EXPECT_LT(leakedPerHundred([] {
              const UniquePipe unconnected(pipe_create(uniquePipeName().c_str()));
              const ConnectedServer reading;
              const ConnectedClient writing;
              std::string buffer(16, '.');
              const WaitsEndWith wait(WAIT_TIMEOUT);
              EXPECT_EQ(pipe_accept(unconnected.get(), 1), -3);
              EXPECT_EQ(readWithin(reading.end.get(), buffer, 1), -3);
              EXPECT_EQ(writeText(writing.end.get(), moreThanAPipeHolds(), 1), -3);
            }),
            50);
}

using PipeBrowserHandles = PipeBrowserTest;

TEST_F(PipeBrowserHandles, AConnectionAndItsEndLeaveNone) {
  EXPECT_LT(leakedPerHundred([&] {
              ExtensionPeer extension(serverPipe);
              extension.play([](ExtensionPeer& peer) { peer.takeHost(); });
              PipeBrowserInstance other("cr", profile);
              EXPECT_TRUE(other.connect(10));
            }),
            50);
}

TEST_F(PipeBrowserHandles, ConnectingAgainLeavesNone) {
  EXPECT_LT(leakedPerHundred([&] {
              ExtensionPeer extension(serverPipe);
              extension.play([](ExtensionPeer& peer) { peer.takeHost(); });
              EXPECT_TRUE(browser.connect(10));
            }),
            50);
}

TEST_F(PipeBrowserHandles, ConnectionsThatNobodyServesLeaveNone) {
  EXPECT_LT(leakedPerHundred([&] {
              PipeBrowserInstance other("cr", profile);
              EXPECT_FALSE(other.connect(1));
            }),
            50);
}

TEST_F(PipeBrowserHandles, ConnectionsThatAreNotAcceptedLeaveNone) {
  EXPECT_LT(leakedPerHundred([&] {
              const ExtensionPeer extension(serverPipe);
              const WaitsEndWith wait(WAIT_TIMEOUT);
              EXPECT_FALSE(browser.connect(1));
            }),
            50);
}

}  // namespace

}  // namespace kx
