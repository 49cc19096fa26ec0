#include "common/last_error.h"

#include <gtest/gtest.h>

namespace kx {

namespace {

TEST(LastError, AGuardPutsTheNumberBack) {
  platform::setLastErrorNumber(1234);
  {
    const LastErrorGuard guard;
    platform::setLastErrorNumber(5);
  }

  EXPECT_EQ(platform::lastErrorNumber(), 1234U);
}

TEST(LastError, ALogPrintsTheNumberAsASignedOne) {
  platform::setLastErrorNumber(203);
  EXPECT_EQ(lastErrorForLog(), 203);

  platform::setLastErrorNumber(0xFFFFFFFFU);
  EXPECT_EQ(lastErrorForLog(), -1);
}

}  // namespace

}  // namespace kx
