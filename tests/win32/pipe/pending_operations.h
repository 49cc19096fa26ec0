// Pipe ends with an operation that timed out and so is still pending, for each kind of operation.
#pragma once

#include "win32/pipe/pipe_test.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <string>

namespace kx {

// A test begins the read itself, with a buffer of its own.
class PendingRead : public testing::Test {
 protected:
  pipe_handle* end() const { return pipe.end.get(); }

  ConnectedServer pipe;
};

class PendingWrite : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(writeThatTimesOut(end(), text), -3); }
  pipe_handle* end() const { return pipe.end.get(); }

  const std::string text = moreThanAPipeHolds();
  ConnectedServer pipe;
};

class PendingAccept : public testing::Test {
 protected:
  void SetUp() override {
    const WaitsEndWith wait(WAIT_TIMEOUT);
    ASSERT_EQ(pipe_accept(pipe.get(), 1), -3);
  }

  std::string name = uniquePipeName();
  UniquePipe pipe{pipe_create(name.c_str())};
};

}  // namespace kx
