#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <Poco/Net/HTTPRequest.h>

namespace korvane::host {

/// The text of a header as it comes, up to and including the blank line that ends it. Empty lines
/// before it are skipped.
class HeaderText {
 public:
  explicit HeaderText(std::size_t limit) : limit_(limit) {}

  /// Takes bytes up to the end of the header. Returns how many. Throws HttpFault 414 for a first
  /// line that is too long, 431 for a header that is.
  std::size_t take(std::string_view bytes);
  bool is_whole() const { return text_.ends_with("\n\r\n") || text_.ends_with("\n\n"); }
  const std::string& text() const { return text_; }

 private:
  void check_length() const;

  std::size_t limit_;
  std::string text_;
  bool is_in_first_line_ = true;
};

/// What delimits a body: chunks, or its length.
struct BodyFraming {
  bool is_chunked = false;
  std::uint64_t length = 0;

  bool has_body() const { return is_chunked || length != 0; }
};

/// Reads a whole header into `head`, which must be new. The target becomes a path, or the `*` for
/// the server as a whole; the host of a target that is a whole address becomes the Host field.
/// Throws HttpFault: 400 for a header that is malformed, names its host, its sender or the form of
/// its body more than once, or does not say where its body ends, 431 for one of more than 100
/// fields, 501 for a transfer coding other than chunked, 505 for another version of HTTP.
BodyFraming read_header(std::string_view text, Poco::Net::HTTPRequest& head);

}  // namespace korvane::host
