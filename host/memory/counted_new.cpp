// The program's `operator new` and `delete`: malloc and free, counted. Linked into every program
// that asks whether they are.

#include <cstddef>
#include <cstdlib>
#include <malloc.h>
#include <new>

#include "host/memory/call_memory.h"

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

bool korvane::host::is_new_counted() {
  constexpr std::size_t kTrial = 1000;
  MemoryPool pool("bytes of a trial", kLarge * 2);
  CallMemory memory(pool, "", kLarge);
  const CallMemory::Scope scope(memory);
  // A volatile pointer: the compiler may leave out a pair of new and delete.
  char* volatile const block = new char[kTrial];
  const bool is_counted = memory.live() >= kTrial;
  delete[] block;
  return is_counted;
}

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
