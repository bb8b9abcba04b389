#pragma once

#include <string_view>
#include <variant>

#include <Poco/Net/HTTPRequest.h>

#include "host/http/parsed.h"
#include "host/http/request_body.h"
#include "host/http/request_header.h"

namespace korvane::host {

/// One request of HTTP/1.1 (RFC 9110, RFC 9112), parsed from bytes as they come. However they are
/// cut, the outcome is the same. What two parsers could read differently is refused.
///
/// Holds the header while it comes, and after that no more than one line: the parts of the body are
/// handed over. Used by one thread.
class RequestParser {
 public:
  /// Fills `head`, which must be new and outlive the parser.
  RequestParser(Poco::Net::HTTPRequest& head, const RequestLimits& limits)
      : head_(head), limits_(limits), part_(HeaderText(limits.header_bytes)) {}

  /// Parses up to the next thing to say: `header` once, then `body` as often as there is some of
  /// it, then `done`; `more` whenever the bytes do not suffice. The bytes may be none: what can be
  /// said without them is said.
  ///
  /// Throws HttpFault to refuse the request, and must not be fed again then. Before `header` with
  /// what `HeaderText` and `read_header` say; after it, so that other refusals may come first, 413
  /// for a body that is too long, 415 for one that is compressed, 417 for an expectation other than
  /// 100-continue, then with what `RequestBody` says.
  Parsed feed(std::string_view bytes);

  /// From `header` on: whether a body follows.
  bool has_body() const { return framing_.has_body(); }
  /// From `header` on: whether the client wants to be asked for the body.
  bool expects_continue() const { return has_body() && head_.getExpectContinue(); }

 private:
  /// Between header and body: nothing of the body has been asked for.
  struct BetweenParts {};

  Parsed feed_header(HeaderText& header, std::string_view bytes);
  void refuse_body() const;

  Poco::Net::HTTPRequest& head_;
  RequestLimits limits_;
  BodyFraming framing_;
  std::variant<HeaderText, BetweenParts, RequestBody> part_;
};

}  // namespace korvane::host
