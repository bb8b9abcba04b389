#include "host/http/server.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <csignal>
#include <exception>
#include <functional>
#include <limits>
#include <optional>
#include <sstream>
#include <string_view>
#include <sys/socket.h>
#include <system_error>
#include <utility>

#include <Poco/Exception.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/HTTPSession.h>
#include <Poco/String.h>
#include <Poco/Timespan.h>

namespace korvane::host {

using Clock = std::chrono::steady_clock;
using Poco::Net::HTTPMessage;
using Poco::Net::HTTPRequest;
using Poco::Net::HTTPResponse;
using Poco::Net::StreamSocket;

namespace {

/// How often overdue connections are looked for, and so how late they may be shut.
constexpr std::chrono::milliseconds kTick{50};
/// How long a refused request is still read, so that its sender gets to see the reply.
constexpr std::chrono::milliseconds kLingerTime{1000};
/// Smaller bodies leave together with their header.
constexpr std::size_t kSmallBody = 64U << 10U;
constexpr std::size_t kLineBytes = 8U << 10U;
constexpr std::size_t kTargetBytes = 16U << 10U;

/// The other end has gone, or was too slow.
struct ConnectionEnd : std::exception {};

Poco::Timespan timespan(std::chrono::milliseconds time) {
  return {std::chrono::duration_cast<std::chrono::microseconds>(time).count()};
}

/// Opens Poco's buffered reading and writing of a socket. Every failure is the connection's end.
class Stream : public Poco::Net::HTTPSession {
  template <class Action>
  auto or_end(Action action) {
    try {
      return action();
    } catch (const Poco::Exception&) {
      throw ConnectionEnd();
    }
  }

 public:
  explicit Stream(const StreamSocket& socket) : HTTPSession(socket) {}

  /// Waits for a first byte or the end. False when `time` has passed.
  bool has_data(std::chrono::milliseconds time) {
    return or_end([&] {
      return buffered() > 0 || socket().available() > 0 ||
             socket().poll(timespan(time), Poco::Net::Socket::SELECT_READ);
    });
  }

  char read_byte() {
    // A byte FF looks like the end: what is buffered tells.
    or_end([&] { return peek(); });
    if (buffered() == 0) throw ConnectionEnd();
    return static_cast<char>(get());
  }

  /// Appends what has come, at most `bytes`.
  std::size_t read_some(std::string& text, std::size_t bytes) {
    std::array<char, 16U << 10U> block;
    const auto length = static_cast<std::streamsize>(std::min(bytes, block.size()));
    const int count = or_end([&] { return read(block.data(), length); });
    if (count <= 0) throw ConnectionEnd();
    text.append(block.data(), static_cast<std::size_t>(count));
    return static_cast<std::size_t>(count);
  }

