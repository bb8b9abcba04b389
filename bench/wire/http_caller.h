#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "bench/wire/caller.h"

namespace korvane::bench::wire {

/// A connected socket on the loopback that waits for no acknowledgement before it sends.
class Socket {
 public:
  explicit Socket(std::uint16_t port);
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  ~Socket();

  /// Both in one write, as far as the kernel takes them.
  void send(const std::string& head, const std::string& body) const;
  /// At most `size` bytes, at least one. Throws std::runtime_error at the end.
  std::size_t receive(char* bytes, std::size_t size) const;
  /// The least that the kernel keeps for a reader who does not come. To be asked for before
  /// anything is received.
  void receive_little() const;

 private:
  int handle_;
};

struct HttpRequest {
  /// With the empty line.
  std::string head;
  const std::string* body = nullptr;
};
using HttpRequests = std::array<HttpRequest, kOperations>;

/// HTTP/1.1 with as little work as can be. Knows replies with a Content-Length.
class HttpCaller : public Caller {
 public:
  /// `requests` must outlive it.
  HttpCaller(std::uint16_t port, const HttpRequests& requests);

  void call(Operation operation) override;
  std::string reply() const override { return buffer_.substr(body_at_, body_size_); }

  /// The two halves of a call, for those who take their time in between.
  void send(Operation operation) const;
  const Socket& socket() const { return socket_; }

 private:
  void read_reply();

  Socket socket_;
  const HttpRequests& requests_;
  std::string buffer_;
  std::size_t body_at_ = 0;
  std::size_t body_size_ = 0;
};

}  // namespace korvane::bench::wire
