// No operation leaves a handle behind. Windows hands out the lowest free value: one that has grown after many
// cycles tells of a leak.
#include "support/win32/next_handle.h"
#include "win32/pipe/pipe_browser_test.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <cstdint>
#include <string>
#include <vector>

namespace kx {

namespace {

// How many handles a hundred cycles leave behind.
template <typename Cycle>
std::intptr_t leakedPerHundred(Cycle cycle) {
  constexpr std::intptr_t kHandleStep = 4;
  cycle();  // what is made once stays
  const std::uintptr_t before = nextHandleValue();
  for (int i = 0; i < 100; ++i) {
    cycle();
  }
  return (static_cast<std::intptr_t>(nextHandleValue()) - static_cast<std::intptr_t>(before)) / kHandleStep;
}

constexpr std::intptr_t kNoLeak = 50;

TEST(PipeHandles, TheMeasureSeesALeak) {
  std::vector<HANDLE> leaked;
  EXPECT_GE(leakedPerHundred([&] { leaked.push_back(::CreateEventW(nullptr, TRUE, FALSE, nullptr)); }), 90);
  for (const HANDLE event : leaked) {
    ::CloseHandle(event);
  }
}

TEST(PipeHandles, AConversationAndAnOpenThatFailsLeaveNoHandle) {
  EXPECT_LT(leakedPerHundred([] {
              const std::string name = uniquePipeName();
              EXPECT_EQ(pipe_open(name.c_str()), nullptr);
              const UniquePipe server(pipe_create(name.c_str()));
              const UniquePipe client(pipe_open(name.c_str()));
              EXPECT_EQ(pipe_accept(server.get(), 5), 0);
              EXPECT_EQ(writeText(client.get(), "hello"), 5);
              EXPECT_EQ(readText(server.get()), "hello");
            }),
            kNoLeak);
}

TEST(PipeHandles, EndsWithoutOneOfTheirEventsLeaveNoHandle) {
  for (const int failing : {1, 2}) {
    const FailingEvent events(failing);
    EXPECT_LT(leakedPerHundred([] {
                const std::string name = uniquePipeName();
                EXPECT_EQ(pipe_create(name.c_str()), nullptr);
                const RawPipe server = RawPipe::server(name);
                EXPECT_EQ(pipe_open(name.c_str()), nullptr);
              }),
              kNoLeak);
  }
}

TEST(PipeHandles, ClosesWithSomethingPendingLeaveNoHandle) {
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
            kNoLeak);
}

using PipeBrowserHandles = PipeBrowserTest;

TEST_F(PipeBrowserHandles, ConnectionsAndTheirEndsLeaveNoHandle) {
  EXPECT_LT(leakedPerHundred([&] {
              const Extension extension(serverPipe);
              PipeBrowserInstance other("cr", profile);
              EXPECT_TRUE(other.connect(10));
            }),
            kNoLeak);
}

TEST_F(PipeBrowserHandles, ConnectingAgainAndAgainLeavesNoHandle) {
  EXPECT_LT(leakedPerHundred([&] {
              const Extension extension(serverPipe);
              EXPECT_TRUE(browser.connect(10));
            }),
            kNoLeak);
}

TEST_F(PipeBrowserHandles, ConnectionsThatNobodyServesOrAcceptsLeaveNoHandle) {
  EXPECT_LT(leakedPerHundred([&] {
              PipeBrowserInstance other("cr", profile);
              EXPECT_FALSE(other.connect(1));
              const RawPipe silent = RawPipe::server(serverPipe);
              const WaitsEndWith wait(WAIT_TIMEOUT);
              EXPECT_FALSE(other.connect(1));
            }),
            kNoLeak);
}

}  // namespace

}  // namespace kx
