// Stands before the allocations of the test program, so that a test can have one fail.

#ifndef TESTS_ALLOCATIONS_H_
#define TESTS_ALLOCATIONS_H_

#include <atomic>
#include <cstddef>

// Strikes when its turn comes, and if it lasts each time after that.
struct Fault {
  std::atomic<long> turns_left = 0;  // one more than there are until it strikes; 0 while it never does
  bool lasts = false;

  bool Strikes() {
    if (turns_left > 1) return --turns_left == 1;
    return turns_left == 1 && lasts;
  }
  bool HasStruck() const { return turns_left == 1; }
};

extern Fault allocation_fault;
extern std::atomic<std::size_t> largest_allocation;

#endif  // TESTS_ALLOCATIONS_H_
