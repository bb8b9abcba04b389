#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/rpc4/representation.h"

/// Korvane's server for programs in C++: what a project in a file offers, over HTTP.
namespace korvane::client {

/// How a server is talked to.
struct Options {
  /// Sent as bearer token unless it is empty.
  std::string token = {};
  /// A file in PEM form with certificates of authorities that are trusted besides the system's;
  /// empty for none.
  std::string authorities = {};
  /// The form in which records travel.
  krv::rpc4::Representation form = krv::rpc4::Representation::compact_binary;
  /// How often a request is sent before its failure counts; 1 sends nothing twice. What only reads
  /// is repeated, and what writes under an Idempotency-Key, by which the server carries it out once:
  /// after 429 and 503, when the server says or a little later each time, and when the connection
  /// has broken. A query is repeated after 429 and 503 alone.
  int attempts = 5;
  /// What is waited at most between two attempts.
  std::chrono::milliseconds longest_pause = std::chrono::seconds(30);
  /// Whether it goes to where a reply sends a request; else that is a ServerError.
  bool follows_redirects = true;
};

/// A server's refusal. `what()` is "<url>: <status> <detail>".
class ServerError : public std::runtime_error {
 public:
  ServerError(const std::string& url, int its_status, std::string its_type, std::string its_detail,
              std::string its_request_id);

  int status;
  /// "urn:korvane:problem:constraint"; empty where what has come is no problem document.
  std::string type;
  /// What failed, for people; of what is no problem document its beginning.
  std::string detail;
  /// By which the server's log has the request.
  std::string request_id;
};

/// Whether a request may be sent again.
enum class Repeating {
  freely,        ///< it changes nothing
  under_key,     ///< it writes: under a key of its own
  when_refused,  ///< only when the server says that nothing was done
};

struct Request {
  std::string method = "POST";
  /// With its parameters, percent-encoded.
  std::string path;
  std::string content_type = {};
  std::string accept = {};
  std::string_view body = {};
  /// A file that is sent in place of `body`; empty for none.
  std::string body_file = {};
  Repeating repeating = Repeating::freely;
  /// How long the server may be silent: before it replies, and between the pieces of the reply.
  std::chrono::seconds most_silence{300};
  /// What is taken of a reply that is not a stream.
  std::size_t most_reply_bytes = std::size_t{512} << 20U;
};

/// Takes the body of a reply, in pieces.
using BodySink = std::function<void(std::string_view piece)>;

/// A connection to a server, kept open between requests. A reply is waited for five minutes unless
/// a request says otherwise: a call may wait for its turn and for a file that another program holds.
/// Used by one thread at a time.
class Connection {
 public:
  /// The server at `url`, which is "http://HOST:PORT" or "https://HOST:PORT"; one over https must
  /// have a certificate that a trusted authority vouches for. Sends nothing. Throws
  /// std::runtime_error "\"<url>\" is not the address of a server: expected http://HOST:PORT or
  /// https://HOST:PORT".
  Connection(std::string url, Options options);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection();

  const Options& options() const { return options_; }

  /// Sends the request, again where it may be, and returns the reply's body. Goes to where a reply
  /// sends it, up to five times: after 307 and 308 as it is, after 301, 302 and 303 if it is a GET.
  /// The token goes to the scheme, host and port of `url` alone; beyond these it is left out. Throws
  /// ServerError, and std::runtime_error
  ///
  /// - "cannot reach <url>: <reason>" when there is no connection, or none that can be trusted
  /// - "cannot read <file>" for a body that is one
  /// - "<url>: the reply is longer than <most_reply_bytes> bytes"
  std::string send(const Request& request);
  /// The same for a reply of any length. It is repeated only as long as nothing of it has come.
  void send(const Request& request, const BodySink& sink);

 private:
  class Session;

  /// `take_back` takes back what `sink` has got, and returns whether it can.
  void send(const Request& request, const BodySink& sink, std::size_t most_bytes,
            const std::function<bool()>& take_back);
  void pause(int attempt, std::chrono::milliseconds wanted) const;

  const std::string url_;
  const Options options_;
  std::unique_ptr<Session> session_;
};

/// "?create=true&sheet=417", percent-encoded; empty without parameters.
std::string query_text(const std::map<std::string, std::string>& parameters);

}  // namespace korvane::client
