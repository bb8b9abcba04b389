#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "bench/wire/caller.h"

namespace korvane::bench::wire {

/// Of one round, in seconds.
struct Sample {
  double median = 0.0;
  double p99 = 0.0;
  double calls_per_second = 0.0;
};

/// Makes the connection of a number, from 0. Called by the thread that will use it.
using Connect = std::function<std::unique_ptr<Caller>(int)>;

/// Each connection sends its next call when its last one is answered, from a thread of its own. The
/// first calls of each are not counted.
Sample closed_loop(const Connect& connect, int connections, Operation operation,
                   std::chrono::duration<double> time);

/// `calls_per_second` in all, each at its time whatever became of those before, as far as there are
/// connections. Latency counts from the time at which a call was due.
Sample open_loop(const Connect& connect, int connections, Operation operation,
                 double calls_per_second, std::chrono::duration<double> time);

/// `count` calls by each connection, `after` each of which another one is made that is not counted.
/// `calls_per_second` stays 0.
Sample batches(const Connect& connect, int connections, Operation operation, Operation after,
               int count);

}  // namespace korvane::bench::wire
