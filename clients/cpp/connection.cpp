#include "clients/cpp/connection.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <istream>
#include <limits>
#include <optional>
#include <random>
#include <thread>
#include <utility>

#include <Poco/Exception.h>
#include <Poco/Net/Context.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/HTTPSClientSession.h>
#include <Poco/Net/NetException.h>
#include <Poco/Net/NetSSL.h>
#include <Poco/NumberParser.h>
#include <Poco/StreamCopier.h>
#include <Poco/Timespan.h>
#include <Poco/URI.h>
#include <Poco/UUIDGenerator.h>
#include <nlohmann/json.hpp>

#include "clients/cpp/chunked_body.h"

namespace korvane::client {

using Poco::Net::HTTPClientSession;
using Poco::Net::HTTPResponse;
using std::chrono::milliseconds;

namespace {

/// Enough of the body of an error.
constexpr std::size_t kMostErrorBytes = std::size_t{64} << 10U;

/// The first pause, which doubles.
constexpr milliseconds kFirstPause{200};

[[noreturn]] void refuse_address(const std::string& url) {
  throw std::runtime_error("\"" + url + "\" is not the address of a server: expected " +
                           "http://HOST:PORT or https://HOST:PORT");
}

[[noreturn]] void refuse_length(const std::string& url, std::size_t most_bytes) {
  throw std::runtime_error(url + ": the reply is longer than " + std::to_string(most_bytes) +
                           " bytes");
}

Poco::URI parse_address(const std::string& url) {
  try {
    return Poco::URI(url);
  } catch (const Poco::SyntaxException&) {
    refuse_address(url);
  }
}

/// Also a ByteSource.
template <class Library>
class ReadableSession : public Library, public ByteSource {
 public:
  using Library::Library;

  int take_byte() override { return this->get(); }
  std::size_t take_bytes(char* into, std::size_t most) override {
    return static_cast<std::size_t>(
        std::max(0, this->read(into, static_cast<std::streamsize>(most))));
  }
};

std::unique_ptr<HTTPClientSession> make_session(const std::string& url,
                                                const std::string& authorities) {
  const Poco::URI uri = parse_address(url);
  if (uri.getScheme() == "http") {
    return std::make_unique<ReadableSession<HTTPClientSession>>(uri.getHost(), uri.getPort());
  }
  if (uri.getScheme() != "https") refuse_address(url);
  Poco::Net::initializeSSL();
  Poco::Net::Context::Params parameters;
  parameters.verificationMode = Poco::Net::Context::VERIFY_RELAXED;
  parameters.loadDefaultCAs = true;
  parameters.caLocation = authorities;
  return std::make_unique<ReadableSession<Poco::Net::HTTPSClientSession>>(
      uri.getHost(), uri.getPort(),
      new Poco::Net::Context(Poco::Net::Context::TLS_CLIENT_USE, parameters));
}

/// The reply to a request, or the failure of its connection.
struct Outcome {
  std::optional<ServerError> refusal;
  std::string unreachable;
  /// How long the server asks to wait.
  milliseconds retry_after{0};
  /// Where the server sends the request; empty where it has answered it.
  std::string location = {};
  /// Something of the reply's body has been handed over.
  bool has_begun = false;

  bool is_done() const { return !refusal && unreachable.empty(); }
  bool is_refused_for_now() const {
    return refusal && (refusal->status == HTTPResponse::HTTP_TOO_MANY_REQUESTS ||
                       refusal->status == HTTPResponse::HTTP_SERVICE_UNAVAILABLE);
  }
};

/// Whether the reply sends the request elsewhere, as it is.
bool is_redirect(int status, const std::string& method) {
  switch (status) {
    case HTTPResponse::HTTP_TEMPORARY_REDIRECT:
    case HTTPResponse::HTTP_PERMANENT_REDIRECT:
      return true;
    case HTTPResponse::HTTP_MOVED_PERMANENTLY:
    case HTTPResponse::HTTP_FOUND:
    case HTTPResponse::HTTP_SEE_OTHER:
      return method != "POST";  // of a write it would make a read
    default:
      return false;
  }
}

/// "http://HOST:PORT"
std::string origin_of(const Poco::URI& uri) {
  return uri.getScheme() + "://" + uri.getHost() + ":" + std::to_string(uri.getPort());
}

/// `location` as it is meant in the reply to a request to `from`; nothing where no server is there.
std::optional<Poco::URI> resolved(const std::string& from, const std::string& location) {
  try {
    Poco::URI uri(from);
    uri.resolve(location);
    const bool is_http = uri.getScheme() == "http" || uri.getScheme() == "https";
    return is_http && !uri.getHost().empty() ? std::optional(uri) : std::nullopt;
  } catch (const Poco::SyntaxException&) {
    return std::nullopt;
  }
}

bool may_repeat(const Outcome& outcome, Repeating repeating) {
  if (outcome.is_refused_for_now()) return true;
  return !outcome.unreachable.empty() && repeating != Repeating::when_refused;
}

}  // namespace

ServerError::ServerError(const std::string& url, int its_status, std::string its_type,
                         std::string its_detail, std::string its_request_id)
    : std::runtime_error(url + ": " + std::to_string(its_status) + " " + its_detail),
      status(its_status),
      type(std::move(its_type)),
      detail(std::move(its_detail)),
      request_id(std::move(its_request_id)) {}

/// Sends requests once.
class Connection::Session {
 public:
  Session(const std::string& url, const Options& options)
      : url_(url), options_(options), session_(make_session(url, options.authorities)) {
    session_->setKeepAlive(true);
  }

