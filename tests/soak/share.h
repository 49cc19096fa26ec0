// How long the long runs are: at full length when KX_SOAK is "full", as `./dev soak` sets it, otherwise a
// twentieth, which is their part in the test suite.
#pragma once

#include "support/environment.h"

inline bool isFullLength() {
  return EnvironmentVariable::valueOf("KX_SOAK") == "full";
}

inline int shareOf(int fullCount) {
  constexpr int kSuiteShare = 20;
  return isFullLength() ? fullCount : fullCount / kSuiteShare;
}
