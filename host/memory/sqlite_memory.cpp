#include "host/memory/sqlite_memory.h"

#include <sqlite3.h>

namespace korvane::host {

namespace {

sqlite3_mem_methods standard{};
SqliteMemoryObserver observer{};

void* allocate(int size) {
  if (!observer.take(size)) return nullptr;
  void* const memory = standard.xMalloc(size);
  // What it takes beyond what was asked for is given back with it, and so counts as well.
  const int surplus = memory == nullptr ? 0 : standard.xSize(memory) - size;
  if (memory != nullptr && (surplus == 0 || observer.take(surplus))) return memory;
  observer.give_back(size);
  if (memory != nullptr) standard.xFree(memory);
  return nullptr;
}

void release(void* memory) {
  if (memory == nullptr) return;
  observer.give_back(standard.xSize(memory));
  standard.xFree(memory);
}

void* reallocate(void* memory, int size) {
  const int before = standard.xSize(memory);
  const int more = size > before ? size - before : 0;
  if (!observer.take(more)) return nullptr;
  void* const moved = standard.xRealloc(memory, size);
  if (moved == nullptr) {
    observer.give_back(more);
    return nullptr;
  }
  // The block is there, so that a refusal of the little that is left over changes nothing.
  const int change = standard.xSize(moved) - before - more;
  if (change < 0) observer.give_back(-change);
  if (change > 0) observer.take(change);
  return moved;
}

}  // namespace

int observe_sqlite_memory(const SqliteMemoryObserver& wanted) {
  int result = sqlite3_config(SQLITE_CONFIG_GETMALLOC, &standard);
  if (result != SQLITE_OK) return result;
  observer = wanted;
  sqlite3_mem_methods methods = standard;
  methods.xMalloc = &allocate;
  methods.xFree = &release;
  methods.xRealloc = &reallocate;
  result = sqlite3_config(SQLITE_CONFIG_MALLOC, &methods);
  return result;
}

}  // namespace korvane::host
