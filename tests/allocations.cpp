#include "tests/allocations.h"

#include <algorithm>
#include <cstdlib>
#include <new>

Fault allocation_fault;
std::atomic<std::size_t> largest_allocation = 0;

void* operator new(std::size_t size) {
  largest_allocation = std::max(largest_allocation.load(), size);
  void* const memory = allocation_fault.Strikes() ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}

// Where the C++ library's own allocations go by AddressSanitizer instead, it must not take ours for a mistake.
extern "C" const char* __asan_default_options() {
  return "alloc_dealloc_mismatch=0";
}
