#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>

namespace korvane::host {

/// The runs of a server: what the plugins give out, such as the ids of services, means the same
/// thing within one, and may mean another in the next. Every function may be called from every
/// thread.
class Runs {
 public:
  /// Begins the first run.
  Runs();
  Runs(const Runs&) = delete;
  Runs& operator=(const Runs&) = delete;

  /// The present run: 32 hexadecimal digits, drawn at random.
  std::string id() const;
  bool is_first() const;

  /// A call's stay in a run. No other run begins meanwhile.
  class Stay {
   public:
    /// Waits while one run ends and the next begins. Throws HttpFault 503 when that takes longer
    /// than `patience`.
    Stay(Runs& runs, std::chrono::milliseconds patience);
    Stay(const Stay&) = delete;
    Stay& operator=(const Stay&) = delete;
    ~Stay();

   private:
    Runs& runs_;
  };

  /// Waits until no call stays, calls `change` and begins a run. Meanwhile calls are kept out, but
  /// for no longer than a moment at a time. False, with the run going on, when calls stay still at
  /// the end of `deadline`. What `change` throws passes, once the next run has begun.
  bool renew(std::chrono::milliseconds deadline, const std::function<void()>& change);

 private:
  mutable std::mutex mutex_;
  std::condition_variable has_changed_;
  std::string id_;
  bool is_first_ = true;
  bool is_ending_ = false;
  std::size_t stays_ = 0;
};

}  // namespace korvane::host
