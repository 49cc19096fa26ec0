// main() of the long runs: they run hosts in processes of their own as well. Names and folders are those of
// each test's user.
#include "soak/soak_host.h"

#include <gtest/gtest.h>

int main(int argc, char** argv) {
  if (const std::optional<int> exitCode = runAsSoakHost()) {
    return *exitCode;
  }
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
