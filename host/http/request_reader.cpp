#include "host/http/request_reader.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

#include <Poco/String.h>

#include "host/http/message.h"

namespace korvane::host {

using Poco::Net::HTTPMessage;
using Poco::Net::HTTPRequest;

namespace {

constexpr std::size_t kLineBytes = 8U << 10U;
constexpr std::size_t kTargetBytes = 16U << 10U;
/// Each takes many times its length in memory, and is compared with all before it.
constexpr std::size_t kFields = 100;
/// The memory of a body doubles as it comes, up to where its sender has shown to mean it.
constexpr std::uint64_t kFirstRoom = 64U << 10U;
constexpr std::uint64_t kEarnest = 1U << 20U;

/// Reads up to the blank line that ends a header.
std::string read_header_text(Stream& stream, std::size_t limit) {
  std::string header;
  const auto is_whole_line = [&] { return header.ends_with('\n'); };
  bool is_first_line = true;
  while (!header.ends_with("\n\r\n") && !header.ends_with("\n\n")) {
    const std::size_t size = header.size();
    stream.read_some_of_line(header, limit + 1 - size);
    if (size == 0) header.erase(0, header.find_first_not_of("\r\n"));
    const std::size_t line_bytes = header.size() - (is_whole_line() ? 1 : 0);
    if (is_first_line && line_bytes > kTargetBytes && kTargetBytes < limit) {
      throw HttpFault(414,
                      "the request line is longer than " + std::to_string(kTargetBytes) + " bytes");
    }
    if (header.size() > limit) {
      throw HttpFault(431, "the header is longer than " + std::to_string(limit) + " bytes");
    }
    if (is_whole_line()) is_first_line = false;
  }
  return header;
}

bool is_control(char c) {
  constexpr char kDelete = 0x7F;
  return (static_cast<unsigned char>(c) < ' ' && c != '\t') || c == kDelete;
}

/// A line of a chunked body, without its end.
std::string read_line(Stream& stream) {
  std::string line;
  while (!line.ends_with("\r\n")) {
    line += stream.read_byte();
    if (line.size() > kLineBytes) throw HttpFault(400, "a line of the chunked body is too long");
  }
  line.resize(line.size() - 2);
  if (std::any_of(line.begin(), line.end(), is_control)) {
    throw HttpFault(400, "control character in a line of the chunked body");
  }
  return line;
}

template <class Number>
std::optional<Number> parse_number(std::string_view text, int base) {
  // Digits only: from_chars would take a sign.
  constexpr std::string_view kDigits = "0123456789abcdefABCDEF";
  const std::string_view allowed = kDigits.substr(0, base == 16 ? kDigits.size() : 10);
  if (text.find_first_not_of(allowed) != std::string_view::npos) return std::nullopt;
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

[[noreturn]] void refuse_body(std::uint64_t limit) {
  throw HttpFault(413, "the body is longer than " + std::to_string(limit) + " bytes");
}

/// A body in memory that is held before it is taken.
class BodyText {
 public:
  explicit BodyText(const HoldBody& hold) : hold_(hold) {}

  std::size_t size() const { return text_.size(); }

  /// Reads `length` bytes more.
  void read(Stream& stream, std::uint64_t length) {
    while (length != 0) {
      if (text_.size() == text_.capacity() || text_.capacity() == std::string().capacity()) {
        grow(text_.size() + length);
      }
      const std::uint64_t room = text_.capacity() - text_.size();
      length -= stream.read_some(text_, static_cast<std::size_t>(std::min(length, room)));
    }
  }

  std::string take() { return std::move(text_); }

 private:
  /// While it moves, the old memory and the new one are there.
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

/// Reads a body in chunks (RFC 9112, section 7.1). Poco's own reader takes a connection that breaks
/// off, or a chunk size that is none, for the end of the body; half a batch would pass for a whole.
std::string read_chunked_body(Stream& stream, const BodyLimits& limits, const HoldBody& hold) {
  BodyText body(hold);
  for (;;) {
    const std::string line = read_line(stream);
    const std::string size_text = Poco::trim(line.substr(0, line.find(';')));
    const auto size = parse_number<std::uint64_t>(size_text, 16);
    if (!size) throw HttpFault(400, "malformed chunk size in the body");
    if (*size == 0) break;
    if (*size > limits.body_bytes - body.size()) refuse_body(limits.body_bytes);
    body.read(stream, *size);
    if (!read_line(stream).empty()) throw HttpFault(400, "a chunk is longer than its size");
  }
  std::size_t trailer_bytes = 0;
  for (std::string line = read_line(stream); !line.empty(); line = read_line(stream)) {
    trailer_bytes += line.size();
    if (trailer_bytes > limits.header_bytes) throw HttpFault(431, "the trailer is too long");
  }
  return body.take();
}

/// The number of fields of that name: two would let two readers see two requests.
std::ptrdiff_t count_fields(const HTTPRequest& head, const std::string& name) {
  return std::count_if(head.begin(), head.end(),
                       [&](const auto& field) { return Poco::icompare(field.first, name) == 0; });
}

/// A token as RFC 9110, section 5.6.2, has it.
bool is_token(std::string_view text) {
  constexpr std::string_view kTokenCharacters =
      "!#$%&'*+-.^_`|~0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  return !text.empty() && text.find_first_not_of(kTokenCharacters) == std::string_view::npos;
}

void read_request_line(std::string_view line, HTTPRequest& head) {
  const std::size_t method_end = line.find(' ');
  const std::size_t target_end = line.rfind(' ');
  const std::string_view method = line.substr(0, method_end);
  const std::string_view target =
      method_end == target_end ? "" : line.substr(method_end + 1, target_end - method_end - 1);
  if (!is_token(method) || target.empty() || target.find_first_of(" \t") != target.npos) {
    throw HttpFault(400, "malformed request line; expected a method, a target and a version");
  }
  head.setMethod(std::string(method));
  head.setURI(std::string(target));
  head.setVersion(std::string(line.substr(target_end + 1)));
}

void read_field(std::string_view line, HTTPRequest& head) {
  const std::size_t name_end = line.find(':');
  const std::string_view name = line.substr(0, name_end);
  if (name_end == line.npos || !is_token(name)) {
    throw HttpFault(400, "malformed field in the header; expected a name, a colon and a value");
  }
  head.add(std::string(name), Poco::trim(std::string(line.substr(name_end + 1))));
}

/// Reads the lines of a header. Poco's reader passes over lines that it does not understand, mends
/// others, and takes a value such as =?utf-8?Q?chunked?= for what it encodes: whoever reads the
/// request before this server may see another one.
HTTPRequest read_lines(std::string_view header) {
  HTTPRequest head;
  for (bool is_first = true;; is_first = false) {
    const std::size_t end = header.find('\n');
    std::string_view line = header.substr(0, end);
    header.remove_prefix(end + 1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (line.empty()) return head;
    if (std::any_of(line.begin(), line.end(), is_control)) {
      throw HttpFault(400, "control character in the header");
    }
    if (head.size() == kFields) {
      throw HttpFault(431, "the header has more than " + std::to_string(kFields) + " fields");
    }
    is_first ? read_request_line(line, head) : read_field(line, head);
  }
}

/// A target may be a whole address, whose host is then the one that counts (RFC 9112, section
/// 3.2.2). Leaves a path, or the `*` for the server as a whole.
void take_host_of_target(HTTPRequest& head) {
  const std::string& target = head.getURI();
  if (target.starts_with('/') || target == "*") return;
  const std::size_t scheme_end = target.find("://");
  const std::string scheme = Poco::toLower(target.substr(0, scheme_end));
  if (scheme_end == target.npos || (scheme != "http" && scheme != "https")) {
    throw HttpFault(400, "malformed target; expected a path");
  }
  const std::size_t host_begin = scheme.size() + 3;
  const std::size_t host_end = std::min(target.find_first_of("/?", host_begin), target.size());
  std::string path = target.substr(host_end);
  if (!path.starts_with('/')) path.insert(0, 1, '/');
  head.setHost(target.substr(host_begin, host_end - host_begin));
  head.setURI(path);
}

/// What a body is delimited by: chunks, or its length.
struct BodyFraming {
  bool is_chunked = false;
  std::uint64_t length = 0;
};

BodyFraming framing_of(const HTTPRequest& head) {
  const std::ptrdiff_t lengths = count_fields(head, "Content-Length");
  if (head.has("Transfer-Encoding")) {
    if (lengths != 0 || count_fields(head, "Transfer-Encoding") != 1) {
      throw HttpFault(400, "expected either one Content-Length or one Transfer-Encoding");
    }
    if (head.getVersion() == HTTPMessage::HTTP_1_0) {
      throw HttpFault(400, "Transfer-Encoding is of HTTP/1.1; expected a Content-Length");
    }
    if (Poco::icompare(head.get("Transfer-Encoding"), "chunked") != 0) {
      throw HttpFault(501, "the only transfer coding known is chunked");
    }
    return {true, 0};
  }
  if (lengths == 0) return {};
  const auto length = parse_number<std::uint64_t>(head.get("Content-Length"), 10);
  if (lengths > 1 || !length) throw HttpFault(400, "expected one number as Content-Length");
  return {false, *length};
}

}  // namespace

HTTPRequest read_request_header(Stream& stream, std::size_t header_bytes) {
  HTTPRequest head = read_lines(read_header_text(stream, header_bytes));
  if (head.getVersion() != HTTPMessage::HTTP_1_1 && head.getVersion() != HTTPMessage::HTTP_1_0) {
    throw HttpFault(505, "HTTP/1.1 is spoken here, not " + head.getVersion());
  }
  if (count_fields(head, "Host") != 1) {
    throw HttpFault(400, "expected one Host field in the header");
  }
  for (const char* const name : {"Authorization", "Content-Type", "Origin"}) {
    if (count_fields(head, name) > 1) {
      throw HttpFault(400, "expected no more than one " + std::string(name) + " in the header");
    }
  }
  framing_of(head);  // where a request ends that cannot be told, no other can begin
  take_host_of_target(head);
  return head;
}

bool has_body(const HTTPRequest& head) {
  const BodyFraming framing = framing_of(head);
  return framing.is_chunked || framing.length != 0;
}

std::string read_request_body(Stream& stream, const HTTPRequest& head, const BodyLimits& limits,
                              const HoldBody& hold) {
  const BodyFraming framing = framing_of(head);
  if (framing.length > limits.body_bytes) refuse_body(limits.body_bytes);
  if (Poco::icompare(head.get("Content-Encoding", "identity"), "identity") != 0) {
    throw HttpFault(415, "the Content-Encoding is not supported; expected none",
                    {{"Accept-Encoding", "identity"}});
  }
  if (head.has("Expect") && !head.getExpectContinue()) {
    throw HttpFault(417, "the only expectation known is 100-continue");
  }
  const bool is_expected = framing.is_chunked || framing.length != 0;
  if (is_expected && head.getExpectContinue()) {
    stream.write_all("HTTP/1.1 100 Continue\r\n\r\n");
  }
  if (framing.is_chunked) return read_chunked_body(stream, limits, hold);
  BodyText body(hold);
  body.read(stream, framing.length);
  return body.take();
}

}  // namespace korvane::host
