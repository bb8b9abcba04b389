#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "sqlite/lock_probe.h"

namespace korvane::tools {

/// The second process of `korvane check --locks --with`: a server that tries the locks of its folder
/// with a process elsewhere. It touches no file but one whose name is that of a probe
/// (platform/app/lock_probe.h), which it does not make. Any thread may use it.
class ServedLocks {
 public:
  /// Files at a time.
  static constexpr std::size_t kMost = 4;
  /// How long a file stays open, with its locks, after its last order: the next request of anybody,
  /// for whichever file, closes it then.
  static constexpr std::chrono::seconds kIdle{60};

  /// Does what `order` says with the file `name` of the current directory, and returns what came of
  /// it. Throws host::HttpFault 400 for another name or an unknown order, 404 for a file that is not
  /// there and 503 for too many files, or an order beside another one.
  std::string run(const std::string& name, const std::string& order);

 private:
  using Clock = std::chrono::steady_clock;

  struct Entry {
    explicit Entry(const std::string& file) : probe(file) {}

    std::mutex in_use;
    sqlite::LockProbe probe;
    Clock::time_point last_use = Clock::now();
  };

  void close_idle();
  std::shared_ptr<Entry> entry_of(const std::string& name);

  std::mutex mutex_;
  std::map<std::string, std::shared_ptr<Entry>> entries_;
};

}  // namespace korvane::tools
