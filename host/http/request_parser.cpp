#include "host/http/request_parser.h"

#include <string>

#include <Poco/String.h>

#include "host/http/message.h"

namespace korvane::host {

Parsed RequestParser::feed(std::string_view bytes) {
  if (auto* const header = std::get_if<HeaderText>(&part_)) return feed_header(*header, bytes);
  if (std::holds_alternative<BetweenParts>(part_)) {
    refuse_body();
    part_ = RequestBody(framing_, limits_);
  }
  return std::get<RequestBody>(part_).feed(bytes);
}

Parsed RequestParser::feed_header(HeaderText& header, std::string_view bytes) {
  const std::size_t taken = header.take(bytes);
  if (!header.is_whole()) return {.taken = taken};
  framing_ = read_header(header.text(), head_);
  part_ = BetweenParts();
  return {.what = Parsed::What::header, .taken = taken};
}

void RequestParser::refuse_body() const {
  if (framing_.length > limits_.body_bytes) {
    throw HttpFault(413,
                    "the body is longer than " + std::to_string(limits_.body_bytes) + " bytes");
  }
  if (Poco::icompare(head_.get("Content-Encoding", "identity"), "identity") != 0) {
    throw HttpFault(415, "the Content-Encoding is not supported; expected none",
                    {{"Accept-Encoding", "identity"}});
  }
  if (head_.has("Expect") && !head_.getExpectContinue()) {
    throw HttpFault(417, "the only expectation known is 100-continue");
  }
}

}  // namespace korvane::host
