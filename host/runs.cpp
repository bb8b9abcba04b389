#include "host/runs.h"

#include <boost/algorithm/string/erase.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

#include "host/http/message.h"

namespace korvane::host {

namespace {

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
    throw HttpFault(503, "the server is being reloaded", {{"Retry-After", "1"}});
  }
  ++runs_.stays_;
}

Runs::Stay::~Stay() {
  const std::lock_guard lock(runs_.mutex_);
  if (--runs_.stays_ == 0) runs_.has_changed_.notify_all();
}

bool Runs::renew(std::chrono::milliseconds deadline, const std::function<void()>& change) {
  std::unique_lock lock(mutex_);
  is_ending_ = true;
  const auto go_on = [&] {
    is_ending_ = false;
    has_changed_.notify_all();
  };
  if (!has_changed_.wait_for(lock, deadline, [&] { return stays_ == 0; })) {
    go_on();
    return false;
  }
  lock.unlock();
  try {
    change();
  } catch (...) {
    lock.lock();
    go_on();
    throw;
  }
  lock.lock();
  id_ = draw_id();
  is_first_ = false;
  go_on();
  return true;
}

}  // namespace korvane::host
