#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "bond/blob.h"

/// Bytes as text, so that a failed comparison shows them: "10 00 00".
namespace korvane::test {

inline std::string hex(std::string_view bytes) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string text;
  for (const char byte : bytes) {
    if (!text.empty()) text += ' ';
    text += digits[static_cast<unsigned char>(byte) >> 4];
    text += digits[static_cast<unsigned char>(byte) & 0x0F];
  }
  return text;
}

inline std::string_view view(const bond::blob& bytes) { return {bytes.content(), bytes.size()}; }
inline std::string hex(const bond::blob& bytes) { return hex(view(bytes)); }

/// Reads pairs of digits of either case, with or without blanks between them.
inline std::string from_hex(std::string_view text) {
  const auto digit = [](char c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    throw std::invalid_argument("not a hexadecimal digit");
  };
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == ' ') continue;
    if (i + 1 == text.size()) throw std::invalid_argument("half a byte");
    bytes += static_cast<char>(digit(text[i]) * 16 + digit(text[i + 1]));
    ++i;
  }
  return bytes;
}

inline std::uint32_t length_of(std::string_view bytes) {
  return static_cast<std::uint32_t>(bytes.size());
}

}  // namespace korvane::test
