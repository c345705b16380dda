// An invariant of a fuzz target: when it fails, the input that broke it is kept by libFuzzer.
#pragma once

#include <cstdio>
#include <cstdlib>

#define KT_CHECK(condition)                                                           \
  do {                                                                                \
    if (!(condition)) {                                                               \
      std::fprintf(stderr, "invariant failed: %s (line %d)\n", #condition, __LINE__); \
      std::abort();                                                                   \
    }                                                                                 \
  } while (false)
