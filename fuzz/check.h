// SPDX-License-Identifier: MIT
#pragma once

#include <cstdio>
#include <cstdlib>

/// Aborts the process where a property does not hold, so that the fuzzer keeps the input.
#define RB_CHECK(property)                                                        \
  do {                                                                            \
    if (!(property)) {                                                            \
      std::fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #property); \
      std::abort();                                                               \
    }                                                                             \
  } while (false)