  /// Follows redirects, at most five: two servers may send a request to each other.
  Outcome send(const Request& request, const std::string& key, const BodySink& sink,
               std::size_t most_bytes) {
    constexpr int kMostRedirects = 5;
    std::string origin = origin_of(Poco::URI(url_));
    Request next = request;
    std::unique_ptr<HTTPClientSession> elsewhere;
    bool has_token = !options_.token.empty();
    for (int followed = 0;; ++followed) {
      HTTPClientSession& session = elsewhere ? *elsewhere : *session_;
      Outcome outcome = send_once(session, next, has_token, key, sink, most_bytes);
      if (outcome.location.empty() || followed == kMostRedirects) return outcome;
      const auto destination = resolved(origin + next.path, outcome.location);
      if (!destination) return outcome;
      if (origin_of(*destination) != origin) {
        // The token is for one server.
        has_token = false;
        origin = origin_of(*destination);
        elsewhere = make_session(origin, options_.authorities);
      }
      next.path = destination->getPathAndQuery();
    }
  }

 private:
  Outcome send_once(HTTPClientSession& session, const Request& request, bool has_token,
                    const std::string& key, const BodySink& sink, std::size_t most_bytes) {
    Outcome outcome;
    try {
      send_request(session, request, has_token, key);
      HTTPResponse response;
      std::istream& body = session.receiveResponse(response);
      if (response.getStatus() == HTTPResponse::HTTP_OK) {
        read_body(session, response, body, most_bytes, [&](std::string_view piece) {
          outcome.has_begun = true;
          sink(piece);
        });
      } else {
        outcome.refusal = refusal(session, response, body);
        outcome.retry_after = retry_after(response);
        if (options_.follows_redirects && is_redirect(response.getStatus(), request.method)) {
          outcome.location = response.get("Location", "");
        }
      }
    } catch (const Poco::Exception& failure) {
      session.reset();
      outcome.unreachable = "cannot reach " + url_ + ": " + failure.displayText();
    } catch (...) {
      session.reset();  // or the rest of the reply would be read to its end
      throw;
    }
    return outcome;
  }

  static void bound_silence(HTTPClientSession& session, std::chrono::seconds most) {
    const Poco::Timespan time(static_cast<long>(most.count()), 0);
    session.setTimeout(time);
    // That is for the next connection only.
    if (!session.connected()) return;
    session.socket().setReceiveTimeout(time);
    session.socket().setSendTimeout(time);
  }

  void send_request(HTTPClientSession& session, const Request& request, bool has_token,
                    const std::string& key) {
    bound_silence(session, request.most_silence);
    Poco::Net::HTTPRequest head(request.method, request.path, Poco::Net::HTTPMessage::HTTP_1_1);
    if (!request.content_type.empty()) head.setContentType(request.content_type);
    if (!request.accept.empty()) head.set("Accept", request.accept);
    if (!key.empty()) head.set("Idempotency-Key", key);
    if (has_token) head.setCredentials("Bearer", options_.token);
    if (request.body_file.empty()) {
      if (request.method == "POST") {
        head.setContentLength64(static_cast<Poco::Int64>(request.body.size()));
      }
      session.sendRequest(head).write(request.body.data(),
                                      static_cast<std::streamsize>(request.body.size()));
      return;
    }
    std::ifstream file(request.body_file, std::ios::binary | std::ios::ate);
    if (!file) throw std::runtime_error("cannot read " + request.body_file);
    head.setContentLength64(static_cast<Poco::Int64>(file.tellg()));
    file.seekg(0);
    Poco::StreamCopier::copyStream(file, session.sendRequest(head));
  }

