#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include <Poco/Net/HTTPRequest.h>

#include "host/http/parsed.h"
#include "host/http/request_parser.h"
#include "host/http/stream.h"

namespace korvane::host {

/// Told how many bytes the body is about to hold in memory; may throw to refuse them.
using HoldBody = std::function<void(std::uint64_t bytes)>;

/// Reads one request from a connection. What comes after it stays in the stream. Throws the
/// HttpFault of its parser, and ConnectionEnd.
class RequestReader {
 public:
  /// Fills `head`, which must be new and outlive the reader, as must `stream`.
  RequestReader(Stream& stream, Poco::Net::HTTPRequest& head, const RequestLimits& limits)
      : stream_(stream), parser_(head, limits) {}

  void read_header();
  /// After `read_header`: whether there is a body that has not been read to its end.
  bool is_body_left() const { return parser_.has_body() && !is_body_read_; }
  /// After `read_header`: the body. Asks for it first where the client waits for that.
  std::string read_body(const HoldBody& hold);

 private:
  Parsed parse_arrived();

  Stream& stream_;
  RequestParser parser_;
  bool is_body_read_ = false;
};

}  // namespace korvane::host
