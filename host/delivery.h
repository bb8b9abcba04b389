#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "bond/blob.h"
#include "platform/rpc4/directory.h"

namespace korvane::host {

/// A call that did not reach its service. Nothing of it was done.
class NotDelivered : public std::runtime_error {
 public:
  enum class Reason {
    /// No live service has that id: "no service <id>".
    not_live,
    /// The service's queue is full: "too many calls wait for <id>".
    queue_full,
    /// Its turn did not come in time: "the call waited too long for <id>".
    waited_too_long,
    /// "the server is stopping".
    stopping,
  };

  NotDelivered(Reason reason, const std::string& text) : std::runtime_error(text), why(reason) {}

  Reason why;
};

struct DeliveryLimits {
  /// Threads that run calls, at least 2: one service can then never hold up all others.
  std::size_t workers = 8;
  /// Calls that may wait for one service.
  std::size_t waiting_calls = 64;
  /// How long a call may wait for its turn.
  std::chrono::milliseconds waiting_time = std::chrono::seconds(30);
};

/// Delivers calls to live services: one at a time to each, in the order in which they came, and to
/// different services in parallel on a bounded set of threads. Services take turns, so that a long
/// queue for one does not delay another's. Every function may be called from every thread.
class Delivery {
 public:
  using Work = std::function<bond::blob(const krv::rpc4::LiveService& service)>;

  explicit Delivery(const DeliveryLimits& limits);
  Delivery(const Delivery&) = delete;
  Delivery& operator=(const Delivery&) = delete;
  /// Drops the calls that wait and waits for those that run.
  ~Delivery();

  /// Waits for the turn of the service's newest bearer of that id, runs `work` on a thread of the
  /// pool and returns its result, or throws what it throws. Throws NotDelivered when it was not
  /// run. A call that has begun is always waited for, however long it takes.
  bond::blob deliver(const std::string& service_id, const Work& work);

  /// Takes no more calls and lets those that run or wait finish. True when all have by then; else
  /// those that wait are dropped, and some still run.
  bool drain(std::chrono::milliseconds deadline);

  /// Calls that wait or run, for all services together.
  std::size_t depth() const;

 private:
  struct Call;
  struct Queue;

  void run_calls();
  void run_next(std::unique_lock<std::mutex>& lock, Queue& queue);
  void drop_waiting();
  void leave();

  const DeliveryLimits limits_;
  mutable std::mutex mutex_;
  std::condition_variable work_is_ready_;
  std::condition_variable is_idle_;
  /// The services for which calls wait or run.
  std::map<void*, Queue> queues_;
  /// The queues whose turn comes, in order; none that runs a call.
  std::deque<Queue*> ready_;
  std::size_t depth_ = 0;
  bool is_stopping_ = false;
  bool is_ending_ = false;
  std::vector<std::thread> workers_;
};

}  // namespace korvane::host
