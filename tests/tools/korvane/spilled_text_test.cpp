#include "tools/korvane/spilled_text.h"

#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace korvane::tools {
namespace {

std::string written(const SpilledText& text) {
  std::ostringstream output;
  text.write_to(output);
  return output.str();
}

TEST(SpilledText, GivesBackWhatWasAddedHoweverLongItIs) {
  SpilledText text;
  EXPECT_TRUE(text.empty());
  EXPECT_EQ(written(text), "");
  std::string expected;
  for (int i = 0; expected.size() < 1'000'000; ++i) {
    const std::string piece = std::string(static_cast<std::size_t>(i % 1000), 'x') +
                              std::to_string(i) + std::string(1, '\0');
    text.add(piece);
    expected += piece;
    if (i == 10) {
      EXPECT_EQ(written(text), expected);
    }
  }
  EXPECT_FALSE(text.empty());
  EXPECT_TRUE(written(text) == expected);
}

TEST(SpilledText, TakesAPieceThatIsLongByItself) {
  SpilledText text;
  const std::string piece(3'000'000, 'y');
  text.add(piece);
  text.add("z");
  EXPECT_TRUE(written(text) == piece + "z");
}

}  // namespace
}  // namespace korvane::tools
