#include "tests/support/failing_memory.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <stdexcept>

#include <sqlite3.h>

namespace korvane::test {

namespace {

struct Plan {
  bool is_on = false;
  Allocator allocator = Allocator::kNew;
  Shortage shortage = Shortage::kOneAllocation;
  /// Allocations until the first to fail, that included.
  int left = 0;
  bool has_failed = false;

  /// Whether this allocation fails.
  bool counts_down(Allocator of) {
    if (!is_on || allocator != of) return false;
    if (has_failed) return shortage == Shortage::kAllAllocations;
    has_failed = --left == 0;
    return has_failed;
  }
};

thread_local Plan plan;

std::atomic<std::int64_t> live_of_new{0};
std::atomic<std::int64_t> live_of_sqlite{0};

void* try_new(std::size_t size) noexcept {
  if (plan.counts_down(Allocator::kNew)) return nullptr;
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (memory != nullptr) ++live_of_new;
  return memory;
}

void* allocate(std::size_t size) {
  if (void* const memory = try_new(size)) return memory;
  throw std::bad_alloc();
}

void release(void* memory) noexcept {
  if (memory != nullptr) --live_of_new;
  std::free(memory);
}

/// SQLite's own.
const sqlite3_mem_methods& sqlite_methods() {
  static const sqlite3_mem_methods methods = [] {
    sqlite3_mem_methods standard{};
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &standard);
    return standard;
  }();
  return methods;
}

void* sqlite_allocate(int size) {
  if (plan.counts_down(Allocator::kSqlite)) return nullptr;
  void* const memory = sqlite_methods().xMalloc(size);
  if (memory != nullptr) ++live_of_sqlite;
  return memory;
}

void* sqlite_reallocate(void* memory, int size) {
  return plan.counts_down(Allocator::kSqlite) ? nullptr : sqlite_methods().xRealloc(memory, size);
}

void sqlite_release(void* memory) {
  if (memory != nullptr) --live_of_sqlite;
  sqlite_methods().xFree(memory);
}

/// SQLite takes an allocator only before it is first used. The memory that a connection has ready
/// for small allocations would hide most of them, so it is switched off.
bool replace_sqlite_allocator() {
  sqlite3_mem_methods methods = sqlite_methods();
  methods.xMalloc = sqlite_allocate;
  methods.xRealloc = sqlite_reallocate;
  methods.xFree = sqlite_release;
  if (sqlite3_config(SQLITE_CONFIG_MALLOC, &methods) != SQLITE_OK ||
      sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 0, 0) != SQLITE_OK) {
    throw std::logic_error("SQLite is in use before its allocator was replaced");
  }
  return true;
}

[[maybe_unused]] const bool is_replaced = replace_sqlite_allocator();

}  // namespace

FailingMemory::FailingMemory(Allocator allocator, Shortage shortage, int nth) {
  plan = {true, allocator, shortage, nth};
}

FailingMemory::~FailingMemory() { plan.is_on = false; }

bool FailingMemory::has_failed() const { return plan.has_failed; }

LiveAllocations live_allocations() { return {live_of_new, live_of_sqlite}; }

}  // namespace korvane::test

// The nothrow forms too: under a sanitizer they would not match the `delete` defined here.
void* operator new(std::size_t size) { return korvane::test::allocate(size); }
void* operator new[](std::size_t size) { return korvane::test::allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return korvane::test::try_new(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return korvane::test::try_new(size);
}
void operator delete(void* memory) noexcept { korvane::test::release(memory); }
void operator delete[](void* memory) noexcept { korvane::test::release(memory); }
void operator delete(void* memory, std::size_t) noexcept { korvane::test::release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { korvane::test::release(memory); }
