#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "sqlite/database.h"

namespace korvane::sqlite {

/// One process's side of a file on which several try whether their locks hold. It does what it is
/// told by a word, so that another process, here or on another machine, can tell it:
///
///     make       makes the file with its table     open       opens it, anew if it is open
///     begin      takes the lock for writing        exclusive  takes the lock that keeps readers out
///     read       begins to read: the value         commit, rollback, close
///     value      the value                         add        adds 1 to the value
///     count      adds 1, in 20 transactions        spill      changes the file before the commit
///     grow       adds a megabyte                   shrink     gives it back
///     state      rows, pages, bytes, soundness     journal    "there" or "none"
///
/// It opens the file as projects are opened, and waits for no lock. The file may come from anyone: an
/// order takes ten seconds at most, and none lets a file grow that has 16 MiB. Neither moved nor copied.
class LockProbe {
 public:
  static constexpr const char* kDone = "done";
  static constexpr const char* kBusy = "busy";
  static constexpr int kCounted = 20;

  explicit LockProbe(std::string file) : file_(std::move(file)) {}
  LockProbe(const LockProbe&) = delete;
  LockProbe& operator=(const LockProbe&) = delete;

  /// What came of it: "done", "busy" where a lock is not to be had, what was asked for, or what
  /// SQLite said, after "failed: ". Throws std::invalid_argument for an unknown word.
  std::string run(const std::string& name);

 private:
  struct Order;

  static const Order* find(std::string_view name);

  std::string make();
  std::string open();
  std::string close();
  std::string journal();
  std::string read();
  std::string spill();
  std::string value();
  std::string state();
  std::string count();
  void require_room() const;

  const std::string file_;
  /// Of the present order.
  std::chrono::steady_clock::time_point end_;
  std::unique_ptr<Database> database_;
};

}  // namespace korvane::sqlite
