#include "host/service/delivery.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <optional>
#include <utility>

namespace korvane::host {

/// One call, owned by the thread that waits for it.
struct Delivery::Call {
  enum class State { waiting, running, done, dropped };

  const Caller& caller;
  const Work& work;
  State state = State::waiting;
  std::exception_ptr failure{};
  std::condition_variable has_changed{};
  const Clock::time_point came = Clock::now();
};

struct Delivery::Queue {
  explicit Queue(std::string its_name) : name(std::move(its_name)) {}

  const std::string name;
  /// The calls that wait, by their client; of no client none.
  std::map<std::string, std::deque<Call*>> waiting;
  std::size_t waiting_calls = 0;
  /// The clients of those in the order of their turns.
  std::deque<std::string> turns;
  bool is_running = false;
};

namespace {

using std::chrono::milliseconds;

/// How often a waiting call asks whether its caller is still there.
constexpr milliseconds kLook{200};

/// What one client may have of `all`.
std::size_t share_of(std::size_t all) { return std::max<std::size_t>(1, all - (all + 3) / 4); }

[[noreturn]] void refuse(NotDelivered::Reason reason, const std::string& queue) {
  switch (reason) {
    case NotDelivered::Reason::queue_full:
      throw NotDelivered(reason, "too many calls wait for " + queue);
    case NotDelivered::Reason::waited_too_long:
      throw NotDelivered(reason, "the call waited too long for " + queue);
    case NotDelivered::Reason::caller_gone:
      throw NotDelivered(reason, "the caller has gone");
    case NotDelivered::Reason::stopping:
      break;
  }
  throw NotDelivered(reason, "the server is stopping");
}

}  // namespace

bool Delivery::Turn::others_wait() const {
  const std::lock_guard lock(delivery_.mutex_);
  return queue_.waiting_calls != 0;
}

Delivery::Delivery(const DeliveryLimits& limits)
    : limits_(limits),
      workers_of_client_(share_of(std::max(limits.workers, DeliveryLimits::kFewestWorkers))) {
  const std::size_t workers = std::max(limits_.workers, DeliveryLimits::kFewestWorkers);
  workers_.reserve(workers);
  for (std::size_t i = 0; i < workers; ++i) workers_.emplace_back([this] { run_calls(); });
}

Delivery::~Delivery() {
  {
    const std::lock_guard lock(mutex_);
    is_stopping_ = true;
    is_ending_ = true;
    drop_waiting();
  }
  work_is_ready_.notify_all();
  for (std::thread& worker : workers_) worker.join();
}

void Delivery::deliver(const std::string& queue_name, const Caller& caller, const Work& work) {
  Call call{caller, work};
  std::unique_lock lock(mutex_);
  if (is_stopping_) refuse(NotDelivered::Reason::stopping, queue_name);
  Queue& queue = queues_.try_emplace(queue_name, queue_name).first->second;
  const auto own = queue.waiting.find(caller.client);
  const std::size_t own_calls = own == queue.waiting.end() ? 0 : own->second.size();
  if (queue.waiting_calls >= limits_.waiting_calls ||
      own_calls >= share_of(limits_.waiting_calls)) {
    refuse(NotDelivered::Reason::queue_full, queue_name);
  }
  calls_.push_back(&call);
  const auto place = std::prev(calls_.end());
  const auto leave = [&] {
    calls_.erase(place);
    if (calls_.empty()) is_idle_.notify_all();
  };
  enter(queue, call);
  // A call that gives way waits once more.
  while (call.state == Call::State::waiting || call.state == Call::State::running) {
    try {
      wait_for_turn(lock, queue, call);
    } catch (const NotDelivered&) {
      leave();
      throw;
    }
    call.has_changed.wait(lock, [&] { return call.state != Call::State::running; });
  }
  leave();
  if (call.state == Call::State::dropped) refuse(NotDelivered::Reason::stopping, queue_name);
  if (call.failure) std::rethrow_exception(call.failure);
}

void Delivery::wait_for_turn(std::unique_lock<std::mutex>& lock, Queue& queue, Call& call) {
  const Clock::time_point end = Clock::now() + limits_.waiting_time;
  const auto has_begun = [&] { return call.state != Call::State::waiting; };
  while (!call.has_changed.wait_until(lock, std::min(end, Clock::now() + kLook), has_begun)) {
    std::optional<NotDelivered::Reason> reason;
    if (call.caller.has_gone && call.caller.has_gone()) reason = NotDelivered::Reason::caller_gone;
    if (Clock::now() >= end) reason = NotDelivered::Reason::waited_too_long;
    if (!reason) continue;
    const std::string name = queue.name;
    leave_queue(queue, call);
    forget(queue);
    refuse(*reason, name);
  }
}

void Delivery::enter(Queue& queue, Call& call) {
  std::deque<Call*>& of_client = queue.waiting[call.caller.client];
  of_client.push_back(&call);
  ++queue.waiting_calls;
  if (of_client.size() == 1) queue.turns.push_back(call.caller.client);
  if (queue.waiting_calls == 1 && !queue.is_running) ready_.push_back(&queue);
  work_is_ready_.notify_one();
}

void Delivery::leave_queue(Queue& queue, Call& call) {
  const auto own = queue.waiting.find(call.caller.client);
  std::erase(own->second, &call);
  --queue.waiting_calls;
  if (!own->second.empty()) return;
  std::erase(queue.turns, call.caller.client);
  queue.waiting.erase(own);
}

void Delivery::forget(Queue& queue) {
  if (queue.waiting_calls == 0) std::erase(ready_, &queue);
  // A call that runs finds its queue again.
  if (queue.waiting_calls == 0 && !queue.is_running) queues_.erase(std::string(queue.name));
}

std::size_t Delivery::running_of(const std::string& client) const {
  const auto found = running_of_clients_.find(client);
  return found == running_of_clients_.end() ? 0 : found->second;
}

std::pair<Delivery::Queue*, std::string> Delivery::next() const {
  std::pair<Queue*, std::string> best{nullptr, {}};
  std::size_t fewest = workers_of_client_;
  for (Queue* const queue : ready_) {
    for (const std::string& client : queue->turns) {
      const std::size_t running = running_of(client);
      if (running >= fewest) continue;
      best = {queue, client};
      fewest = running;
      if (fewest == 0) return best;
    }
  }
  return best;
}

void Delivery::run_calls() {
  std::unique_lock lock(mutex_);
  for (;;) {
    std::pair<Queue*, std::string> turn;
    work_is_ready_.wait(lock, [&] {
      turn = next();
      return is_ending_ || turn.first != nullptr;
    });
    if (turn.first == nullptr) return;
    run_one(lock, *turn.first, turn.second);
  }
}

void Delivery::run_one(std::unique_lock<std::mutex>& lock, Queue& queue,
                       const std::string& client) {
  Call& call = *queue.waiting.at(client).front();
  leave_queue(queue, call);
  // The client's next call waits for those of all others.
  if (queue.waiting.count(client) != 0) {
    std::erase(queue.turns, client);
    queue.turns.push_back(client);
  }
  std::erase(ready_, &queue);
  queue.is_running = true;
  ++running_of_clients_[client];
  call.state = Call::State::running;
  const Turn turn(*this, queue);

  lock.unlock();
  std::exception_ptr failure;
  bool has_given_way = false;
  try {
    call.work(turn);
  } catch (const GiveWay&) {
    has_given_way = true;
  } catch (...) {
    failure = std::current_exception();
  }
  lock.lock();

  const auto running = running_of_clients_.find(client);
  if (--running->second == 0) running_of_clients_.erase(running);
  queue.is_running = false;
  call.failure = std::move(failure);
  if (queue.waiting_calls != 0) ready_.push_back(&queue);
  if (has_given_way && !is_stopping_) {
    call.state = Call::State::waiting;
    enter(queue, call);
  } else {
    call.state = has_given_way ? Call::State::dropped : Call::State::done;
    forget(queue);
  }
  // Under the lock: the caller destroys the call as soon as it sees that it is done.
  call.has_changed.notify_all();
  // Another thread may have skipped what this client or this queue kept back.
  if (!ready_.empty()) work_is_ready_.notify_one();
}

void Delivery::drop_waiting() {
  for (auto entry = queues_.begin(); entry != queues_.end();) {
    Queue& queue = (entry++)->second;
    for (auto& [client, waiting] : queue.waiting) {
      for (Call* const call : waiting) {
        call->state = Call::State::dropped;
        call->has_changed.notify_all();
      }
    }
    queue.waiting.clear();
    queue.turns.clear();
    queue.waiting_calls = 0;
    forget(queue);
  }
}

bool Delivery::drain(std::chrono::milliseconds deadline) {
  std::unique_lock lock(mutex_);
  is_stopping_ = true;
  if (is_idle_.wait_for(lock, deadline, [&] { return calls_.empty(); })) return true;
  drop_waiting();
  return std::none_of(calls_.begin(), calls_.end(),
                      [](const Call* call) { return call->state == Call::State::running; });
}

std::size_t Delivery::depth() const {
  const std::lock_guard lock(mutex_);
  return calls_.size();
}

std::chrono::nanoseconds Delivery::age_of_oldest() const {
  const std::lock_guard lock(mutex_);
  return calls_.empty() ? Clock::duration::zero() : Clock::now() - calls_.front()->came;
}

}  // namespace korvane::host
