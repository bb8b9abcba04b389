#include "tests/support/wait_watch.h"

#include <atomic>
#include <stdexcept>
#include <utility>

#include <sqlite3.h>

namespace korvane::test {

namespace {

// The copy keeps the private data of the original, so the callbacks find their own state here.
sqlite3_vfs* real = nullptr;
sqlite3_vfs copy;
std::function<void()> on_wait;
std::atomic<int> wait_count = 0;
std::atomic<int> opening_count = 0;

int sleep(sqlite3_vfs*, int microseconds) {
  ++wait_count;
  if (on_wait) on_wait();
  return microseconds;
}

int open(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* out_flags) {
  ++opening_count;
  return real->xOpen(vfs, name, file, flags, out_flags);
}

}  // namespace

WaitWatch::WaitWatch(std::function<void()> callback) {
  if (real != nullptr) throw std::logic_error("one watch at a time");
  real = sqlite3_vfs_find(nullptr);
  copy = *real;
  copy.zName = "korvane_wait_watch";
  copy.xSleep = &sleep;
  copy.xOpen = &open;
  on_wait = std::move(callback);
  wait_count = 0;
  opening_count = 0;
  sqlite3_vfs_register(&copy, 1);
}

WaitWatch::~WaitWatch() {
  sqlite3_vfs_unregister(&copy);
  sqlite3_vfs_register(real, 1);
  on_wait = nullptr;
  real = nullptr;
}

int WaitWatch::waits() const { return wait_count; }
int WaitWatch::openings() const { return opening_count; }

}  // namespace korvane::test
