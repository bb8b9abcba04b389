#include "host/service/runs.h"

#include <algorithm>
#include <exception>

#include <boost/algorithm/string/erase.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

#include "host/http/message.h"

namespace korvane::host {

namespace {

/// How long calls are kept out at a time while others run on, and then let in.
constexpr std::chrono::milliseconds kHush{300};

std::string draw_id() {
  std::string id = boost::uuids::to_string(boost::uuids::random_generator()());
  boost::algorithm::erase_all(id, "-");
  return id;
}

}  // namespace

Runs::Runs() : id_(draw_id()) {}

std::string Runs::id() const {
  const std::lock_guard lock(mutex_);
  return id_;
}

bool Runs::is_first() const {
  const std::lock_guard lock(mutex_);
  return is_first_;
}

Runs::Stay::Stay(Runs& runs, std::chrono::milliseconds patience) : runs_(runs) {
  std::unique_lock lock(runs_.mutex_);
  if (!runs_.has_changed_.wait_for(lock, patience, [&] { return !runs_.is_ending_; })) {
    throw HttpFault(problem("stopping"), "the server is being reloaded", {{"Retry-After", "1"}});
  }
  ++runs_.stays_;
}

Runs::Stay::~Stay() {
  const std::lock_guard lock(runs_.mutex_);
  if (--runs_.stays_ == 0) runs_.has_changed_.notify_all();
}

bool Runs::renew(std::chrono::milliseconds deadline, const std::function<void()>& change) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point end = Clock::now() + deadline;
  std::unique_lock lock(mutex_);
  const auto go_on = [&] {
    is_ending_ = false;
    has_changed_.notify_all();
  };
  const auto wait_for_quiet = [&](std::chrono::milliseconds time) {
    return has_changed_.wait_until(lock, std::min(end, Clock::now() + time),
                                   [&] { return stays_ == 0; });
  };
  // By turns, as one long call would keep all others out.
  for (is_ending_ = true; !wait_for_quiet(kHush); is_ending_ = true) {
    go_on();
    if (Clock::now() >= end) return false;
    wait_for_quiet(kHush);
  }
  lock.unlock();
  std::exception_ptr failure;
  try {
    change();
  } catch (...) {
    failure = std::current_exception();
  }
  lock.lock();
  id_ = draw_id();
  is_first_ = false;
  go_on();
  if (failure) std::rethrow_exception(failure);
  return true;
}

}  // namespace korvane::host
