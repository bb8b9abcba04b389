#include "clients/cpp/chunked_body.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <string>
#include <system_error>

#include <Poco/Net/NetException.h>

namespace korvane::client {

namespace {

/// Of a chunk's length with its extensions, and of all trailers: a server could go on for ever.
constexpr std::size_t kMostLineBytes = std::size_t{16} << 10U;

[[noreturn]] void break_off() { throw Poco::Net::ConnectionResetException("the reply broke off"); }

void bound_lines(std::size_t bytes) {
  if (bytes <= kMostLineBytes) return;
  throw Poco::Net::MessageException("the lines between the chunks of a reply are too long");
}

std::string take_line(ByteSource& source) {
  std::string line;
  for (;;) {
    const int byte = source.take_byte();
    if (byte < 0) break_off();
    if (byte == '\n') break;
    line += static_cast<char>(byte);
    bound_lines(line.size());
  }
  if (line.ends_with('\r')) line.pop_back();
  return line;
}

std::uint64_t length_of(const std::string& line) {
  constexpr int kHexadecimal = 16;
  const std::string digits = line.substr(0, line.find_first_of("; \t"));
  std::uint64_t length = 0;
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, length, kHexadecimal);
  if (error != std::errc() || stop != end) {
    throw Poco::Net::MessageException("the length of a chunk is not a hexadecimal number");
  }
  return length;
}

void hand_over(ByteSource& source, std::uint64_t length, const BodySink& sink) {
  std::array<char, 64U << 10U> piece{};
  while (length > 0) {
    const auto most = static_cast<std::size_t>(std::min<std::uint64_t>(length, piece.size()));
    const std::size_t taken = source.take_bytes(piece.data(), most);
    if (taken == 0) break_off();
    length -= taken;
    sink({piece.data(), taken});
  }
}

}  // namespace

void read_chunked(ByteSource& source, const BodySink& sink) {
  while (const std::uint64_t length = length_of(take_line(source))) {
    hand_over(source, length, sink);
    if (!take_line(source).empty()) {
      throw Poco::Net::MessageException("a chunk of the reply is longer than it says");
    }
  }
  std::size_t trailer_bytes = 0;
  for (std::string line = take_line(source); !line.empty(); line = take_line(source)) {
    trailer_bytes += line.size();
    bound_lines(trailer_bytes);
  }
}

}  // namespace korvane::client
