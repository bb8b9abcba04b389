#include "host/http/stream.h"

#include <algorithm>
#include <array>

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
    return buffered() > 0 || socket().available() > 0 ||
           socket().poll(timespan, Poco::Net::Socket::SELECT_READ);
  });
}

char Stream::read_byte() {
  // A byte FF looks like the end: what is buffered tells.
  or_end([&] { return peek(); });
  if (buffered() == 0) throw ConnectionEnd();
  return static_cast<char>(get());
}

std::size_t Stream::read_some(std::string& text, std::size_t bytes) {
  std::array<char, 16U << 10U> block;
  const auto length = static_cast<std::streamsize>(std::min(bytes, block.size()));
  const int count = or_end([&] { return read(block.data(), length); });
  if (count <= 0) throw ConnectionEnd();
  text.append(block.data(), static_cast<std::size_t>(count));
  return static_cast<std::size_t>(count);
}

void Stream::write_all(std::string_view text) {
  while (!text.empty()) {
    constexpr std::size_t kBlock = 1U << 20U;
    const auto length = static_cast<std::streamsize>(std::min(text.size(), kBlock));
    const int count = or_end([&] { return write(text.data(), length); });
    if (count <= 0) throw ConnectionEnd();
    text.remove_prefix(static_cast<std::size_t>(count));
  }
}

}  // namespace korvane::host
