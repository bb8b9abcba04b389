#pragma once

#include <chrono>
#include <cstddef>
#include <exception>
#include <string>
#include <string_view>

#include <Poco/Net/HTTPSession.h>
#include <Poco/Net/StreamSocket.h>

namespace korvane::host {

/// The other end of a connection has gone, or was too slow.
struct ConnectionEnd : std::exception {};

/// Reads and writes a connection through a buffer, Poco's. Every failure is a ConnectionEnd. Used
/// by one thread.
class Stream : public Poco::Net::HTTPSession {
 public:
  explicit Stream(const Poco::Net::StreamSocket& socket) : HTTPSession(socket) {}

  /// Waits for a first byte or the end. False when `time` has passed.
  bool has_data(std::chrono::milliseconds time);
  char read_byte();
  /// Appends what has come, at most `bytes`. Returns how many there were.
  std::size_t read_some(std::string& text, std::size_t bytes);
  void write_all(std::string_view text);
};

}  // namespace korvane::host
