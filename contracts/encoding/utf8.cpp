#include "contracts/encoding/utf8.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace korvane::encoding::detail {

namespace {

bool is_ascii(const char* text, std::size_t size) {
  unsigned bits = 0;
  for (std::size_t i = 0; i < size; ++i) bits |= static_cast<unsigned char>(text[i]);
  return bits < 0x80;
}

struct Sequence {
  std::size_t length;
  /// What the second byte is between.
  unsigned char least;
  unsigned char most;
};

Sequence sequence_of(unsigned char first) {
  if (first >= 0xC2 && first <= 0xDF) return {2, 0x80, 0xBF};
  if (first == 0xE0) return {3, 0xA0, 0xBF};
  if (first == 0xED) return {3, 0x80, 0x9F};
  if (first >= 0xE1 && first <= 0xEF) return {3, 0x80, 0xBF};
  if (first == 0xF0) return {4, 0x90, 0xBF};
  if (first >= 0xF1 && first <= 0xF3) return {4, 0x80, 0xBF};
  if (first == 0xF4) return {4, 0x80, 0x8F};
  return {0, 0, 0};
}

}  // namespace

bool is_utf8(std::string_view text) {
  constexpr std::size_t kBlock = 64;
  const char* at = text.data();
  const char* const end = at + text.size();
  while (at != end) {
    if (static_cast<std::size_t>(end - at) >= kBlock && is_ascii(at, kBlock)) {
      at += kBlock;
      continue;
    }
    const auto first = static_cast<unsigned char>(*at);
    if (first < 0x80) {
      ++at;
      continue;
    }
    const Sequence sequence = sequence_of(first);
    if (sequence.length == 0 || static_cast<std::size_t>(end - at) < sequence.length) return false;
    const auto second = static_cast<unsigned char>(at[1]);
    if (second < sequence.least || second > sequence.most) return false;
    for (std::size_t i = 2; i < sequence.length; ++i) {
      if ((static_cast<unsigned char>(at[i]) & 0xC0U) != 0x80U) return false;
    }
    at += sequence.length;
  }
  return true;
}

}  // namespace korvane::encoding::detail
