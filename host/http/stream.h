#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <exception>
#include <string>
#include <string_view>

#include <Poco/Net/StreamSocket.h>

namespace korvane::host {

/// The other end of a connection has gone, or was too slow.
struct ConnectionEnd : std::exception {};

/// Reads a connection through a buffer and writes to it. Every failure is a ConnectionEnd. Used by
/// one thread.
class Stream {
 public:
  explicit Stream(const Poco::Net::StreamSocket& socket) : socket_(socket) {}

  Poco::Net::StreamSocket& socket() { return socket_; }

  /// Waits for a first byte or the end. False when `time` has passed.
  bool has_data(std::chrono::milliseconds time);
  char read_byte();
  /// Appends what has come, at most `bytes`. Returns how many there were.
  std::size_t read_some(std::string& text, std::size_t bytes);
  /// The same, and no further than to the end of a line.
  std::size_t read_some_of_line(std::string& text, std::size_t bytes);
  void write_all(std::string_view text);

 private:
  /// What has come and is not read yet; not empty.
  std::string_view arrived();

  Poco::Net::StreamSocket socket_;
  std::array<char, 16U << 10U> buffer_;
  std::string_view arrived_;
};

}  // namespace korvane::host
