#include "host/http/request_body.h"

#include <algorithm>
#include <string>

#include <Poco/String.h>

#include "host/http/message.h"
#include "host/http/request_syntax.h"

namespace korvane::host {

namespace {

constexpr std::size_t kLineBytes = 8U << 10U;

}  // namespace

std::size_t ChunkLine::take(std::string_view bytes) {
  const std::size_t all = bytes.size();
  while (!bytes.empty() && !is_whole()) {
    const std::string_view piece = up_to_line_feed(bytes).substr(0, kLineBytes + 1 - text_.size());
    text_ += piece;
    bytes.remove_prefix(piece.size());
    if (text_.size() > kLineBytes) throw HttpFault(400, "a line of the chunked body is too long");
  }
  return all - bytes.size();
}

std::string_view ChunkLine::text() const {
  const std::string_view text = std::string_view(text_).substr(0, text_.size() - 2);
  if (has_control(text)) throw HttpFault(400, "control character in a line of the chunked body");
  return text;
}

RequestBody::RequestBody(const BodyFraming& framing, const RequestLimits& limits)
    : limits_(limits),
      next_(framing.is_chunked ? Next::chunk_size : Next::nothing),
      bytes_left_(framing.length) {}

Parsed RequestBody::feed(std::string_view bytes) {
  std::size_t taken = 0;
  while (bytes_left_ == 0 && next_ != Next::nothing) {
    taken += line_.take(bytes.substr(taken));
    if (!line_.is_whole()) return {.taken = taken};
    read_line(line_.text());
    line_.clear();
  }
  if (bytes_left_ == 0) return {.what = Parsed::What::done, .taken = taken};
  const std::string_view part =
      bytes.substr(taken, std::min<std::uint64_t>(bytes_left_, bytes.size()));
  bytes_left_ -= part.size();
  return {part.empty() ? Parsed::What::more : Parsed::What::body, taken + part.size(), part,
          bytes_left_};
}

void RequestBody::read_line(std::string_view line) {
  switch (next_) {
    case Next::chunk_size:
      return begin_chunk(line);
    case Next::chunk_end:
      if (!line.empty()) throw HttpFault(400, "a chunk is longer than its size");
      next_ = Next::chunk_size;
      return;
    case Next::trailer:
      return count_trailer(line);
    case Next::nothing:
      return;
  }
}

void RequestBody::begin_chunk(std::string_view line) {
  const auto size = parse_number(Poco::trim(std::string(line.substr(0, line.find(';')))), 16);
  if (!size) throw HttpFault(400, "malformed chunk size in the body");
  // Not the sum, which may be more than the type holds.
  if (*size > limits_.body_bytes - chunk_bytes_) {
    throw HttpFault(413,
                    "the body is longer than " + std::to_string(limits_.body_bytes) + " bytes");
  }
  bytes_left_ = *size;
  chunk_bytes_ += *size;
  next_ = *size == 0 ? Next::trailer : Next::chunk_end;
}

void RequestBody::count_trailer(std::string_view line) {
  trailer_bytes_ += line.size();
  if (trailer_bytes_ > limits_.header_bytes) throw HttpFault(431, "the trailer is too long");
  if (line.empty()) next_ = Next::nothing;
}

}  // namespace korvane::host
