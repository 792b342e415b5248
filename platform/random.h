// Random numbers.

#pragma once

#include <cstdint>

namespace platform {

// Returns a uniformly distributed integer from `lowest` to `highest`, inclusive. Processes started at the same moment
// get different sequences.
std::int32_t RandomInRange(std::int32_t lowest, std::int32_t highest);

}  // namespace platform
