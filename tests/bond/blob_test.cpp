#include "bond/blob.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include "tests/bond/bytes.h"
#include "tests/bond/thrown_text.h"

namespace {

using bond::blob;
using korvane::test::thrown_text;
using korvane::test::view;

std::shared_ptr<const char[]> owned(const std::string& text) {
  std::shared_ptr<char[]> bytes(new char[text.size()]);
  std::memcpy(bytes.get(), text.data(), text.size());
  return bytes;
}

class Blob : public testing::Test {
 protected:
  const blob abcdef_ = blob::copy_of("abcdef", 6);
};

TEST_F(Blob, HasNoContentWhenMade) {
  const blob bytes;
  EXPECT_TRUE(bytes.empty());
  EXPECT_EQ(bytes.length(), 0U);
  EXPECT_EQ(bytes.content(), nullptr);
}

TEST_F(Blob, TellsItsBytesInEveryForm) {
  EXPECT_EQ(abcdef_.length(), 6U);
  EXPECT_EQ(abcdef_.size(), 6U);
  EXPECT_FALSE(abcdef_.empty());
  EXPECT_EQ(abcdef_.data(), abcdef_.content());
  EXPECT_EQ(std::string(abcdef_.begin(), abcdef_.end()), "abcdef");
}

TEST_F(Blob, HoldsSignedBytes) {
  EXPECT_TRUE((std::is_same_v<blob::value_type, std::int8_t>));
  EXPECT_TRUE((std::is_same_v<blob::const_iterator, const char*>));
}

TEST_F(Blob, ViewsRawBytesWithoutOwningThem) {
  char bytes[] = {'a', 'b'};
  const blob seen(bytes, 2);
  bytes[0] = 'X';
  EXPECT_EQ(static_cast<const void*>(seen.content()), bytes);
  EXPECT_EQ(view(seen), "Xb");
}

TEST_F(Blob, KeepsSharedBytesAlive) {
  auto bytes = owned("shared");
  const blob keeper(bytes, 6);
  EXPECT_EQ(bytes.use_count(), 2);
  bytes.reset();
  EXPECT_EQ(view(keeper), "shared");
}

TEST_F(Blob, TakesAPartOfSharedBytes) {
  const auto bytes = owned("shared");
  const blob part(bytes, 2, 3);
  EXPECT_EQ(view(part), "are");
  EXPECT_EQ(part.content(), bytes.get() + 2);
}

TEST_F(Blob, CopySharesTheMemory) {
  const blob copy = abcdef_;
  EXPECT_EQ(copy.content(), abcdef_.content());
  EXPECT_EQ(copy, abcdef_);
}

TEST_F(Blob, OutlivesTheBlobItWasCopiedFrom) {
  auto original = std::make_unique<blob>(blob::copy_of("outlives", 8));
  const blob copy = *original;
  original.reset();
  EXPECT_EQ(view(copy), "outlives");
}

TEST_F(Blob, HasNoContentOnceMovedFrom) {
  blob source = abcdef_;
  const blob target = std::move(source);
  EXPECT_EQ(view(target), "abcdef");
  EXPECT_EQ(source.length(), 0U);  // NOLINT(bugprone-use-after-move): it is what is asked
  EXPECT_EQ(source.content(), nullptr);
}

TEST_F(Blob, HasNoContentOnceMoveAssignedFrom) {
  blob source = abcdef_;
  blob target = blob::copy_of("x", 1);
  target = std::move(source);
  EXPECT_EQ(view(target), "abcdef");
  EXPECT_TRUE(source.empty());  // NOLINT(bugprone-use-after-move): it is what is asked
  EXPECT_EQ(source.content(), nullptr);
}

TEST_F(Blob, CopyOfBytesIsMemoryOfItsOwn) {
  std::string text = "copied";
  const blob copy = blob::copy_of(text.data(), 6);
  text = "??????";
  EXPECT_EQ(view(copy), "copied");
}

TEST_F(Blob, CopyOfNoBytesIsEmpty) { EXPECT_TRUE(blob::copy_of(nullptr, 0).empty()); }

TEST_F(Blob, RangeSharesTheMemory) {
  const blob part = abcdef_.range(2, 3);
  EXPECT_EQ(view(part), "cde");
  EXPECT_EQ(part.content(), abcdef_.content() + 2);
}

TEST_F(Blob, RangeKeepsTheMemoryAlive) {
  blob part;
  {
    const blob whole = blob::copy_of("outlives", 8);
    part = whole.range(3, 5);
  }
  EXPECT_EQ(view(part), "lives");
}

TEST_F(Blob, RangeWithoutLengthGoesToTheEnd) {
  EXPECT_EQ(view(abcdef_.range(4)), "ef");
  EXPECT_EQ(view(abcdef_.range(0)), "abcdef");
}

TEST_F(Blob, RangeMayBeEmptyAtTheEnd) {
  EXPECT_TRUE(abcdef_.range(6).empty());
  EXPECT_TRUE(abcdef_.range(6, 0).empty());
}

TEST_F(Blob, RangeBeyondTheEndIsRefused) {
  const std::string text =
      "Total of offset and length too large; must be less than or equal to length of blob";
  EXPECT_EQ(thrown_text<std::invalid_argument>([&] { return abcdef_.range(0, 7); }), text);
  EXPECT_EQ(thrown_text<std::invalid_argument>([&] { return abcdef_.range(4, 3); }), text);
  EXPECT_EQ(thrown_text<std::invalid_argument>([&] { return abcdef_.range(7, 0); }), text);
}

TEST_F(Blob, RangeWhoseTotalLeavesThirtyTwoBitsIsRefused) {
  EXPECT_EQ(thrown_text<std::invalid_argument>([&] { return abcdef_.range(1, 0xFFFFFFFFU); }),
            "Total of offset and length too large; must be less than or equal to length of blob");
}

TEST_F(Blob, RangeFromBeyondTheEndIsRefused) {
  EXPECT_EQ(thrown_text<std::invalid_argument>([&] { return abcdef_.range(7); }),
            "Offset too large; must be less than or equal to length of blob");
}

TEST_F(Blob, ClearLeavesNoContent) {
  blob bytes = abcdef_;
  bytes.clear();
  EXPECT_TRUE(bytes.empty());
  EXPECT_EQ(bytes.content(), nullptr);
  EXPECT_EQ(view(abcdef_), "abcdef");
}

TEST_F(Blob, SwapExchangesBytes) {
  blob left = abcdef_;
  blob right;
  left.swap(right);
  EXPECT_TRUE(left.empty());
  EXPECT_EQ(view(right), "abcdef");
  swap(left, right);
  EXPECT_EQ(view(left), "abcdef");
}

TEST_F(Blob, EqualsAnotherOfEqualLengthAndBytes) {
  EXPECT_TRUE(abcdef_ == blob::copy_of("abcdef", 6));
  EXPECT_TRUE(abcdef_ != blob::copy_of("abcdeF", 6));
  EXPECT_TRUE(abcdef_ != blob::copy_of("abcde", 5));
  EXPECT_TRUE(blob() == blob("x", 0));
}

}  // namespace
