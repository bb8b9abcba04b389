// The program's `operator new` and `delete`: malloc and free, counted. Linked into every program
// that takes anything from the host's library and has none of its own.

#include <cstddef>
#include <cstdlib>
#include <malloc.h>
#include <new>

#include "host/call_memory.h"

namespace {

using korvane::host::CallMemory;

/// A claim of gigabytes must not reach the system: what is large is asked for before it is taken.
constexpr std::size_t kLarge = std::size_t{64} * 1024;

void* try_allocate(std::size_t size) noexcept {
  if (!CallMemory::is_counting()) return std::malloc(size == 0 ? 1 : size);
  const std::size_t asked = size > kLarge ? size : 0;
  if (!CallMemory::take(asked)) return nullptr;
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (memory != nullptr && CallMemory::take(malloc_usable_size(memory) - asked)) return memory;
  CallMemory::give_back(asked);
  std::free(memory);
  return nullptr;
}

void* allocate(std::size_t size) {
  if (void* const memory = try_allocate(size)) return memory;
  throw std::bad_alloc();
}

void release(void* memory) noexcept {
  if (CallMemory::is_counting()) CallMemory::give_back(malloc_usable_size(memory));
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
