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

}  // namespace

bool Stream::has_data(std::chrono::milliseconds time) {
  return or_end([&] {
    const Poco::Timespan timespan(
        std::chrono::duration_cast<std::chrono::microseconds>(time).count());
    return !arrived_.empty() || socket_.available() > 0 ||
           socket_.poll(timespan, Poco::Net::Socket::SELECT_READ);
  });
}

void Stream::receive() {
  if (!arrived_.empty()) return;
  const int count = or_end(
      [&] { return socket_.receiveBytes(buffer_.data(), static_cast<int>(buffer_.size())); });
  if (count <= 0) throw ConnectionEnd();
  arrived_ = {buffer_.data(), static_cast<std::size_t>(count)};
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
