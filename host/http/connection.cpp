#include "host/http/connection.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <poll.h>
#include <string_view>
#include <utility>

#include <Poco/Net/HTTPMessage.h>
#include <Poco/String.h>
#include <Poco/StringTokenizer.h>

#include "host/http/coding.h"
#include "host/http/request_reader.h"

namespace korvane::host {

using Clock = ConnectionState::Clock;
using Poco::Net::StreamSocket;

namespace {

/// How long a refused request is still read, so that its sender sees the reply.
constexpr std::chrono::milliseconds kLingerTime{1000};
/// How long a connection beyond the limit has for its one request.
constexpr std::chrono::milliseconds kBriefTime{2000};
/// So much of a body leaves together with its header.
constexpr std::size_t kWithHead = 64U << 10U;

/// How many of `all` connections one client may have.
std::size_t share_of(std::size_t all) { return std::max<std::size_t>(1, all - all / 4); }

/// Whether a reply goes out compressed, if there is room for that. A smaller one would hardly become
/// smaller.
bool wants_compressed(const Poco::Net::HTTPRequest& head, const HttpReply& reply) {
  constexpr std::uint64_t kLeastBytes = 1024;
  return reply.body_bytes() >= kLeastBytes && !reply.is_compressed &&
         is_compressible(reply.content_type) &&
         head.getVersion() == Poco::Net::HTTPMessage::HTTP_1_1 &&
         takes_gzip(head.get("Accept-Encoding", ""));
}

/// Whether the other end wants to keep the connection (RFC 9112, section 9.3).
bool asks_to_stay(const Poco::Net::HTTPRequest& head) {
  bool is_kept = false;
  for (const auto& [name, value] : head) {
    if (Poco::icompare(name, Poco::Net::HTTPMessage::CONNECTION) != 0) continue;
    using Poco::StringTokenizer;
    const StringTokenizer options(value, ",",
                                  StringTokenizer::TOK_TRIM | StringTokenizer::TOK_IGNORE_EMPTY);
    for (const std::string& option : options) {
      if (Poco::icompare(option, "close") == 0) return false;
      is_kept = is_kept || Poco::icompare(option, "keep-alive") == 0;
    }
  }
  return is_kept || head.getVersion() != Poco::Net::HTTPMessage::HTTP_1_0;
}

/// One reply among those that are being compressed, which need some 300 KiB each. One too many goes
/// out as it is.
class Compression {
 public:
  Compression(std::atomic<int>& running, bool is_wanted) : running_(running) {
    constexpr int kMost = 64;
    if (!is_wanted) return;
    is_admitted_ = ++running_ <= kMost;
    if (!is_admitted_) --running_;
  }
  Compression(const Compression&) = delete;
  Compression& operator=(const Compression&) = delete;
  ~Compression() {
    if (is_admitted_) --running_;
  }

  bool is_admitted() const { return is_admitted_; }

