#include "win32/well_known_pipe.h"

#include "support/win32/pipe_name.h"
#include "win32/pipe_end.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace kxbrowser {
namespace {

using kxsim::PipeEnd;

constexpr DWORD kLongestWaitMilliseconds = 30000;
// How long an end is watched that must not be disconnected.
constexpr DWORD kWatchMilliseconds = 300;

constexpr char kFirstLine[] = "\\\\.\\pipe\\first\n";
constexpr char kSecondLine[] = "\\\\.\\pipe\\second\n";

class WellKnownPipe : public ::testing::Test {
 protected:
  WellKnownPipe() : bridge_(PipeEnd::serve(bridgePipe_, 4096)) {
    serveWellKnownPipe(name_, bridgePipe_);
    EXPECT_TRUE(bridge_.accept());
  }

  // A host may come before the launcher has its pipe.
  PipeEnd openAsHost() const {
    PipeEnd host = PipeEnd::open(name_);
    for (DWORD waited = 0; !host && GetLastError() == ERROR_FILE_NOT_FOUND; ++waited) {
      if (waited > kLongestWaitMilliseconds) {
        throw std::runtime_error("nobody serves " + name_);
      }
      Sleep(1);
      host = PipeEnd::open(name_);
    }
    return host;
  }

  // The next line that the bridge gets.
  std::string lineAtTheBridge() {
    std::string line;
    while (line.find('\n') == std::string::npos &&
           bridge_.read(line, 1, kLongestWaitMilliseconds) == PipeEnd::Outcome::kDone) {
    }
    return line;
  }

 private:
  std::string name_ = uniquePipeName();
  std::string bridgePipe_ = uniquePipeName();
  PipeEnd bridge_;
};

TEST_F(WellKnownPipe, TheLineOfAHostThatHasLeftReachesTheBridge) {
  PipeEnd host = openAsHost();
  ASSERT_TRUE(host.write(kFirstLine));
  host.close();

  EXPECT_EQ(lineAtTheBridge(), kFirstLine);
}

TEST_F(WellKnownPipe, AHostIsNotDisconnectedBeforeItHasClosedItsEnd) {
  PipeEnd host = openAsHost();
  ASSERT_TRUE(host.write(kFirstLine));
  ASSERT_EQ(lineAtTheBridge(), kFirstLine);

  std::string bytes;
  EXPECT_EQ(host.read(bytes, 1, kWatchMilliseconds), PipeEnd::Outcome::kTimeout);
}

TEST_F(WellKnownPipe, TheNextHostNeedNotWaitForTheLastOneToClose) {
  PipeEnd first = openAsHost();
  ASSERT_TRUE(first.write(kFirstLine));
  ASSERT_EQ(lineAtTheBridge(), kFirstLine);

  PipeEnd second = openAsHost();
  ASSERT_TRUE(second.write(kSecondLine));

  EXPECT_EQ(lineAtTheBridge(), kSecondLine);
}

}  // namespace
}  // namespace kxbrowser