  void write_all(std::string_view text) {
    while (!text.empty()) {
      constexpr std::size_t kBlock = 1U << 20U;
      const auto length = static_cast<std::streamsize>(std::min(text.size(), kBlock));
      const int count = or_end([&] { return write(text.data(), length); });
      if (count <= 0) throw ConnectionEnd();
      text.remove_prefix(static_cast<std::size_t>(count));
    }
  }
};

/// Reads up to the blank line that ends a header.
std::string read_header(Stream& stream, std::size_t limit) {
  std::string header;
  const std::string_view crlf = "\r\n";
  while (!header.ends_with("\n\r\n") && !header.ends_with("\n\n")) {
    const char byte = stream.read_byte();
    if (header.empty() && crlf.find(byte) != std::string_view::npos) continue;
    header += byte;
    const bool is_first_line = header.size() > kTargetBytes && header.find('\n') == header.npos;
    if (is_first_line && kTargetBytes < limit) {
      throw HttpFault(414,
                      "the request line is longer than " + std::to_string(kTargetBytes) + " bytes");
    }
    if (header.size() > limit) {
      throw HttpFault(431, "the header is longer than " + std::to_string(limit) + " bytes");
    }
  }
  return header;
}

std::string read_line(Stream& stream) {
  std::string line;
  while (!line.ends_with("\r\n")) {
    line += stream.read_byte();
    if (line.size() > kLineBytes) throw HttpFault(400, "a line of the chunked body is too long");
  }
  line.resize(line.size() - 2);
  return line;
}

template <class Number>
std::optional<Number> parse_number(std::string_view text, int base) {
  // Digits only: from_chars would take a sign.
  constexpr std::string_view kDigits = "0123456789abcdefABCDEF";
  const std::string_view allowed = kDigits.substr(0, base == 16 ? kDigits.size() : 10);
  if (text.find_first_not_of(allowed) != std::string_view::npos) return std::nullopt;
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

[[noreturn]] void refuse_body(std::uint64_t limit) {
  throw HttpFault(413, "the body is longer than " + std::to_string(limit) + " bytes");
}

/// Told of the bytes that a body has grown by; may throw to refuse them.
using Grow = std::function<void(std::uint64_t)>;

/// Reads exactly `length` bytes: one that ends early is no body.
std::string read_body_of_length(Stream& stream, std::uint64_t length, const Grow& grow) {
  std::string body;
  body.reserve(static_cast<std::size_t>(std::min<std::uint64_t>(length, 1U << 20U)));
  while (body.size() < length) {
    grow(stream.read_some(body, static_cast<std::size_t>(length - body.size())));
  }
  return body;
}

/// Reads a body in chunks (RFC 9112, section 7.1). Poco's own reader takes a connection that breaks
/// off, or a chunk size that is none, for the end of the body; half a batch would pass for a whole.
std::string read_chunked_body(Stream& stream, const HttpLimits& limits, const Grow& grow) {
  std::string body;
  for (;;) {
    const std::string line = read_line(stream);
    const std::string size_text = Poco::trim(line.substr(0, line.find(';')));
    const auto size = parse_number<std::uint64_t>(size_text, 16);
    if (!size) throw HttpFault(400, "malformed chunk size in the body");
    if (*size == 0) break;
    if (*size > limits.body_bytes - body.size()) refuse_body(limits.body_bytes);
    for (std::uint64_t left = *size; left != 0;) {
      const std::size_t count = stream.read_some(body, static_cast<std::size_t>(left));
      grow(count);
      left -= count;
    }
    if (!read_line(stream).empty()) throw HttpFault(400, "a chunk is longer than its size");
  }
  std::size_t trailer_bytes = 0;
  for (std::string line = read_line(stream); !line.empty(); line = read_line(stream)) {
    trailer_bytes += line.size();
    if (trailer_bytes > limits.header_bytes) throw HttpFault(431, "the trailer is too long");
  }
  return body;
}

/// The number of fields of that name: two would let two readers see two requests.
std::ptrdiff_t count_fields(const HTTPRequest& head, const std::string& name) {
  return std::count_if(head.begin(), head.end(),
                       [&](const auto& field) { return Poco::icompare(field.first, name) == 0; });
}

/// A token as RFC 9110, section 5.6.2, has it.
bool is_token(std::string_view text) {
  constexpr std::string_view kTokenCharacters =
      "!#$%&'*+-.^_`|~0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  return !text.empty() && text.find_first_not_of(kTokenCharacters) == std::string_view::npos;
}

bool is_control(char c) {
  constexpr char kDelete = 0x7F;
  return (static_cast<unsigned char>(c) < ' ' && c != '\t') || c == kDelete;
}

void read_request_line(std::string_view line, HTTPRequest& head) {
  const std::size_t method_end = line.find(' ');
  const std::size_t target_end = line.rfind(' ');
  const std::string_view method = line.substr(0, method_end);
  const std::string_view target =
      method_end == target_end ? "" : line.substr(method_end + 1, target_end - method_end - 1);
  if (!is_token(method) || target.empty() || target.find_first_of(" \t") != target.npos) {
    throw HttpFault(400, "malformed request line; expected a method, a target and a version");
  }
  head.setMethod(std::string(method));
  head.setURI(std::string(target));
  head.setVersion(std::string(line.substr(target_end + 1)));
}

void read_field(std::string_view line, HTTPRequest& head) {
  const std::size_t name_end = line.find(':');
  const std::string_view name = line.substr(0, name_end);
  if (name_end == line.npos || !is_token(name)) {
    throw HttpFault(400, "malformed field in the header; expected a name, a colon and a value");
  }
  head.add(std::string(name), Poco::trim(std::string(line.substr(name_end + 1))));
}

/// Reads the lines of a header. Poco's reader passes over lines that it does not understand, mends
/// others, and takes a value such as =?utf-8?Q?chunked?= for what it encodes: whoever reads the
/// request before this server may see another one.
HTTPRequest read_lines(std::string_view header) {
  HTTPRequest head;
  for (bool is_first = true;; is_first = false) {
    const std::size_t end = header.find('\n');
    std::string_view line = header.substr(0, end);
    header.remove_prefix(end + 1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (line.empty()) return head;
    if (std::any_of(line.begin(), line.end(), is_control)) {
      throw HttpFault(400, "control character in the header");
    }
    is_first ? read_request_line(line, head) : read_field(line, head);
  }
}

/// A target may be a whole address, whose host is then the one that counts (RFC 9112, section
/// 3.2.2). Leaves a path, or the `*` for the server as a whole.
void take_host_of_target(HTTPRequest& head) {
  const std::string& target = head.getURI();
  if (target.starts_with('/') || target == "*") return;
  const std::size_t scheme_end = target.find("://");
  const std::string scheme = Poco::toLower(target.substr(0, scheme_end));
  if (scheme_end == target.npos || (scheme != "http" && scheme != "https")) {
    throw HttpFault(400, "malformed target; expected a path");
  }
  const std::size_t host_begin = scheme.size() + 3;
  const std::size_t host_end = std::min(target.find_first_of("/?", host_begin), target.size());
  std::string path = target.substr(host_end);
  if (!path.starts_with('/')) path.insert(0, 1, '/');
  head.setHost(target.substr(host_begin, host_end - host_begin));
  head.setURI(path);
}

HTTPRequest parse_header(const std::string& header) {
  HTTPRequest head = read_lines(header);
  if (head.getVersion() != HTTPMessage::HTTP_1_1 && head.getVersion() != HTTPMessage::HTTP_1_0) {
    throw HttpFault(505, "HTTP/1.1 is spoken here, not " + head.getVersion());
  }
  if (count_fields(head, "Host") != 1) {
    throw HttpFault(400, "expected one Host field in the header");
  }
  take_host_of_target(head);
  return head;
}

/// How the body of a request is delimited: in chunks, or by its length.
struct BodyFraming {
  bool is_chunked = false;
  std::uint64_t length = 0;
};

BodyFraming body_framing(const HTTPRequest& head, std::uint64_t limit) {
  const std::ptrdiff_t lengths = count_fields(head, "Content-Length");
  if (head.has("Transfer-Encoding")) {
    if (lengths != 0 || count_fields(head, "Transfer-Encoding") != 1) {
      throw HttpFault(400, "expected either one Content-Length or one Transfer-Encoding");
    }
    if (Poco::icompare(head.get("Transfer-Encoding"), "chunked") != 0) {
      throw HttpFault(501, "the only transfer coding known is chunked");
    }
    return {true, 0};
  }
  if (lengths == 0) return {};
  const auto length = parse_number<std::uint64_t>(head.get("Content-Length"), 10);
  if (lengths > 1 || !length) throw HttpFault(400, "expected one number as Content-Length");
  if (*length > limit) refuse_body(limit);
  return {false, *length};
}

std::string header_text(const HttpReply& reply, bool keeps_alive) {
  HTTPResponse head(HTTPMessage::HTTP_1_1, static_cast<HTTPResponse::HTTPStatus>(reply.status));
  head.setDate(Poco::Timestamp());
  head.setKeepAlive(keeps_alive);
  head.setContentType(reply.content_type);
  head.setContentLength64(static_cast<Poco::Int64>(reply.body.size()));
  head.set("Cache-Control", "no-store");
  head.set("X-Content-Type-Options", "nosniff");
  for (const auto& [name, value] : reply.fields) head.set(name, value);
  std::ostringstream text;
  head.write(text);
  return text.str();
}

/// A write to a connection that the other end has closed is an error to look at, not a signal.
void block_broken_pipe_signal() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

}  // namespace

/// Lets the accepting thread shut a connection that is idle or overdue. The descriptor is shut, not
/// closed: the connection's thread is woken by it, and it alone closes it.
class HttpServer::Watch {
 public:
  Watch(HttpServer& server, int descriptor) : server_(server), descriptor_(descriptor) {
    const std::lock_guard lock(server_.mutex_);
    server_.watches_.push_back(this);
    place_ = std::prev(server_.watches_.end());
  }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;
  ~Watch() {
    const std::lock_guard lock(server_.mutex_);
    server_.watches_.erase(place_);
  }

  /// Between requests. False when there shall be none.
  bool begin_idle() {
    const std::lock_guard lock(server_.mutex_);
    is_idle_ = true;
    deadline_.reset();
    return !server_.is_stopping_;
  }

  void begin_reading() { begin(SHUT_RD); }
  void begin_answering() {
    const std::lock_guard lock(server_.mutex_);
    deadline_.reset();
  }
  void begin_writing() { begin(SHUT_RDWR); }

  bool is_overdue() const {
    const std::lock_guard lock(server_.mutex_);
    return is_overdue_;
  }

  /// These are called with the server's lock held.
  void shut_if_idle() {
    if (is_idle_) ::shutdown(descriptor_, SHUT_RDWR);
  }
  void shut() { ::shutdown(descriptor_, SHUT_RDWR); }
  void shut_if_overdue(Clock::time_point now) {
    if (!deadline_ || now < *deadline_) return;
    deadline_.reset();
    is_overdue_ = true;
    ::shutdown(descriptor_, how_);
  }

 private:
  void begin(int how) {
    const std::lock_guard lock(server_.mutex_);
    is_idle_ = false;
    how_ = how;
    deadline_ = Clock::now() + server_.limits_.transfer_time;
  }

  HttpServer& server_;
  int descriptor_;
  std::list<Watch*>::iterator place_;
  bool is_idle_ = true;
  bool is_overdue_ = false;
  int how_ = SHUT_RDWR;
  std::optional<Clock::time_point> deadline_;
};

/// The bytes of one body among those of all that are held.
class HttpServer::BodyBytes {
 public:
  explicit BodyBytes(HttpServer& server) : server_(server) {}
  BodyBytes(const BodyBytes&) = delete;
  BodyBytes& operator=(const BodyBytes&) = delete;
  ~BodyBytes() { server_.held_body_bytes_ -= bytes_; }

  void grow(std::uint64_t bytes) {
    bytes_ += bytes;
    if ((server_.held_body_bytes_ += bytes) > server_.limits_.all_body_bytes) {
      throw HttpFault(503, "too many bodies are held at a time", {{"Retry-After", "1"}});
    }
  }

 private:
  HttpServer& server_;
  std::uint64_t bytes_ = 0;
};

/// One connection, in its own thread.
class HttpServer::Connection {
 public:
  Connection(HttpServer& server, const StreamSocket& socket)
      : server_(server), stream_(socket), watch_(server, socket.impl()->sockfd()) {
    peer_ = socket.peerAddress().toString();
    stream_.socket().setNoDelay(true);  // a reply's last piece would wait for the others' receipt
  }

  void run() {
    while (watch_.begin_idle() && stream_.has_data(server_.limits_.idle_time)) {
      started_ = Clock::now();
      watch_.begin_reading();
      if (!serve_request()) break;
    }
  }

 private:
  /// Serves one request. False when it is the connection's last.
  bool serve_request() {
    HttpRequest request;
    request.peer = peer_;
    request.is_encrypted = stream_.socket().secure();
    try {
      request.head = parse_header(read_header(stream_, server_.limits_.header_bytes));
    } catch (const HttpFault& fault) {
      return refuse(fault);
    } catch (const ConnectionEnd&) {
      if (watch_.is_overdue()) refuse(overdue());
      return false;
    }

    std::unique_ptr<HttpExchange> exchange = server_.handler_.begin(request);
    bool is_body_read = false;
    HttpReply reply;
    try {
      exchange->admit();
      BodyBytes held(server_);
      const std::string body = read_body(request.head, held);
      is_body_read = true;
      watch_.begin_answering();
      reply = exchange->answer(body);
    } catch (const HttpFault& fault) {
      reply = problem_reply(fault);
    } catch (const ConnectionEnd&) {
      reply = problem_reply(watch_.is_overdue() ? overdue() : HttpFault(400, "the body broke off"));
    } catch (const std::exception&) {
      reply = problem_reply({500, "the request could not be answered"});  // no memory, most likely
    }
    const bool keeps_alive = is_body_read && request.head.getKeepAlive() && !server_.is_stopping();
    const bool is_sent = send(reply, keeps_alive, request.head.getMethod() == "HEAD");
    exchange->served(reply, Clock::now() - started_, is_sent);
    exchange.reset();  // it may count among its client's requests
    if (is_sent && !is_body_read) linger();
    return is_sent && keeps_alive;
  }

  std::string read_body(const HTTPRequest& head, BodyBytes& held) {
    const BodyFraming framing = body_framing(head, server_.limits_.body_bytes);
    if (framing.is_chunked || framing.length != 0) {
      if (head.getExpectContinue()) stream_.write_all("HTTP/1.1 100 Continue\r\n\r\n");
    }
    const Grow grow = [&](std::uint64_t bytes) { held.grow(bytes); };
    if (!framing.is_chunked) return read_body_of_length(stream_, framing.length, grow);
    return read_chunked_body(stream_, server_.limits_, grow);
  }

  HttpFault overdue() const {
    return {408, "the request did not arrive within " +
                     std::to_string(server_.limits_.transfer_time.count()) + " ms"};
  }

  bool refuse(const HttpFault& fault) {
    const HttpReply reply = problem_reply(fault);
    const bool is_sent = send(reply, false, false);
    server_.handler_.refused(peer_, reply);
    if (is_sent) linger();
    return false;
  }

  bool send(const HttpReply& reply, bool keeps_alive, bool is_head_only) {
    try {
      watch_.begin_writing();
      std::string text = header_text(reply, keeps_alive);
      const bool is_small = reply.body.size() < kSmallBody;
      if (is_small && !is_head_only) text += reply.body;
      stream_.write_all(text);
      if (!is_small && !is_head_only) stream_.write_all(reply.body);
      return true;
    } catch (const ConnectionEnd&) {
      return false;
    }
  }

  /// Reads on for a while what nobody wants: closing with bytes unread resets the connection, and
  /// the other end would lose the reply.
  void linger() {
    stream_.socket().shutdownSend();
    const auto end = Clock::now() + kLingerTime;
    std::string ignored;
    try {
      for (auto now = Clock::now(); now < end; now = Clock::now()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - now);
        if (!stream_.has_data(left)) return;
        stream_.read_some(ignored, std::numeric_limits<std::size_t>::max());
        ignored.clear();
      }
    } catch (const ConnectionEnd&) {
      return;
    }
  }

  HttpServer& server_;
  Stream stream_;
  Watch watch_;
  std::string peer_;
  Clock::time_point started_;
};

HttpServer::HttpServer(const Poco::Net::ServerSocket& socket, HttpHandler& handler,
                       const HttpLimits& limits)
    : socket_(socket), handler_(handler), limits_(limits) {
  acceptor_ = std::thread([this] { accept_connections(); });
}

HttpServer::~HttpServer() {
  stop_accepting();
  std::unique_lock lock(mutex_);
  for (Watch* const watch : watches_) watch->shut();
  connection_has_closed_.wait(lock, [&] { return connections_ == 0; });
}

void HttpServer::stop_accepting() {
  {
    const std::lock_guard lock(mutex_);
    is_stopping_ = true;
    for (Watch* const watch : watches_) watch->shut_if_idle();
  }
  // Wakes the acceptor, which closes it; new connections are refused from now on.
  ::shutdown(socket_.impl()->sockfd(), SHUT_RDWR);
  if (acceptor_.joinable()) acceptor_.join();
}

bool HttpServer::wait_for_connections(std::chrono::milliseconds deadline) {
  const Clock::time_point end = Clock::now() + deadline;
  std::unique_lock lock(mutex_);
  for (;;) {
    const Clock::time_point tick = std::min(end, Clock::now() + kTick);
    if (connection_has_closed_.wait_until(lock, tick, [&] { return connections_ == 0; })) {
      return true;
    }
    if (tick == end) return false;
    shut_overdue_connections();
  }
}

std::size_t HttpServer::connections() const {
  const std::lock_guard lock(mutex_);
  return connections_;
}

bool HttpServer::is_stopping() const {
  const std::lock_guard lock(mutex_);
  return is_stopping_;
}

void HttpServer::accept_connections() {
  block_broken_pipe_signal();
  while (!is_stopping()) {
    try {
      const bool is_ready = socket_.poll(timespan(kTick), Poco::Net::Socket::SELECT_READ);
      if (is_ready && !is_stopping()) {
        // In two steps: the handle that is accepted must be gone when the thread begins.
        auto socket = std::make_unique<StreamSocket>(socket_.acceptConnection());
        start_connection(std::move(socket));
      }
    } catch (const std::exception&) {
      // The other end has gone already, or descriptors or threads have run out: others will end.
      std::this_thread::sleep_for(kTick);
    }
    const std::lock_guard lock(mutex_);
    shut_overdue_connections();
  }
  socket_.close();
}

bool HttpServer::enter() {
  const std::lock_guard lock(mutex_);
  if (connections_ >= limits_.connections) return false;
  ++connections_;
  return true;
}

void HttpServer::start_connection(std::unique_ptr<StreamSocket> socket) {
  if (!enter()) return refuse_connection(*socket);
  const auto leave = [this] {
    const std::lock_guard lock(mutex_);
    --connections_;
    // Under the lock: the server may be destroyed as soon as the last connection has gone.
    connection_has_closed_.notify_all();
  };
  try {
    std::thread([this, own_socket = std::move(socket), leave]() mutable {
      block_broken_pipe_signal();
      try {
        Connection(*this, *own_socket).run();
      } catch (const std::exception&) {
        // Broken off by the other end, or no TLS on it: there is nobody to tell.
      }
      own_socket.reset();
      leave();
    }).detach();
  } catch (const std::system_error&) {
    leave();
    throw;
  }
}

void HttpServer::refuse_connection(StreamSocket& socket) {
  if (socket.secure()) return;  // it would have to shake hands first
  const HttpReply reply = problem_reply({503, "too many connections", {{"Retry-After", "1"}}});
  const std::string text = header_text(reply, false) + reply.body;
  // What does not fit a new connection's buffer is not worth waiting for.
  socket.setBlocking(false);
  socket.sendBytes(text.data(), static_cast<int>(text.size()));
  handler_.refused(socket.peerAddress().toString(), reply);
}

void HttpServer::shut_overdue_connections() {
  const Clock::time_point now = Clock::now();
  for (Watch* const watch : watches_) watch->shut_if_overdue(now);
}

}  // namespace korvane::host
