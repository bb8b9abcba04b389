#include "tests/host/http/parse_in_pieces.h"

#include <algorithm>
#include <stdexcept>

#include "host/http/message.h"
#include "host/http/request_parser.h"

namespace korvane::test {

namespace {

using host::Parsed;

void require(bool is_kept, const char* rule) {
  if (!is_kept) throw std::logic_error(std::string("the parser broke a rule: ") + rule);
}

std::string in_short(const std::string& text) {
  constexpr std::size_t kLong = 60;
  return text.size() <= kLong ? text : "(" + std::to_string(text.size()) + " bytes)";
}

void check(const Parsed& parsed, std::string_view fed, const ParsedBytes& result) {
  using What = Parsed::What;
  require(parsed.taken <= fed.size(), "no more is taken than was fed");
  require(parsed.what != What::more || parsed.taken == fed.size(), "all is taken before more");
  require(parsed.what == What::body || parsed.body.empty(), "only a body part has bytes");
  require((parsed.what == What::header || parsed.what == What::more) || result.is_header_whole,
          "the header comes first");
  require(parsed.what != What::header || !result.is_header_whole, "the header comes once");
  if (parsed.what != What::body) return;
  require(!parsed.body.empty(), "a body part is not empty");
  require(parsed.body.data() >= fed.data() &&
              parsed.body.data() + parsed.body.size() == fed.data() + parsed.taken,
          "a body part ends where the parser has come to");
}

void take_head(const Poco::Net::HTTPRequest& head, ParsedBytes& result) {
  result.is_header_whole = true;
  result.method = head.getMethod();
  result.target = head.getURI();
  result.version = head.getVersion();
  result.fields.assign(head.begin(), head.end());
}

std::string outcome_of(const ParsedBytes& result, const std::string& refusal) {
  const std::string head = result.method + " " + in_short(result.target);
  if (result.is_done) return result.body.empty() ? head : head + " " + in_short(result.body);
  const std::string end = refusal.empty() ? "more" : std::to_string(result.status) + " " + refusal;
  return result.is_header_whole ? head + ": " + end : end;
}

}  // namespace

ParsedBytes parse_in_pieces(std::string_view bytes, const host::RequestLimits& limits,
                            const std::function<std::size_t()>& next_length) {
  ParsedBytes result;
  Poco::Net::HTTPRequest head;
  host::RequestParser parser(head, limits);
  std::string refusal;
  try {
    for (std::size_t arrived = 0; !result.is_done;) {
      // A block of its own, so that a tool sees what looks beyond it.
      const std::vector<char> block(bytes.begin() + static_cast<std::ptrdiff_t>(result.taken),
                                    bytes.begin() + static_cast<std::ptrdiff_t>(arrived));
      const std::string_view fed(block.data(), block.size());
      const Parsed parsed = parser.feed(fed);
      check(parsed, fed, result);
      result.taken += parsed.taken;
      if (parsed.what == Parsed::What::header) take_head(head, result);
      result.body += parsed.body;
      result.is_done = parsed.what == Parsed::What::done;
      if (parsed.what != Parsed::What::more) continue;
      if (arrived == bytes.size()) break;
      arrived = std::min(bytes.size(), arrived + std::max<std::size_t>(1, next_length()));
    }
  } catch (const host::HttpFault& fault) {
    refusal = fault.what();
    result.status = fault.status();
    result.reply_fields = fault.fields;
    result.taken = 0;
  }
  result.outcome = outcome_of(result, refusal);
  return result;
}

ParsedBytes parse_whole(std::string_view bytes, const host::RequestLimits& limits) {
  return parse_in_pieces(bytes, limits, [&] { return bytes.size(); });
}

}  // namespace korvane::test
