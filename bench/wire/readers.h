#pragma once

#include <atomic>
#include <latch>
#include <thread>
#include <vector>

#include "bench/wire/load.h"

namespace korvane::bench::wire {

/// Clients that ask for large replies as long as the object lives, each on a connection and a
/// thread of its own.
class Readers {
 public:
  enum class Speed {
    /// The next call when the last reply is whole.
    full,
    /// Less than a megabyte a second, with no more of it in the kernel than must be. Connections
    /// must be those of HttpCaller.
    slow,
  };

  /// Returns when each has been sent something.
  Readers(const Connect& connect, int count, Speed speed);
  Readers(const Readers&) = delete;
  Readers& operator=(const Readers&) = delete;
  /// Throws nothing: a reader that failed has said so on the standard error.
  ~Readers();

 private:
  std::latch begun_;
  std::atomic<bool> is_over_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace korvane::bench::wire
