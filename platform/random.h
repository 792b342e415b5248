// Random numbers.

#ifndef PLATFORM_RANDOM_H_
#define PLATFORM_RANDOM_H_

#include <cstdint>

namespace platform {

// A whole number drawn uniformly from `lowest` to `highest`, both included. Processes started in the same
// moment draw differently.
std::int32_t RandomInRange(std::int32_t lowest, std::int32_t highest);

}  // namespace platform

#endif  // PLATFORM_RANDOM_H_
