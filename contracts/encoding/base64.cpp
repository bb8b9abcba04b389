#include "contracts/encoding/base64.h"

#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>

namespace korvane::encoding::detail {

namespace {

constexpr std::string_view kDigits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::uint8_t kNoDigit = 0xFF;

/// The value of each character as a digit.
constexpr auto kValues = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(kNoDigit);
  std::uint8_t value = 0;
  for (const char digit : kDigits) values[static_cast<unsigned char>(digit)] = value++;
  return values;
}();

}  // namespace

std::string base64_text(std::string_view bytes) {
  std::string text((bytes.size() + 2) / 3 * 4, '=');
  char* next = text.data();
  const auto byte = [&](std::size_t i) -> std::uint32_t {
    return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0U;
  };
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::uint32_t bits = byte(i) << 16U | byte(i + 1) << 8U | byte(i + 2);
    next[0] = kDigits[bits >> 18U];
    next[1] = kDigits[bits >> 12U & 0x3FU];
    if (i + 1 < bytes.size()) next[2] = kDigits[bits >> 6U & 0x3FU];
    if (i + 2 < bytes.size()) next[3] = kDigits[bits & 0x3FU];
    next += 4;
  }
  return text;
}

bond::blob base64_bytes(std::string_view text, const Place& place) {
  if (text.size() % 4 != 0) {
    place.fail_expected("base64 text",
                        std::to_string(text.size()) + " characters, not a multiple of four");
  }
  if (text.empty()) return {};
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
  const std::size_t length = text.size() / 4 * 3 - padding;
  if (length > std::numeric_limits<std::uint32_t>::max()) {
    place.fail_expected("at most 4294967295 bytes", std::to_string(length));
  }
  auto bytes = std::make_shared_for_overwrite<char[]>(length);
  std::uint32_t bits = 0;
  char* next = bytes.get();
  for (std::size_t i = 0; i < text.size() - padding; ++i) {
    const std::uint8_t digit = kValues[static_cast<unsigned char>(text[i])];
    if (digit == kNoDigit) {
      place.fail_expected("base64 text", "another character at position " + std::to_string(i + 1));
    }
    bits = bits << 6U | digit;
    // After 2, 3 and 4 digits of each four a byte is complete; 4, 2 and 0 bits are then left.
    if (i % 4 != 0) *next++ = static_cast<char>(bits >> (6U - 2U * (i % 4)));
  }
  if (padding != 0 && (bits & (padding == 2 ? 0x0FU : 0x03U)) != 0) {
    place.fail_expected("base64 text", "bits after the last byte");
  }
  return {std::move(bytes), static_cast<std::uint32_t>(length)};
}

}  // namespace korvane::encoding::detail
