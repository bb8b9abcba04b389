#include "bench/memory.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace {

std::atomic<bool> is_counting = false;
std::atomic<std::size_t> given = 0;
std::atomic<std::int64_t> live = 0;
std::atomic<std::int64_t> peak = 0;

void* try_allocate(std::size_t size) noexcept {
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (is_counting.load(std::memory_order_relaxed) && memory != nullptr) {
    ++given;
    const std::int64_t now = live += static_cast<std::int64_t>(malloc_usable_size(memory));
    peak = std::max(peak.load(), now);
  }
  return memory;
}

void* allocate(std::size_t size) {
  if (void* const memory = try_allocate(size)) return memory;
  throw std::bad_alloc();
}

void release(void* memory) noexcept {
  if (is_counting.load(std::memory_order_relaxed) && memory != nullptr) {
    live -= static_cast<std::int64_t>(malloc_usable_size(memory));
  }
  std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return try_allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return try_allocate(size);
}
void operator delete(void* memory) noexcept { release(memory); }
void operator delete[](void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { release(memory); }

namespace korvane::bench {

AllocationCount::AllocationCount() {
  given = 0;
  live = 0;
  peak = 0;
  is_counting = true;
}

AllocationCount::~AllocationCount() { is_counting = false; }

std::size_t AllocationCount::allocations() const { return given; }
std::int64_t AllocationCount::live_bytes() const { return live; }
std::int64_t AllocationCount::peak_bytes() const { return peak; }

}  // namespace korvane::bench
