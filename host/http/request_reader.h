#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include <Poco/Net/HTTPRequest.h>

#include "host/http/stream.h"

/// Requests of HTTP/1.1 as they come over a connection (RFC 9110, RFC 9112). What two readers could
/// read differently is refused. Throws HttpFault for what is no request, and ConnectionEnd.
namespace korvane::host {

/// Reads the header of a request: 400 for one that is malformed, names its host, its sender or its
/// body's form more than once, or does not tell where its body ends, 501 for another transfer
/// coding than chunked, 414 for a first line that is too long, 431 for a header that is or has more
/// than 100 fields, 505 for another version of HTTP.
Poco::Net::HTTPRequest read_request_header(Stream& stream, std::size_t header_bytes);

/// Whether a body follows the header, which has been read by `read_request_header`.
bool has_body(const Poco::Net::HTTPRequest& head);

struct BodyLimits {
  /// All of the body, and of the trailer behind it.
  std::uint64_t body_bytes = 0;
  std::size_t header_bytes = 0;
};

/// Told how many bytes the body is about to hold in memory; may throw to refuse them.
using HoldBody = std::function<void(std::uint64_t bytes)>;

/// Reads the body that `head` announces, and asks for it first where the client waits for that: 413
/// for one that is too long, 415 for one that is compressed, 417 for an expectation that is not
/// 100-continue, 400 for one that is malformed.
std::string read_request_body(Stream& stream, const Poco::Net::HTTPRequest& head,
                              const BodyLimits& limits, const HoldBody& hold);

}  // namespace korvane::host
