#include "schedule/bvbs/letters.h"

#include <string>

#include <gtest/gtest.h>

namespace korvane::schedule::bvbs {
namespace {

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
