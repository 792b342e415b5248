// Assertion for fuzz targets.

#pragma once

#include <cstdlib>

inline void Require(bool holds) {
  if (!holds) std::abort();
}
