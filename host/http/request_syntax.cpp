#include "host/http/request_syntax.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <system_error>

namespace korvane::host {

namespace {

/// What each byte may be part of. A table, as every byte of every header is looked at.
class Characters {
 public:
  template <class Predicate>
  explicit constexpr Characters(Predicate predicate) {
    for (std::size_t i = 0; i < is_one_.size(); ++i) is_one_[i] = predicate(static_cast<char>(i));
  }
  constexpr bool has(char c) const { return is_one_[static_cast<unsigned char>(c)]; }

 private:
  std::array<bool, 256> is_one_{};
};

constexpr Characters kControls([](char c) {
  constexpr char kDelete = 0x7F;
  return (static_cast<unsigned char>(c) < ' ' && c != '\t') || c == kDelete;
});

constexpr Characters kOfTokens([](char c) {
  constexpr std::string_view kAll =
      "!#$%&'*+-.^_`|~0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  return kAll.find(c) != kAll.npos;
});

}  // namespace

bool has_control(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](char c) { return kControls.has(c); });
}

bool is_token(std::string_view text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return kOfTokens.has(c); });
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
