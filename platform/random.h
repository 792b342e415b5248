// Random numbers.

#ifndef PLATFORM_RANDOM_H_
#define PLATFORM_RANDOM_H_

#include <cstdint>

namespace platform {

// Returns a uniformly distributed integer from `lowest` to `highest`, inclusive. Processes started at the same moment
// get different sequences.
std::int32_t RandomInRange(std::int32_t lowest, std::int32_t highest);

}  // namespace platform

#endif  // PLATFORM_RANDOM_H_
