#include "host/service/delivery.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <new>
#include <optional>
#include <utility>

namespace korvane::host {

/// One call, on the stack of the thread that brings it.
struct Delivery::Call {
  enum class State { waiting, running, dropped };

  const Caller& caller;
  State state = State::waiting;
  /// Of a call that waits. Whoever notifies it does so when the call may be over already.
  std::shared_ptr<std::condition_variable> has_changed{};
  std::list<Call*>::iterator place{};
  std::map<std::string, Client>::iterator of_client{};
  const Clock::time_point came = Clock::now();
};

struct Delivery::Queue {
  /// Its own place among the queues.
  Queues::iterator place{};
  /// The calls that wait, by their client; of no client none.
  std::map<std::string, std::deque<Call*>> waiting{};
  std::size_t waiting_calls = 0;
  /// The clients of those in the order of their turns.
  std::deque<std::string> turns{};
  bool is_running = false;
  /// Itself, for the list of those that are ready, which it joins and leaves without memory.
  std::list<Queue*> itself{this};
  std::list<Queue*>::iterator place_in_ready = itself.begin();
  bool is_ready = false;
};

namespace {

using std::chrono::milliseconds;

/// How often a waiting call asks whether its caller is still there.
constexpr milliseconds kLookAtClient{200};

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

/// What became of a call's work.
struct Outcome {
  bool has_given_way = false;
  std::exception_ptr failure{};
};

Outcome outcome_of(const Delivery::Work& work, const Delivery::Turn& turn) {
  try {
    work(turn);
    return {};
  } catch (const GiveWay&) {
    return {.has_given_way = true};
  } catch (...) {
    return {.failure = std::current_exception()};
  }
}

void notify(const std::vector<std::shared_ptr<std::condition_variable>>& woken) {
  for (const auto& one : woken) one->notify_one();
}

}  // namespace

bool Delivery::Turn::others_wait() const {
  const std::lock_guard lock(delivery_.mutex_);
  return queue_.waiting_calls != 0;
}

Delivery::Delivery(const DeliveryLimits& limits)
    : limits_(limits),
      workers_(std::max(limits.workers, DeliveryLimits::kFewestWorkers)),
      workers_of_client_(share_of(workers_)) {}

Delivery::~Delivery() {
  std::unique_lock lock(mutex_);
  is_stopping_ = true;
  drop_waiting();
  is_idle_.wait(lock, [&] { return calls_.empty(); });
}

void Delivery::deliver(const std::string& queue_name, const Caller& caller, const Work& work) {
  Call call{caller};
  std::unique_lock lock(mutex_);
  if (is_stopping_) refuse(NotDelivered::Reason::stopping, queue_name);
  Queue& queue = queue_of(queue_name);
  take_in(queue, call);
  Woken woken = begin_next();
  for (;;) {
    notify(woken);
    if (const auto reason = wait_for_turn(lock, queue, call)) {
      leave(call);
      refuse(*reason, queue_name);
    }
    lock.unlock();
    Outcome outcome = outcome_of(work, Turn(*this, queue));
    lock.lock();
    end(queue, call);
    // A call that gives way waits once more.
    const bool runs_again =
        outcome.has_given_way && !is_stopping_ && try_enter(queue, call, outcome.failure);
    if (!runs_again) forget(queue);
    woken = begin_next();
    if (runs_again) continue;
    leave(call);
    lock.unlock();
    notify(woken);
    if (outcome.failure) std::rethrow_exception(outcome.failure);
    if (outcome.has_given_way) refuse(NotDelivered::Reason::stopping, queue_name);
    return;
  }
}

Delivery::Queue& Delivery::queue_of(const std::string& name) {
  const Queues::iterator place = queues_.try_emplace(name).first;
  place->second.place = place;
  return place->second;
}

void Delivery::refuse_surplus(const Queue& queue, const std::string& client) const {
  const auto own = queue.waiting.find(client);
  const std::size_t own_calls = own == queue.waiting.end() ? 0 : own->second.size();
  if (queue.waiting_calls >= limits_.waiting_calls ||
      own_calls >= share_of(limits_.waiting_calls)) {
    refuse(NotDelivered::Reason::queue_full, queue.place->first);
  }
}

bool Delivery::is_free(const Queue& queue, const std::string& client) const {
  // What else might have begun has done so.
  return queue.waiting_calls == 0 && !queue.is_running && running_ < workers_ &&
         running_of(client) < workers_of_client_;
}

void Delivery::take_in(Queue& queue, Call& call) {
  try {
    refuse_surplus(queue, call.caller.client);
    join(call);
  } catch (...) {
    forget(queue);
    throw;
  }
  if (is_free(queue, call.caller.client)) return begin(queue, call);
  try {
    enter(queue, call);
  } catch (...) {
    leave(call);
    forget(queue);
    throw;
  }
}

void Delivery::join(Call& call) {
  call.of_client = clients_.try_emplace(call.caller.client).first;
  try {
    call.place = calls_.insert(calls_.end(), &call);
  } catch (...) {
    if (call.of_client->second.calls == 0) clients_.erase(call.of_client);
    throw;
  }
  ++call.of_client->second.calls;
}

void Delivery::leave(const Call& call) {
  calls_.erase(call.place);
  if (--call.of_client->second.calls == 0) clients_.erase(call.of_client);
  // Under the lock: whoever waits for the last call may destroy this.
  if (calls_.empty()) is_idle_.notify_all();
}

std::optional<NotDelivered::Reason> Delivery::wait_for_turn(std::unique_lock<std::mutex>& lock,
                                                            Queue& queue, Call& call) {
  using Reason = NotDelivered::Reason;
  if (call.state == Call::State::running) return std::nullopt;
  const Clock::time_point end = Clock::now() + limits_.waiting_time;
  const auto has_begun = [&] { return call.state != Call::State::waiting; };
  while (
      !call.has_changed->wait_until(lock, std::min(end, Clock::now() + kLookAtClient), has_begun)) {
    std::optional<Reason> reason;
    if (call.caller.has_gone && call.caller.has_gone()) reason = Reason::caller_gone;
    if (Clock::now() >= end) reason = Reason::waited_too_long;
    if (!reason) continue;
    leave_queue(queue, call);
    forget(queue);
    return reason;
  }
  if (call.state == Call::State::dropped) return Reason::stopping;
  return std::nullopt;
}

void Delivery::enter(Queue& queue, Call& call) {
  if (!call.has_changed) call.has_changed = std::make_shared<std::condition_variable>();
  const auto own = queue.waiting.try_emplace(call.caller.client).first;
  try {
    own->second.push_back(&call);
    if (own->second.size() == 1) queue.turns.push_back(call.caller.client);
  } catch (...) {
    std::erase(own->second, &call);
    if (own->second.empty()) queue.waiting.erase(own);
    throw;
  }
  call.state = Call::State::waiting;
  ++queue.waiting_calls;
  if (!queue.is_running) make_ready(queue);
}

bool Delivery::try_enter(Queue& queue, Call& call, std::exception_ptr& failure) {
  try {
    enter(queue, call);
    return true;
  } catch (...) {
    failure = std::current_exception();
    return false;
  }
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
  if (queue.waiting_calls != 0) return;
  make_unready(queue);
  // A call that runs finds its queue again.
  if (!queue.is_running) queues_.erase(queue.place);
}

void Delivery::make_ready(Queue& queue) {
  if (!std::exchange(queue.is_ready, true)) ready_.splice(ready_.end(), queue.itself);
}

void Delivery::make_unready(Queue& queue) {
  if (std::exchange(queue.is_ready, false)) {
    queue.itself.splice(queue.itself.end(), ready_, queue.place_in_ready);
  }
}

void Delivery::begin(Queue& queue, Call& call) {
  call.state = Call::State::running;
  queue.is_running = true;
  ++running_;
  ++call.of_client->second.running;
}

void Delivery::end(Queue& queue, const Call& call) {
  --running_;
  --call.of_client->second.running;
  queue.is_running = false;
  if (queue.waiting_calls != 0) make_ready(queue);
}

Delivery::Woken Delivery::begin_next() {
  Woken woken;
  while (running_ < workers_ && !ready_.empty()) {
    const auto [queue, client] = next();
    if (queue == nullptr) break;
    Call& call = *queue->waiting.at(*client).front();
    leave_queue(*queue, call);
    // The client's next call waits for those of all others.
    const auto turn = std::find(queue->turns.begin(), queue->turns.end(), call.caller.client);
    if (turn != queue->turns.end()) std::rotate(turn, turn + 1, queue->turns.end());
    make_unready(*queue);
    begin(*queue, call);
    if (!call.has_changed) continue;
    try {
      woken.push_back(call.has_changed);
    } catch (const std::bad_alloc&) {
      call.has_changed->notify_one();
    }
  }
  return woken;
}

std::pair<Delivery::Queue*, const std::string*> Delivery::next() const {
  std::pair<Queue*, const std::string*> best{nullptr, nullptr};
  std::size_t fewest = workers_of_client_;
  for (Queue* const queue : ready_) {
    const auto client =
        std::find_if(queue->turns.begin(), queue->turns.end(),
                     [&](const std::string& one) { return running_of(one) < workers_of_client_; });
    if (client == queue->turns.end() || running_of(*client) >= fewest) continue;
    best = {queue, &*client};
    fewest = running_of(*client);
    if (fewest == 0) return best;
  }
  return best;
}

std::size_t Delivery::running_of(const std::string& client) const {
  const auto found = clients_.find(client);
  return found == clients_.end() ? 0 : found->second.running;
}

void Delivery::drop_waiting() {
  for (auto entry = queues_.begin(); entry != queues_.end();) {
    Queue& queue = (entry++)->second;
    for (auto& [client, waiting] : queue.waiting) {
      for (Call* const call : waiting) {
        call->state = Call::State::dropped;
        if (call->has_changed) call->has_changed->notify_one();
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
