// All that a client may send on one connection, fed to the parser of requests: at once, byte by
// byte, and cut at random. Each way has the same outcomes. A request that is whole is well formed
// and within the limits; what is refused is refused with one of the documented statuses.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>
#include <set>
#include <string>
#include <string_view>

#include <Poco/String.h>

#include "fuzz/promise.h"
#include "tests/host/http/parse_in_pieces.h"

namespace {

using korvane::fuzz::promise;
using korvane::test::ParsedBytes;

/// Small, so that short inputs reach them.
constexpr korvane::host::RequestLimits kLimits = {.header_bytes = 1024, .body_bytes = 512};
constexpr std::size_t kFields = 100;

bool is_plain(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) {
    return c == '\t' || (static_cast<unsigned char>(c) >= ' ' && c != '\x7F');
  });
}

void check_header(const ParsedBytes& request) {
  promise(!request.method.empty() && is_plain(request.method), "a method is a word");
  promise(request.method.find(' ') == std::string::npos, "a method is one word");
  promise(is_plain(request.target) && request.target.find(' ') == std::string::npos,
          "a target is one word");
  promise(request.target.starts_with('/') || request.target == "*", "a target is a path");
  promise(request.version == "HTTP/1.1" || request.version == "HTTP/1.0", "a version is known");
  promise(request.fields.size() <= kFields, "no header has too many fields");
  std::size_t bytes = 0;
  for (const auto& [name, value] : request.fields) {
    promise(!name.empty() && is_plain(name), "a field has a name");
    promise(is_plain(value), "a field's value is plain text");
    bytes += name.size() + value.size();
  }
  promise(bytes <= kLimits.header_bytes, "no header is beyond its limit");
}

/// Ends where each of the two fields that delimit a body says, and nowhere else.
void check_body(const ParsedBytes& request) {
  promise(request.body.size() <= kLimits.body_bytes, "no body is beyond its limit");
  const auto count = [&](const char* name) {
    return std::count_if(request.fields.begin(), request.fields.end(),
                         [&](const auto& field) { return Poco::icompare(field.first, name) == 0; });
  };
  const auto lengths = count("Content-Length");
  const auto codings = count("Transfer-Encoding");
  promise(lengths + codings <= 1, "a body is delimited in one way");
  if (!request.is_done) return;
  promise(lengths + codings == 1 || request.body.empty(), "a body is delimited");
  for (const auto& [name, value] : request.fields) {
    if (Poco::icompare(name, "Content-Length") != 0) continue;
    promise(std::stoull(value) == request.body.size(), "a body has its length");
  }
}

void check(const ParsedBytes& request) {
  static const std::set<int> kStatuses = {400, 413, 414, 415, 417, 431, 501, 505};
  promise(request.status == 0 || kStatuses.contains(request.status),
          "a status is one of the documented");
  promise(request.status == 0 || is_plain(request.outcome), "a refusal is plain text");
  if (!request.is_header_whole) return;
  check_header(request);
  check_body(request);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view bytes(reinterpret_cast<const char*>(data), size);
  std::mt19937 random(static_cast<std::mt19937::result_type>(std::hash<std::string_view>()(bytes)));
  for (bool is_done = true; is_done;) {
    const ParsedBytes request = korvane::test::parse_whole(bytes, kLimits);
    check(request);
    const auto promise_same = [&](const std::function<std::size_t()>& next_length) {
      promise(korvane::test::parse_in_pieces(bytes, kLimits, next_length) == request,
              "a request is the same however its bytes are cut");
    };
    promise_same([] { return 1; });
    promise_same([&] { return random() % 8; });
    promise_same([&] { return random() % 200; });
    is_done = request.is_done;
    promise(!is_done || request.taken != 0, "a request has bytes");
    bytes.remove_prefix(is_done ? request.taken : 0);
  }
  return 0;
}
