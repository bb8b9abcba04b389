#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <exception>
#include <string_view>

#include <Poco/Net/StreamSocket.h>

namespace korvane::host {

/// The connection has ended, or was shut down because the other end was too slow.
struct ConnectionEnd : std::exception {};

/// Reads a connection through a buffer and writes to it. Every failure is a ConnectionEnd. Used by
/// one thread.
class Stream {
 public:
  explicit Stream(const Poco::Net::StreamSocket& socket) : socket_(socket) {}

  Poco::Net::StreamSocket& socket() { return socket_; }

  /// Waits for a byte or the end. False when `time` has passed.
  bool has_data(std::chrono::milliseconds time);
  /// What has come and has not been taken. Valid until `has_data` or `receive`.
  std::string_view arrived() const { return arrived_; }
  /// Waits until something has arrived.
  void receive();
  /// Takes the first bytes of what has arrived.
  void take(std::size_t bytes) { arrived_.remove_prefix(bytes); }
  void write_all(std::string_view text);

 private:
  /// Waits no longer than the socket's receive timeout. False when that has passed.
  bool try_receive();

  Poco::Net::StreamSocket socket_;
  std::chrono::milliseconds receive_timeout_{0};
  std::array<char, 16U << 10U> buffer_;
  std::string_view arrived_;
};

}  // namespace korvane::host
