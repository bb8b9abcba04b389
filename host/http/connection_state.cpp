#include "host/http/connection_state.h"

#include <sys/ioctl.h>
#include <sys/socket.h>

namespace korvane::host {

namespace {

bool has_unread(int descriptor) {
  int bytes = 0;
  return ::ioctl(descriptor, FIONREAD, &bytes) == 0 && bytes > 0;
}

}  // namespace

void ConnectionState::begin_idle() {
  is_idle_ = is_at_rest_ = true;
  since_ = Clock::now();
  deadline_.reset();
}

void ConnectionState::begin_reading(std::chrono::milliseconds time) {
  is_idle_ = is_new_ = false;
  how_ = SHUT_RD;
  deadline_ = Clock::now() + time;
}

void ConnectionState::begin_answering() { deadline_.reset(); }

void ConnectionState::begin_watching() {
  is_at_rest_ = true;
  since_ = Clock::now();
  deadline_.reset();
}

void ConnectionState::begin_writing(std::chrono::milliseconds time) {
  how_ = SHUT_RDWR;
  deadline_ = Clock::now() + time;
}

void ConnectionState::shut_if_idle() {
  if (!is_idle_ || has_unread(descriptor_)) return;
  if (!is_new_) return shut();
  how_ = SHUT_RDWR;
  deadline_ = Clock::now() + kTimeToBegin;
}

bool ConnectionState::shut_if_at_rest() {
  if (!is_at_rest()) return false;
  shut();
  return true;
}

void ConnectionState::shut() {
  is_shut_ = true;
  ::shutdown(descriptor_, SHUT_RDWR);
}

void ConnectionState::shut_if_overdue(Clock::time_point now) {
  if (!deadline_ || now < *deadline_) return;
  deadline_.reset();
  is_overdue_ = true;
  ::shutdown(descriptor_, how_);
}

}  // namespace korvane::host
