// Counting the heap allocations of single threads. A program that uses it has its
// operator new replaced, so it is a library of its own.
#pragma once

#include <atomic>
#include <cstdint>

namespace orventa {

// From now on the calling thread's allocations are added to `counter`, which must
// outlive the thread or the next call; null: they are not counted.
void CountAllocationsInto(std::atomic<uint64_t>* counter);

// While one lives, the calling thread's allocations are not counted.
class UncountedAllocations {
 public:
  UncountedAllocations();
  ~UncountedAllocations();
  UncountedAllocations(const UncountedAllocations&) = delete;
  UncountedAllocations& operator=(const UncountedAllocations&) = delete;
};

}  // namespace orventa
