// How a fuzz target states a property: the process ends when it does not hold, and the fuzzer keeps the
// input.
#pragma once

#include <cstdio>
#include <cstdlib>

#define FUZZ_PROPERTY(condition, meaning)                                                        \
  do {                                                                                           \
    if (!(condition)) {                                                                          \
      std::fprintf(stderr, "%s:%d: not so: %s (%s)\n", __FILE__, __LINE__, meaning, #condition); \
      std::abort();                                                                              \
    }                                                                                            \
  } while (false)
