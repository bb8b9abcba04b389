#include "host/http/request_syntax.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace korvane::host {

namespace {

bool is_control(char c) {
  constexpr char kDelete = 0x7F;
  return (static_cast<unsigned char>(c) < ' ' && c != '\t') || c == kDelete;
}

}  // namespace

bool has_control(std::string_view text) {
  return std::any_of(text.begin(), text.end(), is_control);
}

bool is_token(std::string_view text) {
  constexpr std::string_view kTokenCharacters =
      "!#$%&'*+-.^_`|~0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  return !text.empty() && text.find_first_not_of(kTokenCharacters) == text.npos;
}

std::optional<std::uint64_t> parse_number(std::string_view text, int base) {
  // Digits only: from_chars would take a sign.
  constexpr std::string_view kDigits = "0123456789abcdefABCDEF";
  const std::string_view allowed = kDigits.substr(0, base == 16 ? kDigits.size() : 10);
  if (text.find_first_not_of(allowed) != text.npos) return std::nullopt;
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (error != std::errc()) return std::nullopt;
  return number;
}

std::string_view up_to_line_feed(std::string_view bytes) {
  const std::size_t end = bytes.find('\n');
  return end == bytes.npos ? bytes : bytes.substr(0, end + 1);
}

}  // namespace korvane::host
