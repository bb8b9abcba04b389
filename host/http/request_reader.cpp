#include "host/http/request_reader.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

namespace korvane::host {

namespace {

using What = Parsed::What;

/// The memory of a body doubles as it comes, up to the size that shows that its sender means it.
constexpr std::uint64_t kFirstRoom = 64U << 10U;
constexpr std::uint64_t kEarnest = 1U << 20U;

/// A body in memory, which is held before it is taken.
class BodyText {
 public:
  explicit BodyText(const HoldBody& hold) : hold_(hold) {}

  /// Makes room for some of the `announced` bytes that come next.
  void make_room(std::uint64_t announced) {
    const bool has_room =
        text_.size() < text_.capacity() && text_.capacity() != std::string().capacity();
    if (announced != 0 && !has_room) grow(text_.size() + announced);
  }

  /// Appends `part`, after which `bytes_left` more are announced.
  void append(std::string_view part, std::uint64_t bytes_left) {
    while (!part.empty()) {
      make_room(part.size() + bytes_left);
      const std::string_view piece = part.substr(0, text_.capacity() - text_.size());
      text_ += piece;
      part.remove_prefix(piece.size());
    }
  }

  std::string take() { return std::move(text_); }

 private:
  /// While it moves, both the old memory and the new are held.
  void grow(std::uint64_t wanted) {
    const std::uint64_t doubled = std::max(kFirstRoom, std::uint64_t{text_.capacity()} * 2);
    const std::uint64_t room =
        text_.size() >= kEarnest ? std::max(wanted, doubled) : std::min(wanted, doubled);
    hold_(room + text_.size());
    text_.reserve(static_cast<std::size_t>(room));
    hold_(text_.capacity());
  }

  const HoldBody& hold_;
  std::string text_;
};

}  // namespace

Parsed RequestReader::parse_arrived() {
  const Parsed parsed = parser_.feed(stream_.arrived());
  stream_.take(parsed.taken);
  return parsed;
}

void RequestReader::read_header() {
  while (parse_arrived().what != What::header) stream_.receive();
}

std::string RequestReader::read_body(const HoldBody& hold) {
  parser_.feed({});  // refuses what need not be asked for
  if (parser_.expects_continue()) stream_.write_all("HTTP/1.1 100 Continue\r\n\r\n");
  BodyText body(hold);
  for (Parsed parsed = parse_arrived(); parsed.what != What::done; parsed = parse_arrived()) {
    if (parsed.what == What::body) {
      body.append(parsed.body, parsed.body_bytes_left);
    } else {
      body.make_room(parsed.body_bytes_left);
      stream_.receive();
    }
  }
  is_body_read_ = true;
  return body.take();
}

}  // namespace korvane::host
