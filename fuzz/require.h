// Assertion for fuzz targets.

#ifndef FUZZ_REQUIRE_H_
#define FUZZ_REQUIRE_H_

#include <cstdlib>

inline void Require(bool holds) {
  if (!holds) std::abort();
}

#endif  // FUZZ_REQUIRE_H_
