#include "bench/wire/http_caller.h"

#include <algorithm>
#include <cctype>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>
#include <sys/uio.h>
#include <system_error>
#include <unistd.h>

namespace korvane::bench::wire {

namespace {

constexpr std::size_t kFirstRead = 64 * 1024;

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

/// The value of Content-Length in a header.
std::size_t content_length(std::string_view header) {
  constexpr std::string_view kName = "\ncontent-length:";
  const auto found = std::ranges::search(header, kName, [](char have, char want) {
    return std::tolower(static_cast<unsigned char>(have)) == want;
  });
  if (found.empty()) throw std::runtime_error("a reply without Content-Length");
  return std::stoul(std::string(found.end(), header.end()));
}

}  // namespace

Socket::Socket(std::uint16_t port) : handle_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (handle_ < 0 ||
      connect(handle_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    fail("connect");
  }
  const int on = 1;
  setsockopt(handle_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

Socket::~Socket() { close(handle_); }

void Socket::send(const std::string& head, const std::string& body) const {
  iovec parts[] = {{const_cast<char*>(head.data()), head.size()},
                   {const_cast<char*>(body.data()), body.size()}};
  msghdr message{};
  message.msg_iov = parts;
  message.msg_iovlen = 2;
  for (std::size_t left = head.size() + body.size(); left > 0;) {
    const ssize_t sent = sendmsg(handle_, &message, MSG_NOSIGNAL);
    if (sent < 0) fail("send");
    auto taken = static_cast<std::size_t>(sent);
    left -= taken;
    for (iovec& part : parts) {
      const std::size_t of_part = std::min(taken, part.iov_len);
      part.iov_base = static_cast<char*>(part.iov_base) + of_part;
      part.iov_len -= of_part;
      taken -= of_part;
    }
  }
}

std::size_t Socket::receive(char* bytes, std::size_t size) const {
  const ssize_t received = recv(handle_, bytes, size, 0);
  if (received < 0) fail("receive");
  if (received == 0) throw std::runtime_error("the server has closed the connection");
  return static_cast<std::size_t>(received);
}

void Socket::receive_little() const {
  const int bytes = 4096;
  setsockopt(handle_, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
}

HttpCaller::HttpCaller(std::uint16_t port, const HttpRequests& requests)
    : socket_(port), requests_(requests), buffer_(kFirstRead, '\0') {}

void HttpCaller::send(Operation operation) const {
  const HttpRequest& request = requests_[static_cast<std::size_t>(operation)];
  socket_.send(request.head, *request.body);
}

void HttpCaller::call(Operation operation) {
  send(operation);
  read_reply();
}

void HttpCaller::read_reply() {
  std::size_t size = 0;
  std::size_t end = std::string::npos;
  while (end == std::string::npos) {
    if (size == buffer_.size()) throw std::runtime_error("a header that is too long");
    size += socket_.receive(buffer_.data() + size, buffer_.size() - size);
    end = std::string_view(buffer_.data(), size).find("\r\n\r\n");
  }
  const std::string_view header(buffer_.data(), end + 2);
  body_at_ = end + 4;
  body_size_ = content_length(header);
  const bool is_success = header.substr(header.find(' ') + 1).starts_with("200");
  const std::size_t whole = body_at_ + body_size_;
  if (buffer_.size() < whole) buffer_.resize(whole);
  while (size < whole) size += socket_.receive(buffer_.data() + size, whole - size);
  if (!is_success) throw std::runtime_error(buffer_.substr(0, size));
}

}  // namespace korvane::bench::wire
