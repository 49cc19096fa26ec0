#include "common/timeouts.h"

#include <gtest/gtest.h>

#include <limits>

namespace kx {

namespace {

constexpr int kSmallest = std::numeric_limits<int>::min();
constexpr int kLargest = std::numeric_limits<int>::max();

TEST(Seconds, ANegativeTimeoutOfAHostIsTenMinutes) {
  EXPECT_EQ(timeoutFromHost(-1), 600);
  EXPECT_EQ(timeoutFromHost(-5), 600);
  EXPECT_EQ(timeoutFromHost(kSmallest), 600);
}

TEST(Seconds, ATimeoutOfAHostFromZeroUpIsKept) {
  EXPECT_EQ(timeoutFromHost(0), 0);
  EXPECT_EQ(timeoutFromHost(1), 1);
  EXPECT_EQ(timeoutFromHost(601), 601);
  EXPECT_EQ(timeoutFromHost(kLargest), kLargest);
}

TEST(Seconds, ATransportWaitOfZeroSecondsLastsForEver) {
  EXPECT_EQ(transportWaitMilliseconds(0), 4294967295U);
}

TEST(Seconds, ANegativeTransportWaitLastsTenMinutes) {
  EXPECT_EQ(transportWaitMilliseconds(-1), 600000U);
  EXPECT_EQ(transportWaitMilliseconds(-5), 600000U);
  EXPECT_EQ(transportWaitMilliseconds(kSmallest), 600000U);
}

TEST(Seconds, ATransportWaitIsAThousandMillisecondsPerSecond) {
  EXPECT_EQ(transportWaitMilliseconds(1), 1000U);
  EXPECT_EQ(transportWaitMilliseconds(3), 3000U);
  EXPECT_EQ(transportWaitMilliseconds(600), 600000U);
  EXPECT_EQ(transportWaitMilliseconds(4294967), 4294967000U);
}

TEST(Seconds, ATransportWaitThatDoesNotFitStaysJustBelowForEver) {
  EXPECT_EQ(transportWaitMilliseconds(4294968), 4294967294U);
  EXPECT_EQ(transportWaitMilliseconds(kLargest), 4294967294U);
}

TEST(Seconds, AShutdownWaitOfZeroOrLessLastsTenSeconds) {
  EXPECT_EQ(shutdownWaitMilliseconds(0), 10000U);
  EXPECT_EQ(shutdownWaitMilliseconds(-1), 10000U);
  EXPECT_EQ(shutdownWaitMilliseconds(kSmallest), 10000U);
}

TEST(Seconds, AShutdownWaitIsAThousandMillisecondsPerSecond) {
  EXPECT_EQ(shutdownWaitMilliseconds(1), 1000U);
  EXPECT_EQ(shutdownWaitMilliseconds(5), 5000U);
  EXPECT_EQ(shutdownWaitMilliseconds(4294967), 4294967000U);
}

TEST(Seconds, AShutdownWaitIsNeverForEver) {
  EXPECT_EQ(shutdownWaitMilliseconds(4294968), 4294967294U);
  EXPECT_EQ(shutdownWaitMilliseconds(kLargest), 4294967294U);
}

TEST(Seconds, TheFixedWaitsAreTwoSecondsFiveSecondsAndTenMinutes) {
  EXPECT_EQ(kConnectPauseMilliseconds, 2000U);
  EXPECT_EQ(kBusyPipeWaitMilliseconds, 5000U);
  EXPECT_EQ(kStartLockWaitMilliseconds, 600000U);
}

}  // namespace

}  // namespace kx
