#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace korvane::host {

struct RequestLimits {
  /// The request line and the header fields together; the trailer of a chunked body by itself.
  std::size_t header_bytes = 0;
  std::uint64_t body_bytes = 0;
};

/// What a parser made of the bytes that it was fed.
struct Parsed {
  enum class What {
    /// All bytes were taken, and the request goes on after them.
    more,
    /// The header is whole. Its body, if any, has not been looked at.
    header,
    /// Some of the body: `body`.
    body,
    /// The request is whole. The bytes that were not taken belong to the next one.
    done,
  };

  What what = What::more;
  /// How many of the bytes were taken. The others are to be fed again.
  std::size_t taken = 0;
  /// A part of the bytes that were fed; empty unless `what` is `body`.
  std::string_view body = {};
  /// How many bytes of the body are announced and still to come: of all of it, or of its chunk.
  std::uint64_t body_bytes_left = 0;
};

}  // namespace korvane::host
