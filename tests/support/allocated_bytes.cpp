#include "tests/support/allocated_bytes.h"

#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t allocated = 0;

void* try_allocate(std::size_t size) noexcept {
  allocated += size;
  return std::malloc(size == 0 ? 1 : size);
}

void* allocate(std::size_t size) {
  if (void* const memory = try_allocate(size)) return memory;
  throw std::bad_alloc();
}

}  // namespace

// The nothrow forms too: under a sanitizer they would not match the `delete` defined here.
void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return try_allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return try_allocate(size);
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

std::size_t korvane::test::allocated_bytes() { return allocated; }
