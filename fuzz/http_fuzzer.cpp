// Any bytes, said on a connection to a server in this process. Each request that the handler gets
// to see is well formed, and is answered by one reply whose length is the one that it states; what
// is no request is refused with one of the documented statuses.

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <netinet/in.h>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/SocketAddress.h>

#include "fuzz/promise.h"
#include "host/http/server.h"

namespace {

using korvane::fuzz::promise;
using korvane::host::HttpExchange;
using korvane::host::HttpFault;
using korvane::host::HttpReply;
using korvane::host::HttpRequest;

constexpr std::chrono::seconds kLongWait{20};

/// All that a body may hold in memory.
constexpr std::uint64_t kHeldBytes = 256;

/// Small, so that short inputs reach them.
korvane::host::HttpLimits limits() {
  korvane::host::HttpLimits small;
  small.header_bytes = 1024;
  small.body_bytes = 512;
  small.connections = 4;
  small.idle_time = small.transfer_time = kLongWait;
  return small;
}

/// A reply as it must come to stand on the connection.
struct Expected {
  int status;
  std::size_t body_bytes;
};

/// Answers every request with its own body, and notes what goes out.
class Echo : public korvane::host::HttpHandler {
 public:
  std::unique_ptr<HttpExchange> begin(const HttpRequest& request) override {
    check(request.head);
    return std::make_unique<Exchange>(*this, request);
  }

  void refuse(const std::string&, HttpReply& reply) override { note(reply, false); }

  std::vector<Expected> take_replies() {
    const std::lock_guard lock(mutex_);
    return std::exchange(replies_, {});
  }

 private:
  class Exchange : public HttpExchange {
   public:
    Exchange(Echo& echo, const HttpRequest& request) : echo_(echo), request_(request) {}

    void admit() override {
      if (request_.head.getURI() == "/refused") throw HttpFault(403, "not this one");
    }

    const std::string& client() const override { return client_; }

    void hold_body(std::uint64_t bytes) override {
      if (bytes > kHeldBytes) throw HttpFault(503, "too much is held at a time");
    }

    HttpReply answer(const std::string& body) override {
      promise(body.size() <= kHeldBytes, "no body is beyond its limit");
      return {200, "application/octet-stream", body};
    }

    void complete(HttpReply& reply) override { reply.fields.emplace_back("Completed", "yes"); }

    void served(const HttpReply& reply, std::chrono::nanoseconds, bool) override {
      echo_.note(reply, request_.head.getMethod() == "HEAD");
    }

   private:
    Echo& echo_;
    const HttpRequest& request_;
    const std::string client_;
  };

  static void check(const Poco::Net::HTTPRequest& head) {
    const auto is_plain = [](const std::string& text) {
      return std::all_of(text.begin(), text.end(), [](char c) {
        return c == '\t' || (static_cast<unsigned char>(c) >= ' ' && c != '\x7F');
      });
    };
    promise(!head.getMethod().empty() && is_plain(head.getMethod()), "a method is a word");
    promise(is_plain(head.getURI()) && head.getURI().find(' ') == std::string::npos,
            "a target is one word");
    promise(head.getURI().starts_with('/') || head.getURI() == "*", "a target is a path");
    for (const auto& [name, value] : head) {
      promise(!name.empty() && is_plain(name), "a field has a name");
      promise(is_plain(value), "a field's value is plain text");
    }
  }

  void note(const HttpReply& reply, bool is_head_only) {
    const std::lock_guard lock(mutex_);
    replies_.push_back({reply.status, is_head_only ? 0 : reply.body.size()});
  }

  std::mutex mutex_;
  std::vector<Expected> replies_;
};

struct Server {
  Echo echo;
  Poco::Net::ServerSocket socket{Poco::Net::SocketAddress("127.0.0.1", 0)};
  std::uint16_t port = socket.address().port();
  korvane::host::HttpServer http{socket, echo, limits()};
};

/// Does it again whenever a signal, such as libFuzzer's clock, breaks it off.
template <class Call>
ssize_t uninterrupted(Call call) {
  ssize_t result = 0;
  do {
    result = call();
  } while (result < 0 && errno == EINTR);
  return result;
}

/// All that the server says when it is told these bytes and then no more.
std::string say(std::uint16_t port, std::string_view text) {
  const int connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const auto* const any_address = reinterpret_cast<const sockaddr*>(&address);
  promise(connect(connection, any_address, sizeof address) == 0, "a connection is accepted");
  while (!text.empty()) {
    const ssize_t count =
        uninterrupted([&] { return send(connection, text.data(), text.size(), MSG_NOSIGNAL); });
    if (count <= 0) break;  // refused before it was all said
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  shutdown(connection, SHUT_WR);
  std::string said;
  std::array<char, 4096> block{};
  for (;;) {
    const ssize_t count =
        uninterrupted([&] { return recv(connection, block.data(), block.size(), 0); });
    if (count <= 0) break;
    said.append(block.data(), static_cast<std::size_t>(count));
  }
  close(connection);
  return said;
}

/// Takes the header of a reply off the front of `said`.
Poco::Net::HTTPResponse take_header(std::string_view& said) {
  const std::size_t end = said.find("\r\n\r\n");
  promise(end != std::string_view::npos, "the header of a reply is whole");
  std::istringstream text(std::string(said.substr(0, end + 4)));
  said.remove_prefix(end + 4);
  Poco::Net::HTTPResponse header;
  header.read(text);
  return header;
}

void check_replies(std::string_view said, const std::vector<Expected>& replies) {
  static const std::set<int> kStatuses = {200, 400, 403, 413, 414, 415, 417, 431, 501, 503, 505};
  for (const Expected& expected : replies) {
    Poco::Net::HTTPResponse header = take_header(said);
    if (header.getStatus() == Poco::Net::HTTPResponse::HTTP_CONTINUE) header = take_header(said);
    const int status = header.getStatus();
    promise(status == expected.status, "a reply has the status that it was given");
    promise(kStatuses.contains(status), "a status is one of the documented");
    promise(expected.body_bytes <= said.size(), "a reply's body is whole");
    said.remove_prefix(expected.body_bytes);
  }
  promise(said.empty(), "nothing is said but replies");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Server server;
  const std::string said = say(server.port, {reinterpret_cast<const char*>(data), size});
  promise(server.http.wait_for_connections(kLongWait), "a connection ends when its client does");
  check_replies(said, server.echo.take_replies());
  return 0;
}
