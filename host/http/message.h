#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <Poco/Net/HTTPRequest.h>

#include "host/http/problem_kind.h"

namespace korvane::host {

/// A request whose header has been read. The body follows later.
struct HttpRequest {
  /// Method, target and header fields.
  Poco::Net::HTTPRequest head;
  /// The address of the other end, "127.0.0.1:40112".
  std::string peer;
  bool is_encrypted = false;
  /// It came when there were as many connections as there may be: only a check of the server's
  /// health is to be answered.
  bool is_beyond_limit = false;
  /// Whether the other end has closed the connection. Any thread may ask while the request lasts.
  std::function<bool()> has_client_gone = [] { return false; };
};

struct HttpReply {
  int status = 200;
  std::string content_type;
  std::string body;
  /// Further header fields.
  std::vector<std::pair<std::string, std::string>> fields = {};
  /// Of an error, what its problem document says.
  std::string detail = {};

  using Write = std::function<void(std::string_view piece)>;
  /// The body is compressed already, as its fields say.
  bool is_compressed = false;
  /// A body that is made while it is sent: writes it in pieces, `streamed_bytes` in all. `body` is
  /// empty then.
  std::function<void(const Write& write)> stream_body = {};
  std::uint64_t streamed_bytes = 0;
  /// `stream_body` goes on as long as it likes: the reply has no length and ends with the connection,
  /// and each piece has the time that a whole reply has to leave.
  bool is_endless = false;

  std::uint64_t body_bytes() const { return stream_body ? streamed_bytes : body.size(); }
};

/// What a client has already (RFC 9110, section 15.4.5): such a reply has no body.
inline constexpr int kNotModified = 304;

/// How the body follows: as it is, or compressed and in chunks (coding.h).
enum class BodyCoding { none, gzip_in_chunks };

/// What goes out before the reply's body: the status and the header fields.
std::string header_text(const HttpReply& reply, bool keeps_alive,
                        BodyCoding coding = BodyCoding::none);

/// What of a request is to blame for an error.
struct ProblemPlace {
  /// A JSON pointer into the request: "#/items/17/rev_id".
  std::string pointer;
  std::string detail;
  /// By what people know the item; empty where it has none.
  std::string mark = {};
};

/// Ends a request with an error reply. The client sees `what()`, so it must name nothing that the
/// client has not sent. It is cut after 4 KiB: texts of failures repeat what they were given.
class HttpFault : public std::runtime_error {
 public:
  HttpFault(ProblemKind problem_kind, std::string_view detail,
            std::vector<std::pair<std::string, std::string>> header_fields = {});

  int status() const { return kind.status(); }

  ProblemKind kind;
  std::vector<std::pair<std::string, std::string>> fields;
  std::optional<ProblemPlace> place = {};
};

/// The fault as an RFC 9457 problem document (application/problem+json).
HttpReply problem_reply(const HttpFault& fault);

}  // namespace korvane::host
