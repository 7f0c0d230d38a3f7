#include "tests/fakes/counted_heap.h"

#include <cstdlib>
#include <new>

namespace {

thread_local std::atomic<uint64_t>* counter_of_thread = nullptr;
thread_local int uncounted = 0;

void* TryAllocate(std::size_t size) noexcept {
  if (counter_of_thread != nullptr && uncounted == 0) ++*counter_of_thread;
  return std::malloc(size == 0 ? 1 : size);
}

void* Allocate(std::size_t size) {
  void* memory = TryAllocate(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

void* operator new(std::size_t size) {
  return Allocate(size);
}
void* operator new[](std::size_t size) {
  return Allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return TryAllocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return TryAllocate(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace orventa {

void CountAllocationsInto(std::atomic<uint64_t>* counter) {
  counter_of_thread = counter;
}

UncountedAllocations::UncountedAllocations() {
  ++uncounted;
}

UncountedAllocations::~UncountedAllocations() {
  --uncounted;
}

}  // namespace orventa
