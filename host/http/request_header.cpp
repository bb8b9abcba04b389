#include "host/http/request_header.h"

#include <algorithm>

#include <Poco/String.h>

#include "host/http/message.h"
#include "host/http/request_syntax.h"

namespace korvane::host {

using Poco::Net::HTTPMessage;
using Poco::Net::HTTPRequest;

namespace {

constexpr std::size_t kTargetBytes = 16U << 10U;
/// Each takes many times its length in memory, and is compared with all before it.
constexpr std::size_t kFields = 100;

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

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t";
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == text.npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

void read_field(std::string_view line, HTTPRequest& head) {
  const std::size_t name_end = line.find(':');
  const std::string_view name = line.substr(0, name_end);
  if (name_end == line.npos || !is_token(name)) {
    throw HttpFault(400, "malformed field in the header; expected a name, a colon and a value");
  }
  head.add(std::string(name), std::string(trimmed(line.substr(name_end + 1))));
}

void read_lines(std::string_view header, HTTPRequest& head) {
  for (bool is_first = true;; is_first = false) {
    const std::size_t end = header.find('\n');
    std::string_view line = header.substr(0, end);
    header.remove_prefix(end + 1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (line.empty()) return;
    if (has_control(line)) throw HttpFault(400, "control character in the header");
    if (head.size() == kFields) {
      throw HttpFault(431, "the header has more than " + std::to_string(kFields) + " fields");
    }
    is_first ? read_request_line(line, head) : read_field(line, head);
  }
}

std::ptrdiff_t count_fields(const HTTPRequest& head, std::string_view name) {
  return std::count_if(head.begin(), head.end(), [&](const auto& field) {
    return field.first.size() == name.size() &&
           Poco::icompare(std::string_view(field.first), name) == 0;
  });
}

/// Two fields of such a name would let two parsers see two requests.
void refuse_repeated_fields(const HTTPRequest& head) {
  if (count_fields(head, "Host") != 1) {
    throw HttpFault(400, "expected one Host field in the header");
  }
  for (const char* const name : {"Authorization", "Content-Encoding", "Content-Type", "Expect",
                                 "Idempotency-Key", "If-Match", "Origin"}) {
    if (count_fields(head, name) > 1) {
      throw HttpFault(400, "expected no more than one " + std::string(name) + " in the header");
    }
  }
}

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
  const auto length = parse_number(head.get("Content-Length"), 10);
  if (lengths > 1 || !length) throw HttpFault(400, "expected one number as Content-Length");
  return {false, *length};
}

/// A target may be a whole address, whose host is then the one that counts (RFC 9112, section
/// 3.2.2).
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

}  // namespace

std::size_t HeaderText::take(std::string_view bytes) {
  const std::size_t all = bytes.size();
  if (text_.empty()) bytes.remove_prefix(std::min(bytes.find_first_not_of("\r\n"), all));
  while (!bytes.empty() && !is_whole()) {
    const std::string_view piece = up_to_line_feed(bytes).substr(0, limit_ + 1 - text_.size());
    text_ += piece;
    bytes.remove_prefix(piece.size());
    check_length();
    if (piece.ends_with('\n')) is_in_first_line_ = false;
  }
  return all - bytes.size();
}

void HeaderText::check_length() const {
  const std::size_t line_bytes = text_.size() - (text_.ends_with('\n') ? 1 : 0);
  if (is_in_first_line_ && line_bytes > kTargetBytes && kTargetBytes < limit_) {
    throw HttpFault(414,
                    "the request line is longer than " + std::to_string(kTargetBytes) + " bytes");
  }
  if (text_.size() > limit_) {
    throw HttpFault(431, "the header is longer than " + std::to_string(limit_) + " bytes");
  }
}

BodyFraming read_header(std::string_view text, HTTPRequest& head) {
  read_lines(text, head);
  if (head.getVersion() != HTTPMessage::HTTP_1_1 && head.getVersion() != HTTPMessage::HTTP_1_0) {
    throw HttpFault(505, "HTTP/1.1 is spoken here, not " + head.getVersion());
  }
  refuse_repeated_fields(head);
  const BodyFraming framing = framing_of(head);
  take_host_of_target(head);
  return framing;
}

}  // namespace korvane::host
