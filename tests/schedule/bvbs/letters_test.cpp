#include "schedule/bvbs/letters.h"

#include <array>
#include <cstddef>
#include <iconv.h>
#include <optional>
#include <string>

#include <gtest/gtest.h>

namespace korvane::schedule::bvbs {
namespace {

/// What the C library makes of one byte; none where the character set has no letter.
std::optional<std::string> letter_of(unsigned byte) {
  iconv_t conversion = iconv_open("UTF-8", "CP1252");
  EXPECT_NE(conversion, reinterpret_cast<iconv_t>(-1));
  char in = static_cast<char>(byte);
  char* from = &in;
  std::size_t in_size = 1;
  std::array<char, 8> out{};
  char* to = out.data();
  std::size_t out_size = out.size();
  const std::size_t failure = iconv(conversion, &from, &in_size, &to, &out_size);
  iconv_close(conversion);
  if (failure == static_cast<std::size_t>(-1)) return std::nullopt;
  return std::string(out.data(), to);
}

TEST(Windows1252, EveryByteIsTheLetterThatTheCLibrarySaysOrAControlCharacter) {
  for (unsigned byte = 1; byte < 256; ++byte) {
    const std::string text(1, static_cast<char>(byte));
    const std::string control = "\xC2" + text;
    EXPECT_EQ(utf8_from_windows1252(text), letter_of(byte).value_or(control)) << byte;
  }
}

TEST(Windows1252, EveryByteComesBackAsItWas) {
  for (int value = 0; value < 256; ++value) {
    const std::string byte(1, static_cast<char>(value));
    EXPECT_EQ(windows1252_from_utf8("a" + utf8_from_windows1252(byte) + "b"), "a" + byte + "b")
        << value;
  }
}

TEST(Windows1252, LettersHaveTheBytesOfTheirTable) {
  EXPECT_EQ(windows1252_from_utf8("ü€œ\u00A0"), "\xFC\x80\x9C\xA0");
}

TEST(Windows1252, LacksOtherLettersAndWhatIsNotUtf8) {
  for (const char* text : {"漢", "ł", "\uFFFD", "\xFC", "a\xC3", "\xC2\x80", "\xC3\x41", "\x80"}) {
    EXPECT_EQ(windows1252_from_utf8(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace korvane::schedule::bvbs
