#include "common/timeouts.h"

#include <gtest/gtest.h>

#include <limits>

namespace kx {

namespace {

constexpr int kSmallest = std::numeric_limits<int>::min();
constexpr int kLargest = std::numeric_limits<int>::max();
constexpr std::uint32_t kForEver = 4294967295U;

TEST(Timeouts, TimeoutsAreTenMinutesWhenAHostGivesANegativeOneAndElseAsGiven) {
  for (const int seconds : {-1, -5, kSmallest}) {
    EXPECT_EQ(timeoutFromHost(seconds), 600) << seconds;
  }
  for (const int seconds : {0, 1, 601, kLargest}) {
    EXPECT_EQ(timeoutFromHost(seconds), seconds);
  }
}

TEST(Timeouts, TimeoutsBecomeMillisecondsThatStayJustBelowForEver) {
  const struct {
    int seconds;
    std::uint32_t transport;
    std::uint32_t shutdown;
  } cases[] = {
      {0, kForEver, 10000},
      {-1, 600000, 10000},
      {kSmallest, 600000, 10000},
      {1, 1000, 1000},
      {3, 3000, 3000},
      {600, 600000, 600000},
      {4294967, 4294967000U, 4294967000U},
      {4294968, kForEver - 1, kForEver - 1},
      {kLargest, kForEver - 1, kForEver - 1},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(transportWaitMilliseconds(c.seconds), c.transport) << c.seconds;
    EXPECT_EQ(shutdownWaitMilliseconds(c.seconds), c.shutdown) << c.seconds;
  }
}

TEST(Timeouts, FixedWaitsAreTwoSecondsFiveSecondsAndTenMinutes) {
  EXPECT_EQ(kConnectPauseMilliseconds, 2000U);
  EXPECT_EQ(kBusyPipeWaitMilliseconds, 5000U);
  EXPECT_EQ(kStartLockWaitMilliseconds, 600000U);
}

}  // namespace

}  // namespace kx
