#include "bond/input_buffer.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include <gtest/gtest.h>

#include "tests/bond/bytes.h"
#include "tests/bond/thrown_text.h"

namespace {

using bond::InputBuffer;
using korvane::test::from_hex;
using korvane::test::length_of;
using korvane::test::thrown_text;
using korvane::test::view;

/// A buffer over bytes that it owns.
InputBuffer input_over(std::string_view text) {
  const std::string bytes = from_hex(text);
  return InputBuffer(bond::blob::copy_of(bytes.data(), length_of(bytes)));
}

template <class T>
T read(InputBuffer& input) {
  T value{};
  input.Read(value);
  return value;
}

template <class T>
T read_varint(InputBuffer& input) {
  T value{};
  input.ReadVariableUnsigned(value);
  return value;
}

TEST(Input, ReadsScalarsLittleEndian) {
  InputBuffer input = input_over("AB 34 12 04 03 02 01 00 00 00 00 00 00 04 C0");
  EXPECT_EQ(read<std::uint8_t>(input), 0xAB);
  EXPECT_EQ(read<std::uint16_t>(input), 0x1234);
  EXPECT_EQ(read<std::uint32_t>(input), 0x01020304U);
  EXPECT_EQ(read<double>(input), -2.5);
  EXPECT_TRUE(input.IsEof());
}

TEST(Input, ReadsTextOfTheLengthGiven) {
  InputBuffer input = input_over("61 00 62 63");
  std::string text = "held before";
  input.Read(text, 3);
  EXPECT_EQ(text, std::string("a\0b", 3));
  EXPECT_EQ(input.remaining(), 1U);
}

TEST(Input, ReadsNoTextWhereNothingIsLeft) {
  InputBuffer input;
  std::string text = "held before";
  input.Read(text, 0);
  EXPECT_EQ(text, "");
}

TEST(Input, MadeWithoutBytesIsAtItsEnd) {
  InputBuffer input;
  EXPECT_TRUE(input.IsEof());
  EXPECT_EQ(thrown_text<bond::StreamException>([&] { read<std::uint8_t>(input); }),
            "Read out of bounds: 1 bytes requested, offset: 0, length: 0");
}

TEST(Input, ReadPastTheEndTellsWhatWasAskedAndWhere) {
  InputBuffer input = input_over("01 02 03 04 05");
  read<std::uint16_t>(input);
  EXPECT_EQ(thrown_text<bond::StreamException>([&] { read<double>(input); }),
            "Read out of bounds: 8 bytes requested, offset: 2, length: 5");
}

TEST(Input, TextPastTheEndTellsItsLength) {
  InputBuffer input = input_over("61 62 63");
  read<std::uint8_t>(input);
  std::string text;
  EXPECT_EQ(thrown_text<bond::StreamException>([&] { input.Read(text, 3); }),
            "Read out of bounds: 3 bytes requested, offset: 1, length: 3");
}

TEST(Input, BlobPastTheEndTellsItsLength) {
  InputBuffer input = input_over("61 62 63");
  bond::blob bytes;
  EXPECT_EQ(thrown_text<bond::StreamException>([&] { input.Read(bytes, 0xFFFFFFFFU); }),
            "Read out of bounds: 4294967295 bytes requested, offset: 0, length: 3");
}

TEST(Input, FailedReadLeavesPositionAndTargetAlone) {
  InputBuffer input = input_over("01 02");
  std::uint32_t number = 7;
  EXPECT_THROW(input.Read(number), bond::StreamException);
  EXPECT_EQ(number, 7U);
  EXPECT_EQ(input.position(), 0U);
  EXPECT_EQ(read<std::uint16_t>(input), 0x0201);
}

TEST(Input, SkipMovesOn) {
  InputBuffer input = input_over("01 02 03");
  input.Skip(2);
  EXPECT_EQ(input.position(), 2U);
  EXPECT_EQ(read<std::uint8_t>(input), 3);
}

TEST(Input, SkipMayEndExactlyAtTheEnd) {
  InputBuffer input = input_over("01 02 03");
  input.Skip(3);
  EXPECT_TRUE(input.IsEof());
}

TEST(Input, SkipPastTheEndLeavesThePosition) {
  InputBuffer input = input_over("01 02 03");
  read<std::uint8_t>(input);
  input.Skip(3);
  EXPECT_EQ(input.position(), 1U);
  input.Skip(0xFFFFFFFFU);
  EXPECT_EQ(read<std::uint8_t>(input), 2);
}

TEST(Input, CopyReadsOnIndependently) {
  InputBuffer input = input_over("01 02 03");
  read<std::uint8_t>(input);
  InputBuffer copy = input;
  EXPECT_EQ(read<std::uint8_t>(copy), 2);
  EXPECT_EQ(read<std::uint8_t>(copy), 3);
  EXPECT_EQ(input.position(), 1U);
}

TEST(Input, BlobFromRawBytesSurvivesThem) {
  bond::blob taken;
  {
    auto bytes = std::make_unique<std::string>("abcdef");
    InputBuffer input(bytes->data(), length_of(*bytes));
    input.Skip(2);
    input.Read(taken, 3);
    bytes->assign(6, '?');
  }
  EXPECT_EQ(view(taken), "cde");
}

TEST(Input, BlobFromABlobSharesItsMemory) {
  const bond::blob bytes = bond::blob::copy_of("abcdef", 6);
  InputBuffer input(bytes);
  input.Skip(2);
  bond::blob taken;
  input.Read(taken, 3);
  EXPECT_EQ(view(taken), "cde");
  EXPECT_EQ(taken.content(), bytes.content() + 2);
}

TEST(Input, BlobFromABlobKeepsItsMemoryAlive) {
  bond::blob taken;
  {
    InputBuffer input = input_over("61 62 63");
    input.Read(taken, 3);
  }
  EXPECT_EQ(view(taken), "abc");
}

TEST(Input, EmptyBlobIsReadAtTheEnd) {
  InputBuffer input = input_over("61");
  input.Skip(1);
  bond::blob taken = bond::blob::copy_of("held before", 11);
  input.Read(taken, 0);
  EXPECT_TRUE(taken.empty());
}

TEST(InputVarint, TakesSevenBitsFromEachByte) {
  InputBuffer input = input_over("00 7F 80 01 AC 02 FF 7F 80 80 01");
  EXPECT_EQ(read_varint<std::uint32_t>(input), 0U);
  EXPECT_EQ(read_varint<std::uint32_t>(input), 127U);
  EXPECT_EQ(read_varint<std::uint32_t>(input), 128U);
  EXPECT_EQ(read_varint<std::uint32_t>(input), 300U);
  EXPECT_EQ(read_varint<std::uint32_t>(input), 16383U);
  EXPECT_EQ(read_varint<std::uint32_t>(input), 16384U);
  EXPECT_TRUE(input.IsEof());
}

TEST(InputVarint, ReadsTheLargestOfEachWidth) {
  InputBuffer narrow = input_over("FF FF 03");
  InputBuffer middle = input_over("FF FF FF FF 0F");
  InputBuffer wide = input_over("FF FF FF FF FF FF FF FF FF 01");
  EXPECT_EQ(read_varint<std::uint16_t>(narrow), 0xFFFFU);
  EXPECT_EQ(read_varint<std::uint32_t>(middle), 0xFFFFFFFFU);
  EXPECT_EQ(read_varint<std::uint64_t>(wide), 0xFFFFFFFFFFFFFFFFU);
}

TEST(InputVarint, ReadsALongerFormOfASmallNumber) {
  InputBuffer input = input_over("8E 80 00");
  EXPECT_EQ(read_varint<std::uint32_t>(input), 14U);
  EXPECT_TRUE(input.IsEof());
}

TEST(InputVarint, TakesThreeBytesAtMostForSixteenBits) {
  InputBuffer input = input_over("FF FF FF FF FF");
  EXPECT_EQ(read_varint<std::uint16_t>(input), 0xFFFFU);
  EXPECT_EQ(input.position(), 3U);
}

TEST(InputVarint, TakesFiveBytesAtMostForThirtyTwoBits) {
  InputBuffer input = input_over("81 80 80 80 80 80 80");
  EXPECT_EQ(read_varint<std::uint32_t>(input), 1U);
  EXPECT_EQ(input.position(), 5U);
}

TEST(InputVarint, TakesTenBytesAtMostForSixtyFourBits) {
  InputBuffer input = input_over("81 80 80 80 80 80 80 80 80 80 80 80");
  EXPECT_EQ(read_varint<std::uint64_t>(input), 1U);
  EXPECT_EQ(input.position(), 10U);
}

TEST(InputVarint, DropsTheSurplusBitsOfTheLastByte) {
  InputBuffer narrow = input_over("FF FF 7F");
  InputBuffer middle = input_over("FF FF FF FF 7F");
  InputBuffer wide = input_over("FF FF FF FF FF FF FF FF FF 7F");
  EXPECT_EQ(read_varint<std::uint16_t>(narrow), 0xFFFFU);
  EXPECT_EQ(read_varint<std::uint32_t>(middle), 0xFFFFFFFFU);
  EXPECT_EQ(read_varint<std::uint64_t>(wide), 0xFFFFFFFFFFFFFFFFU);
}

TEST(InputVarint, CutShortAsksForOneByte) {
  InputBuffer input = input_over("07 FF FF");
  read<std::uint8_t>(input);
  EXPECT_EQ(thrown_text<bond::StreamException>([&] { read_varint<std::uint32_t>(input); }),
            "Read out of bounds: 1 bytes requested, offset: 3, length: 3");
}

TEST(InputVarint, CutShortByOneByteNeverReadsBeyondTheEnd) {
  InputBuffer narrow = input_over("FF FF");
  InputBuffer middle = input_over("FF FF FF FF");
  InputBuffer wide = input_over("FF FF FF FF FF FF FF FF FF");
  EXPECT_EQ(thrown_text<bond::StreamException>([&] { read_varint<std::uint16_t>(narrow); }),
            "Read out of bounds: 1 bytes requested, offset: 2, length: 2");
  EXPECT_EQ(thrown_text<bond::StreamException>([&] { read_varint<std::uint32_t>(middle); }),
            "Read out of bounds: 1 bytes requested, offset: 4, length: 4");
  EXPECT_EQ(thrown_text<bond::StreamException>([&] { read_varint<std::uint64_t>(wide); }),
            "Read out of bounds: 1 bytes requested, offset: 9, length: 9");
}

TEST(InputVarint, OfNoBytesAsksForOneByte) {
  InputBuffer input;
  EXPECT_EQ(thrown_text<bond::StreamException>([&] { read_varint<std::uint64_t>(input); }),
            "Read out of bounds: 1 bytes requested, offset: 0, length: 0");
}

}  // namespace
