#include "tools/korvane/help.h"

#include <gtest/gtest.h>

namespace korvane::tools {
namespace {

TEST(Wrapped, BreaksLinesAtBlanksOnly) {
  EXPECT_EQ(wrapped("", 5), "");
  EXPECT_EQ(wrapped("ab cd", 5), "ab cd");
  EXPECT_EQ(wrapped("ab cde", 5), "ab\ncde");
  EXPECT_EQ(wrapped("ab cd ef gh ij", 5), "ab cd\nef gh\nij");
}

TEST(Wrapped, AWordThatIsTooLongHasALineOfItsOwn) {
  EXPECT_EQ(wrapped("a bcdefgh i", 5), "a\nbcdefgh\ni");
  EXPECT_EQ(wrapped("bcdefgh i", 5), "bcdefgh\ni");
}

}  // namespace
}  // namespace korvane::tools
