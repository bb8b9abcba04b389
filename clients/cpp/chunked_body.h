#pragma once

#include <cstddef>

#include "clients/cpp/connection.h"

namespace korvane::client {

/// The bytes of a reply after its head.
class ByteSource {
 public:
  ByteSource() = default;
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;
  virtual ~ByteSource() = default;

  /// Waits for the next byte, and returns it as an unsigned char; -1 where the connection has ended.
  virtual int take_byte() = 0;
  /// Waits for bytes, puts up to `most` of them at `into` and returns how many; 0 where the
  /// connection has ended.
  virtual std::size_t take_bytes(char* into, std::size_t most) = 0;
};

/// Hands a chunked body over in pieces (RFC 9112, section 7.1) and takes what is after it, so that
/// the connection can be used again. Extensions of chunks and trailers are skipped. The library's
/// own reader takes a connection that breaks off, and a length that is not a number, for the end.
/// Throws Poco::Net::ConnectionResetException "the reply broke off", and
/// Poco::Net::MessageException "the length of a chunk is not a hexadecimal number", "a chunk of the
/// reply is longer than it says" and "the lines between the chunks of a reply are too long".
void read_chunked(ByteSource& source, const BodySink& sink);

}  // namespace korvane::client