  void read_body(HTTPClientSession& session, const HTTPResponse& response, std::istream& body,
                 std::size_t most_bytes, const BodySink& sink) const {
    if (response.getChunkedTransferEncoding()) {
      read_chunked(dynamic_cast<ByteSource&>(session), sink);
      return;
    }
    const auto length = response.getContentLength64();
    if (length > 0 && static_cast<std::uint64_t>(length) > most_bytes) {
      refuse_length(url_, most_bytes);
    }
    Poco::Int64 arrived = 0;
    read(body, [&](std::string_view piece) {
      arrived += static_cast<Poco::Int64>(piece.size());
      sink(piece);
    });
    // The library takes a connection that breaks off for the end of the reply.
    if (length > arrived) throw Poco::Net::ConnectionResetException("the reply broke off");
  }

  static void read(std::istream& body, const BodySink& sink) {
    std::array<char, 64U << 10U> piece{};
    while (body.read(piece.data(), piece.size()).gcount() > 0) {
      sink({piece.data(), static_cast<std::size_t>(body.gcount())});
    }
  }

  ServerError refusal(HTTPClientSession& session, const HTTPResponse& response,
                      std::istream& body) const {
    std::string text(kMostErrorBytes, '\0');
    body.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(body.gcount()));
    if (body) session.reset();  // there is more, perhaps without an end
    const auto problem = nlohmann::json::parse(text, nullptr, false);
    const auto member = [&](const char* name, const std::string& otherwise) {
      const bool is_there =
          problem.is_object() && problem.contains(name) && problem[name].is_string();
      return is_there ? problem[name].get<std::string>() : otherwise;
    };
    constexpr std::size_t kShown = 200;
    return {url_, response.getStatus(), member("type", ""),
            member("detail", text.substr(0, kShown)), response.get("Request-Id", "")};
  }

  static milliseconds retry_after(const HTTPResponse& response) {
    unsigned seconds = 0;
    Poco::NumberParser::tryParseUnsigned(response.get("Retry-After", "0"), seconds);
    return std::chrono::seconds(seconds);
  }

  const std::string& url_;
  const Options& options_;
  std::unique_ptr<HTTPClientSession> session_;
};

Connection::Connection(std::string url, Options options)
    : url_(std::move(url)),
      options_(std::move(options)),
      session_(std::make_unique<Session>(url_, options_)) {}

Connection::~Connection() = default;

std::string Connection::send(const Request& request) {
  std::string text;
  const auto append = [&](std::string_view piece) {
    if (text.size() + piece.size() > request.most_reply_bytes) {
      refuse_length(url_, request.most_reply_bytes);
    }
    text += piece;
  };
  send(request, append, request.most_reply_bytes, [&] {
    text.clear();
    return true;
  });
  return text;
}

void Connection::send(const Request& request, const BodySink& sink) {
  send(request, sink, std::numeric_limits<std::size_t>::max(), [] { return false; });
}

void Connection::send(const Request& request, const BodySink& sink, std::size_t most_bytes,
                      const std::function<bool()>& take_back) {
  const bool has_key = request.repeating == Repeating::under_key && options_.attempts > 1;
  const std::string key =
      has_key ? Poco::UUIDGenerator::defaultGenerator().createRandom().toString() : "";
  for (int attempt = 1;; ++attempt) {
    const Outcome outcome = session_->send(request, key, sink, most_bytes);
    if (outcome.is_done()) return;
    const bool may_go_on = attempt < options_.attempts && may_repeat(outcome, request.repeating);
    if (!may_go_on || (outcome.has_begun && !take_back())) {
      if (outcome.refusal) throw ServerError(*outcome.refusal);
      throw std::runtime_error(outcome.unreachable);
    }
    pause(attempt, outcome.retry_after);
  }
}

void Connection::pause(int attempt, milliseconds wanted) const {
  constexpr int kMostDoublings = 12;
  const milliseconds growing = kFirstPause * (1 << std::min(attempt - 1, kMostDoublings));
  thread_local std::minstd_rand random(std::random_device{}());
  // Clients that failed together are not to come again together.
  std::uniform_int_distribution<milliseconds::rep> jitter(0, growing.count() / 2);
  const milliseconds longer = std::max(wanted, growing) + milliseconds(jitter(random));
  std::this_thread::sleep_for(std::min(longer, options_.longest_pause));
}

std::string query_text(const std::map<std::string, std::string>& parameters) {
  std::string text;
  for (const auto& [name, value] : parameters) {
    text += text.empty() ? '?' : '&';
    Poco::URI::encode(name, "&=+?#;", text);
    text += '=';
    Poco::URI::encode(value, "&=+?#;", text);
  }
  return text;
}

}  // namespace korvane::client
