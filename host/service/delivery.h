#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace korvane::host {

/// A call that did not get its turn. Nothing of it was done.
class NotDelivered : public std::runtime_error {
 public:
  enum class Reason {
    /// Too many calls wait in the queue, or too many of this client's: "too many calls wait for
    /// <queue>".
    queue_full,
    /// Its turn did not come in time: "the call waited too long for <queue>".
    waited_too_long,
    /// "the caller has gone".
    caller_gone,
    /// "the server is stopping".
    stopping,
  };

  NotDelivered(Reason reason, const std::string& text) : std::runtime_error(text), why(reason) {}

  Reason why;
};

/// Thrown by a call that lets others have its turn. It has done nothing, and runs again after those
/// that wait.
struct GiveWay {};

struct DeliveryLimits {
  /// With fewer one queue or one client could hold up others.
  static constexpr std::size_t kFewestWorkers = 3;

  /// Calls that run at a time; fewer than `kFewestWorkers` count as that many.
  std::size_t workers = 8;
  /// Calls that may wait in one queue; three quarters of them of one client.
  std::size_t waiting_calls = 64;
  /// How long a call may wait for its turn.
  std::chrono::milliseconds waiting_time = std::chrono::seconds(30);
};

/// Runs calls in turns, each on the thread that brings it. A queue, such as a service has, runs one
/// call at a time, and different queues run in parallel, so many calls at a time as there may be.
/// The calls of a queue come from clients: of each client in the order in which they came, and the
/// clients in turns, so that a client waits for one call of each other, however many they have. Of
/// the calls that run three quarters at most are one client's. Every function may be called from
/// every thread.
class Delivery {
  struct Queue;

 public:
  /// What a call may ask during its turn.
  class Turn {
   public:
    /// Whether other calls wait in its queue.
    bool others_wait() const;

   private:
    friend class Delivery;
    Turn(const Delivery& delivery, const Queue& queue) : delivery_(delivery), queue_(queue) {}

    const Delivery& delivery_;
    const Queue& queue_;
  };

  using Work = std::function<void(const Turn& turn)>;

  struct Caller {
    std::string client;
    /// Whether nobody waits for the result any more; asked now and then before the call has its
    /// turn. None: somebody always does.
    std::function<bool()> has_gone = {};
  };

  explicit Delivery(const DeliveryLimits& limits);
  Delivery(const Delivery&) = delete;
  Delivery& operator=(const Delivery&) = delete;
  /// Drops the calls that wait and waits for those that run.
  ~Delivery();

  /// Waits for the turn, if need be, and runs `work`; throws what it throws, and NotDelivered when
  /// it was not run.
  void deliver(const std::string& queue, const Caller& caller, const Work& work);

  /// Takes no more calls and lets those that run or wait finish. True when all have by then; else
  /// those that wait are dropped, and some still run.
  bool drain(std::chrono::milliseconds deadline);

  /// Calls that wait or run, in all queues together.
  std::size_t depth() const;
  /// For how long the oldest of them has been there; zero without any.
  std::chrono::nanoseconds age_of_oldest() const;

 private:
  using Clock = std::chrono::steady_clock;
  struct Call;

  /// A client with calls that wait or run.
  struct Client {
    std::size_t calls = 0;
    std::size_t running = 0;
  };

  using Queues = std::map<std::string, Queue>;
  /// Calls that waited until they were let begin, or dropped: to be notified.
  using Woken = std::vector<std::shared_ptr<std::condition_variable>>;

  Queue& queue_of(const std::string& name);
  void refuse_surplus(const Queue& queue, const std::string& client) const;
  /// Whether a call of the client in this queue may begin at once.
  bool is_free(const Queue& queue, const std::string& client) const;
  /// Lets the call begin at once, or wait. Where there is no memory it throws std::bad_alloc, and
  /// nothing has changed; what comes later needs none, but for waiting once more.
  void take_in(Queue& queue, Call& call);
  void join(Call& call);
  void leave(const Call& call);
  /// Has the call wait. Throws std::bad_alloc, and has changed nothing then.
  void enter(Queue& queue, Call& call);
  /// Whether the call waits; else `failure` says why not.
  bool try_enter(Queue& queue, Call& call, std::exception_ptr& failure);
  /// Why the call does not get one, if so; it has left the queue then.
  std::optional<NotDelivered::Reason> wait_for_turn(std::unique_lock<std::mutex>& lock,
                                                    Queue& queue, Call& call);
  void leave_queue(Queue& queue, Call& call);
  /// Removes the queue unless a call waits or runs in it.
  void forget(Queue& queue);
  void make_ready(Queue& queue);
  void make_unready(Queue& queue);
  void begin(Queue& queue, Call& call);
  void end(Queue& queue, const Call& call);
  /// Lets begin whatever has its turn now.
  Woken begin_next();
  /// The queue whose turn it is and the client in it; null where none may run.
  std::pair<Queue*, const std::string*> next() const;
  std::size_t running_of(const std::string& client) const;
  void drop_waiting();

  const DeliveryLimits limits_;
  const std::size_t workers_;
  const std::size_t workers_of_client_;
  mutable std::mutex mutex_;
  std::condition_variable is_idle_;
  /// The queues in which calls wait or run.
  Queues queues_;
  /// Those in which calls wait and none runs, in the order of their turns.
  std::list<Queue*> ready_;
  std::size_t running_ = 0;
  std::map<std::string, Client> clients_;
  /// In the order in which they came.
  std::list<Call*> calls_;
  bool is_stopping_ = false;
};

}  // namespace korvane::host
