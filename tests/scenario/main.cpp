// main() of the conversations: they run hosts and helpers in processes of their own as well. Names and
// folders are those of each test's user.
#include "support/win32/host_process.h"

#include <gtest/gtest.h>

int main(int argc, char** argv) {
  if (const std::optional<int> exitCode = runAsHost()) {
    return *exitCode;
  }
  if (const std::optional<int> exitCode = runAsHelper()) {
    return *exitCode;
  }
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
