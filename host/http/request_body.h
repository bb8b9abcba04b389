#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "host/http/parsed.h"
#include "host/http/request_header.h"

namespace korvane::host {

/// A line between the chunks of a body, or of its trailer, as it comes.
class ChunkLine {
 public:
  /// Takes bytes up to the end of the line. Returns how many. Throws HttpFault 400 for a line that
  /// is too long.
  std::size_t take(std::string_view bytes);
  bool is_whole() const { return text_.ends_with("\r\n"); }
  /// The whole line without its end, valid until it is cleared. Throws HttpFault 400 for one with a
  /// control character, such as an end of line that another parser would see.
  std::string_view text() const;
  void clear() { text_.clear(); }

 private:
  std::string text_;
};

/// The body of a request, parsed from bytes as they come: so many bytes, or chunks (RFC 9112,
/// section 7.1). Chunk extensions and trailers are skipped. Holds no more than one line.
class RequestBody {
 public:
  /// `framing` announces no more than `limits.body_bytes`.
  RequestBody(const BodyFraming& framing, const RequestLimits& limits);

  /// Never says `header`. Throws HttpFault: 400 for malformed chunks, 413 for a chunk that makes
  /// the body too long, 431 for a trailer that is too long.
  Parsed feed(std::string_view bytes);

 private:
  /// What comes when no bytes are left of the length, or of the chunk.
  enum class Next { chunk_size, chunk_end, trailer, nothing };

  void read_line(std::string_view line);
  void begin_chunk(std::string_view line);
  void count_trailer(std::string_view line);

  RequestLimits limits_;
  Next next_;
  std::uint64_t bytes_left_;
  /// In all chunks so far; never more than the limit.
  std::uint64_t chunk_bytes_ = 0;
  std::size_t trailer_bytes_ = 0;
  ChunkLine line_;
};

}  // namespace korvane::host
