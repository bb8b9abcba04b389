#include "host/delivery.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <utility>

namespace korvane::host {

using krv::rpc4::LiveService;

/// One call, owned by the thread that waits for it.
struct Delivery::Call {
  enum class State { waiting, running, done, dropped };

  const std::string& service_id;
  const Work& work;
  State state = State::waiting;
  bond::blob result{};
  std::exception_ptr failure{};
  std::condition_variable has_changed{};
};

struct Delivery::Queue {
  explicit Queue(void* live) : service(live) {}

  void* const service;
  std::deque<Call*> waiting;
  /// It stands among the ready ones or runs a call. Its callers may all give up meanwhile, so that
  /// nothing waiting does not say so.
  bool is_scheduled = false;
};

namespace {

[[noreturn]] void refuse(NotDelivered::Reason reason, const std::string& service_id) {
  switch (reason) {
    case NotDelivered::Reason::not_live:
      throw NotDelivered(reason, "no service " + service_id);
    case NotDelivered::Reason::queue_full:
      throw NotDelivered(reason, "too many calls wait for " + service_id);
    case NotDelivered::Reason::waited_too_long:
      throw NotDelivered(reason, "the call waited too long for " + service_id);
    case NotDelivered::Reason::stopping:
      break;
  }
  throw NotDelivered(reason, "the server is stopping");
}

LiveService find_or_refuse(const std::string& service_id) {
  const std::optional<LiveService> service = krv::rpc4::find_live_service(service_id);
  if (!service) refuse(NotDelivered::Reason::not_live, service_id);
  return *service;
}

}  // namespace

Delivery::Delivery(const DeliveryLimits& limits) : limits_(limits) {
  const std::size_t workers = std::max<std::size_t>(limits_.workers, 2);
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

bond::blob Delivery::deliver(const std::string& service_id, const Work& work) {
  const LiveService service = find_or_refuse(service_id);
  Call call{service_id, work};
  std::unique_lock lock(mutex_);
  if (is_stopping_) refuse(NotDelivered::Reason::stopping, service_id);
  Queue& queue = queues_.try_emplace(service.service, service.service).first->second;
  if (queue.waiting.size() >= limits_.waiting_calls) {
    refuse(NotDelivered::Reason::queue_full, service_id);
  }
  queue.waiting.push_back(&call);
  ++depth_;
  if (!queue.is_scheduled) {
    queue.is_scheduled = true;
    ready_.push_back(&queue);
    work_is_ready_.notify_one();
  }

  const auto has_begun = [&] { return call.state != Call::State::waiting; };
  if (!call.has_changed.wait_for(lock, limits_.waiting_time, has_begun)) {
    std::erase(queue.waiting, &call);
    leave();
    refuse(NotDelivered::Reason::waited_too_long, service_id);
  }
  call.has_changed.wait(lock, [&] { return call.state != Call::State::running; });
  if (call.state == Call::State::dropped) refuse(NotDelivered::Reason::stopping, service_id);
  if (call.failure) std::rethrow_exception(call.failure);
  return std::move(call.result);
}

void Delivery::run_calls() {
  std::unique_lock lock(mutex_);
  for (;;) {
    work_is_ready_.wait(lock, [&] { return is_ending_ || !ready_.empty(); });
    if (ready_.empty()) return;
    Queue& queue = *ready_.front();
    ready_.pop_front();
    run_next(lock, queue);
    if (!queue.waiting.empty()) {
      ready_.push_back(&queue);
      work_is_ready_.notify_one();
    } else {
      queues_.erase(queue.service);
    }
  }
}

void Delivery::run_next(std::unique_lock<std::mutex>& lock, Queue& queue) {
  if (queue.waiting.empty()) return;  // its callers have gone
  Call& call = *queue.waiting.front();
  queue.waiting.pop_front();
  call.state = Call::State::running;
  lock.unlock();
  bond::blob result;
  std::exception_ptr failure;
  try {
    // The service may have gone, or another one may bear its id, since the call came.
    const LiveService service = find_or_refuse(call.service_id);
    if (service.service != queue.service) {
      refuse(NotDelivered::Reason::not_live, call.service_id);
    }
    result = call.work(service);
  } catch (...) {
    failure = std::current_exception();
  }
  lock.lock();
  call.result = std::move(result);
  call.failure = std::move(failure);
  call.state = Call::State::done;
  // Under the lock: the caller destroys the call as soon as it sees that it is done.
  call.has_changed.notify_all();
  leave();
}

void Delivery::leave() {
  --depth_;
  if (depth_ == 0) is_idle_.notify_all();
}

void Delivery::drop_waiting() {
  for (auto& [service, queue] : queues_) {
    for (Call* const call : queue.waiting) {
      call->state = Call::State::dropped;
      call->has_changed.notify_all();
      leave();
    }
    queue.waiting.clear();
  }
}

bool Delivery::drain(std::chrono::milliseconds deadline) {
  std::unique_lock lock(mutex_);
  is_stopping_ = true;
  if (is_idle_.wait_for(lock, deadline, [&] { return depth_ == 0; })) return true;
  drop_waiting();
  return depth_ == 0;
}

std::size_t Delivery::depth() const {
  const std::lock_guard lock(mutex_);
  return depth_;
}

}  // namespace korvane::host