 private:
  std::atomic<int>& running_;
  bool is_admitted_ = false;
};

/// Whether the other end has closed its side of the connection, or all of it.
bool is_closed(int descriptor) {
  pollfd one{descriptor, POLLRDHUP, 0};
  return ::poll(&one, 1, 0) == 1 && (one.revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0;
}

}  // namespace

HttpServer::Connection::Connection(HttpServer& server, const StreamSocket& socket,
                                   bool is_beyond_limit)
    : server_(server),
      descriptor_(socket.impl()->sockfd()),
      is_beyond_limit_(is_beyond_limit),
      is_last_request_(is_beyond_limit),
      peer_(socket.peerAddress().toString()),
      watch_(server, descriptor_, peer_.substr(0, peer_.rfind(':'))),
      stream_(server.encrypt_ ? server.encrypt_(socket) : socket) {
  stream_.socket().setNoDelay(true);  // or the last piece of a reply would wait
}

void HttpServer::Connection::run() {
  while (wait_for_request()) {
    started_ = Clock::now();
    watch_.with_state([&](ConnectionState& state) {
      state.begin_reading(is_beyond_limit_ ? kBriefTime : limits().transfer_time);
    });
    if (!serve_request() || is_beyond_limit_) break;
  }
}

bool HttpServer::Connection::wait_for_request() {
  const bool is_stopping = watch_.with_state([&](ConnectionState& state) {
    state.begin_idle();
    return server_.is_stopping_.load();
  });
  // Whoever was let connect is answered, and so is a request that came with the one before.
  if (is_stopping && !is_new_ && stream_.arrived().empty()) return false;
  is_new_ = false;
  if (is_beyond_limit_) return stream_.has_data(kBriefTime);
  return stream_.has_data(is_stopping ? ConnectionState::kTimeToBegin : limits().idle_time);
}

bool HttpServer::Connection::is_overdue() {
  return watch_.with_state([](const ConnectionState& state) { return state.is_overdue(); });
}

bool HttpServer::Connection::serve_request() {
  HttpRequest request;
  request.peer = peer_;
  request.is_encrypted = server_.encrypt_ != nullptr;
  request.is_beyond_limit = is_beyond_limit_;
  request.has_client_gone = [this] { return is_closed(descriptor_); };
  RequestReader reader(stream_, request.head, {limits().header_bytes, limits().body_bytes});
  try {
    reader.read_header();
  } catch (const HttpFault& fault) {
    return refuse(fault);
  } catch (const ConnectionEnd&) {
    if (is_overdue()) refuse(overdue());
    return false;
  }

  std::unique_ptr<HttpExchange> exchange = server_.handler_.begin(request);
  HttpReply reply;
  try {
    exchange->admit();
    enter_as(exchange->client());
    const std::string body =
        reader.read_body([&](std::uint64_t bytes) { exchange->hold_body(bytes); });
    watch_.with_state([](ConnectionState& state) { state.begin_answering(); });
    reply = exchange->answer(body);
  } catch (const HttpFault& fault) {
    reply = problem_reply(fault);
  } catch (const ConnectionEnd&) {
    reply = problem_reply(is_overdue() ? overdue() : HttpFault(400, "the body broke off"));
  } catch (const std::exception&) {
    reply = problem_reply({500, "the request could not be answered"});  // no memory, most likely
  }
  exchange->complete(reply);
  // What a reply that says so does not close, the other end may still send a request on.
  const bool is_left = server_.is_draining_ && stream_.arrived().empty();
  const bool keeps_alive = !reader.is_body_left() && !is_last_request_ && !reply.is_endless &&
                           asks_to_stay(request.head) && !server_.is_stopping_ && !is_left;
  const bool is_head_only = request.head.getMethod() == "HEAD";
  const Compression compression(server_.compressions_,
                                !is_head_only && wants_compressed(request.head, reply));
  const bool is_sent = compression.is_admitted() ? send_compressed(reply, keeps_alive)
                                                 : send(reply, keeps_alive, is_head_only);
  exchange->served(reply, Clock::now() - started_, is_sent);
  // Until the next request the connection is to hold nothing: neither memory that counts as the
  // client's nor the header.
  reply = {};
  exchange.reset();
  request = {};
  if (is_sent && (reader.is_body_left() || (is_left && !keeps_alive))) linger();
  return is_sent && keeps_alive;
}

void HttpServer::Connection::enter_as(const std::string& client) {
  if (client.empty()) return;  // a check of the server's health
  is_last_request_ = true;     // unless it gets in
  if (!watch_.with_state([](ConnectionState& state) { return state.admit(); })) {
    throw HttpFault(503, "the connection was closed to make room", {{"Retry-After", "1"}});
  }
  const std::optional<std::size_t> siblings = watch_.become(client);
  if (siblings && *siblings > share_of(limits().connections)) {
    throw HttpFault(429, "too many connections of \"" + client + "\" at a time",
                    {{"Retry-After", "1"}});
  }
  is_last_request_ = is_beyond_limit_;
}

HttpFault HttpServer::Connection::overdue() const {
  return {408, "the request did not arrive within " +
                   std::to_string(limits().transfer_time.count()) + " ms"};
}

bool HttpServer::Connection::refuse(const HttpFault& fault) {
  HttpReply reply = problem_reply(fault);
  server_.handler_.refuse(peer_, reply);
  if (send(reply, false, false)) linger();
  return false;
}

bool HttpServer::Connection::send(const HttpReply& reply, bool keeps_alive, bool is_head_only) {
  try {
    watch_.with_state([&](ConnectionState& state) { state.begin_writing(limits().transfer_time); });
    // Waits for the first of the body, to leave with it.
    std::string head = header_text(reply, keeps_alive);
    const auto write = [&](std::string_view piece) {
      if (reply.is_endless) {
        watch_.with_state(
            [&](ConnectionState& state) { state.begin_writing(limits().transfer_time); });
      }
      if (!head.empty()) {
        const std::string_view first = piece.substr(0, kWithHead);
        head += first;
        piece.remove_prefix(first.size());
        stream_.write_all(std::exchange(head, {}));
      }
      stream_.write_all(piece);
      if (reply.is_endless) {
        watch_.with_state([](ConnectionState& state) { state.begin_watching(); });
      }
    };
    const bool has_body = !is_head_only && reply.status != kNotModified;
    if (has_body && reply.stream_body) {
      reply.stream_body(write);
    } else if (has_body) {
      write(reply.body);
    }
    stream_.write_all(head);
    return true;
  } catch (const std::exception&) {
    return false;  // the other end has gone, or there is no memory for the rest
  }
}

bool HttpServer::Connection::send_compressed(const HttpReply& reply, bool keeps_alive) {
  const auto send_all = [&](std::string_view bytes) { stream_.write_all(bytes); };
  try {
    watch_.with_state([&](ConnectionState& state) { state.begin_writing(limits().transfer_time); });
    GzipChunks chunks(header_text(reply, keeps_alive, BodyCoding::gzip_in_chunks), send_all);
    if (reply.stream_body) {
      reply.stream_body([&](std::string_view piece) { chunks.write(piece); });
    } else {
      chunks.write(reply.body);
    }
    chunks.finish();
    return true;
  } catch (const std::exception&) {
    return false;  // as above
  }
}

void HttpServer::Connection::linger() {
  stream_.socket().shutdownSend();
  const auto end = Clock::now() + kLingerTime;
  try {
    for (auto now = Clock::now(); now < end; now = Clock::now()) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - now);
      if (!stream_.has_data(left)) return;
      stream_.receive();
      stream_.take(stream_.arrived().size());
    }
  } catch (const ConnectionEnd&) {
    return;
  }
}

}  // namespace korvane::host
