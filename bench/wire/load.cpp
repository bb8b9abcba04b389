#include "bench/wire/load.h"

#include <algorithm>
#include <barrier>
#include <exception>
#include <mutex>
#include <stdexcept>
#include <sys/prctl.h>
#include <thread>
#include <vector>

namespace korvane::bench::wire {

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;
using Latencies = std::vector<double>;

constexpr int kWarmingCalls = 5;

/// A thread for each connection; all begin together once each is connected and warm.
class Crowd {
 public:
  /// What a connection does from `start` on; it adds the seconds of each call.
  using Work = std::function<void(Caller&, int connection, Clock::time_point start, Latencies&)>;

  Crowd(const Connect& connect, int connections, Operation warming, const Work& work)
      : start_line_(connections, Start{start_}) {
    std::vector<std::thread> threads;
    for (int i = 0; i < connections; ++i) {
      threads.emplace_back([&, i] { run(connect, i, warming, work); });
    }
    for (std::thread& thread : threads) thread.join();
    if (failure_) std::rethrow_exception(failure_);
  }

  Sample sample() {
    if (all_.empty()) throw std::logic_error("nothing was called");
    const auto at = [&](double part) {
      const auto place = std::min(
          all_.size() - 1, static_cast<std::size_t>(static_cast<double>(all_.size()) * part));
      std::ranges::nth_element(all_, all_.begin() + static_cast<std::ptrdiff_t>(place));
      return all_[place];
    };
    const double seconds = Seconds(end_ - start_).count();
    return {at(0.5), at(0.99), static_cast<double>(all_.size()) / seconds};
  }

 private:
  struct Start {
    Clock::time_point& time;
    void operator()() noexcept { time = Clock::now(); }
  };

  void run(const Connect& connect, int connection, Operation warming, const Work& work) {
    std::unique_ptr<Caller> caller;
    Latencies latencies;
    try {
      caller = connect(connection);
      for (int i = 0; i < kWarmingCalls; ++i) caller->call(warming);
    } catch (...) {
      keep_failure();
      caller.reset();
    }
    start_line_.arrive_and_wait();
    try {
      if (caller) work(*caller, connection, start_, latencies);
    } catch (...) {
      keep_failure();
    }
    const Clock::time_point end = Clock::now();
    const std::lock_guard lock(mutex_);
    end_ = std::max(end_, end);
    all_.insert(all_.end(), latencies.begin(), latencies.end());
  }

  void keep_failure() {
    const std::lock_guard lock(mutex_);
    failure_ = std::current_exception();
  }

  Clock::time_point start_;
  std::barrier<Start> start_line_;
  std::mutex mutex_;
  Clock::time_point end_;
  Latencies all_;
  std::exception_ptr failure_;
};

}  // namespace

Sample closed_loop(const Connect& connect, int connections, Operation operation, Seconds time) {
  Crowd crowd(connect, connections, operation,
              [&](Caller& caller, int, Clock::time_point start, Latencies& latencies) {
                const auto end = start + std::chrono::duration_cast<Clock::duration>(time);
                for (auto before = start; before < end;) {
                  caller.call(operation);
                  const Clock::time_point after = Clock::now();
                  latencies.push_back(Seconds(after - before).count());
                  before = after;
                }
              });
  return crowd.sample();
}

Sample open_loop(const Connect& connect, int connections, Operation operation,
                 double calls_per_second, Seconds time) {
  const Seconds between(1.0 / calls_per_second);
  Crowd crowd(connect, connections, operation,
              [&](Caller& caller, int connection, Clock::time_point start, Latencies& latencies) {
                // A call is sent when it is due, not up to 50 us later.
                prctl(PR_SET_TIMERSLACK, 1);
                for (int call = connection;; call += connections) {
                  const Seconds due = call * between;
                  if (due >= time) return;
                  const auto at = start + std::chrono::duration_cast<Clock::duration>(due);
                  std::this_thread::sleep_until(at);
                  caller.call(operation);
                  latencies.push_back(Seconds(Clock::now() - at).count());
                }
              });
  return crowd.sample();
}

Sample batches(const Connect& connect, int connections, Operation operation, Operation after,
               int count) {
  Crowd crowd(connect, connections, after,
              [&](Caller& caller, int, Clock::time_point, Latencies& latencies) {
                for (int i = 0; i < count; ++i) {
                  const Clock::time_point before = Clock::now();
                  caller.call(operation);
                  latencies.push_back(Seconds(Clock::now() - before).count());
                  caller.call(after);
                }
              });
  Sample sample = crowd.sample();
  sample.calls_per_second = 0.0;
  return sample;
}

}  // namespace korvane::bench::wire
