#include "host/http/stream.h"

#include <algorithm>

#include <Poco/Exception.h>
#include <Poco/Timespan.h>

namespace korvane::host {

namespace {

template <class Action>
auto or_end(Action action) {
  try {
    return action();
  } catch (const Poco::Exception&) {
    throw ConnectionEnd();
  }
}

Poco::Timespan timespan_of(std::chrono::milliseconds time) {
  return {std::chrono::duration_cast<std::chrono::microseconds>(time).count()};
}

}  // namespace

bool Stream::has_data(std::chrono::milliseconds time) {
  if (!arrived_.empty()) return true;
  if (socket_.secure()) {
    return or_end([&] {
      return socket_.available() > 0 ||
             socket_.poll(timespan_of(time), Poco::Net::Socket::SELECT_READ);
    });
  }
  // Reading at once, where most of the time something comes, saves asking whether there is something.
  time = std::max(time, std::chrono::milliseconds(1));  // none at all would be no end to the socket
  if (time != receive_timeout_) {
    or_end([&] { socket_.setReceiveTimeout(timespan_of(time)); });
    receive_timeout_ = time;
  }
  return try_receive();
}

void Stream::receive() {
  // How long a request may take is watched from outside.
  while (arrived_.empty() && !try_receive()) continue;
}

bool Stream::try_receive() {
  const int count = or_end([&] {
    try {
      return socket_.receiveBytes(buffer_.data(), static_cast<int>(buffer_.size()));
    } catch (const Poco::TimeoutException&) {
      return -1;
    }
  });
  if (count == 0) throw ConnectionEnd();
  if (count < 0) return false;
  arrived_ = {buffer_.data(), static_cast<std::size_t>(count)};
  return true;
}

void Stream::write_all(std::string_view text) {
  while (!text.empty()) {
    constexpr std::size_t kBlock = 1U << 20U;
    const auto length = static_cast<int>(std::min(text.size(), kBlock));
    const int count = or_end([&] { return socket_.sendBytes(text.data(), length); });
    if (count <= 0) throw ConnectionEnd();
    text.remove_prefix(static_cast<std::size_t>(count));
  }
}

}  // namespace korvane::host
