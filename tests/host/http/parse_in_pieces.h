#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/http/parsed.h"

namespace korvane::test {

/// What a parser makes of bytes that hold a request, or less, or more.
struct ParsedBytes {
  /// In short: "more" as long as the header is not whole, "400 detail" where it was refused; from
  /// the header on the method and the target, followed by ": more", ": 413 detail", or the body, if
  /// any, of a whole request. Long targets and bodies are told by their length.
  std::string outcome;
  std::string method;
  std::string target;
  std::string version;
  std::vector<std::pair<std::string, std::string>> fields;
  std::string body;
  /// Of a refusal; 0 without one.
  int status = 0;
  /// What the reply to a refusal has for further fields.
  std::vector<std::pair<std::string, std::string>> reply_fields;
  bool is_header_whole = false;
  bool is_done = false;
  /// How many of the bytes belong to the request, unless it was refused.
  std::size_t taken = 0;

  bool operator==(const ParsedBytes&) const = default;
};

/// Feeds the bytes to a new parser in pieces of as many bytes as `next_length` says, as they would
/// come over a connection. Throws std::logic_error where the parser breaks the rules of feeding.
ParsedBytes parse_in_pieces(std::string_view bytes, const host::RequestLimits& limits,
                            const std::function<std::size_t()>& next_length);

/// Feeds all bytes at once.
ParsedBytes parse_whole(std::string_view bytes, const host::RequestLimits& limits);

}  // namespace korvane::test
