#pragma once

#include <string>
#include <vector>

#include "host/http/parsed.h"

namespace korvane::test {

/// Bytes that a client sends, and what the parser makes of them.
struct RequestRow {
  /// A sentence, in letters and digits.
  std::string name;
  std::string bytes;
  /// As `ParsedBytes` has it.
  std::string outcome;
  /// The bytes that belong to the next request.
  std::string rest = {};
  /// The header may be longer than a request line.
  host::RequestLimits limits = {.header_bytes = 17'000, .body_bytes = 1000};
};

/// What is a request, what is not, what is too large, and where a body ends.
std::vector<RequestRow> request_rows();

}  // namespace korvane::test
