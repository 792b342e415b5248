#include "platform/random.h"

#include <unistd.h>

#include <random>

#include "platform/clock.h"

namespace platform {

std::int32_t RandomInRange(std::int32_t lowest, std::int32_t highest) {
  // Seed from the clock and the process ID: the random device can fail when the process is out of descriptors.
  static std::mt19937 generator = [] {
    const auto now = static_cast<std::uint64_t>(MonotonicNow().count());
    std::seed_seq seed{static_cast<std::uint32_t>(now), static_cast<std::uint32_t>(now >> 32),
                       static_cast<std::uint32_t>(getpid())};
    return std::mt19937(seed);
  }();
  return std::uniform_int_distribution<std::int32_t>(lowest, highest)(generator);
}

}  // namespace platform
