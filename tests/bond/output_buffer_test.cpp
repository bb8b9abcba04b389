#include "bond/output_buffer.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "tests/bond/bytes.h"

namespace {

using bond::OutputBuffer;
using korvane::test::hex;
using korvane::test::length_of;
using korvane::test::view;

template <class T>
std::string varint(T value) {
  OutputBuffer output;
  output.WriteVariableUnsigned(value);
  return hex(output.GetBuffer());
}

/// Bytes that differ from their neighbours and from those 256 places on.
std::string pattern(std::size_t length) {
  std::string bytes(length, '\0');
  for (std::size_t i = 0; i < length; ++i) bytes[i] = static_cast<char>(i * 7 + i / 256);
  return bytes;
}

class Output : public testing::Test {
 protected:
  void write(const std::string& bytes) { output_.Write(bytes.data(), length_of(bytes)); }

  OutputBuffer output_;
};

TEST_F(Output, IsAnEmptyBlobBeforeTheFirstWrite) {
  EXPECT_TRUE(output_.GetBuffer().empty());
  EXPECT_EQ(output_.GetBuffer().content(), nullptr);
}

TEST_F(Output, HandsItsMemoryOverAndIsEmptyAfterwards) {
  write("abc");
  const char* const content = output_.GetBuffer().content();
  const bond::blob taken = static_cast<OutputBuffer&&>(output_).GetBuffer();
  EXPECT_EQ(taken.content(), content);
  EXPECT_TRUE(output_.GetBuffer().empty());
  write("xyz");
  EXPECT_EQ(view(output_.GetBuffer()), "xyz");
  EXPECT_EQ(view(taken), "abc");
}

TEST_F(Output, WritesScalarsLittleEndian) {
  output_.Write(std::uint8_t{0xAB});
  output_.Write(std::uint16_t{0x1234});
  output_.Write(std::uint32_t{0x01020304});
  output_.Write(-2.5);
  EXPECT_EQ(hex(output_.GetBuffer()), "AB 34 12 04 03 02 01 00 00 00 00 00 00 04 C0");
}

TEST_F(Output, WritesBytesAsTheyStand) {
  write(std::string("a\0b", 3));
  EXPECT_EQ(hex(output_.GetBuffer()), "61 00 62");
}

TEST_F(Output, WritingNoBytesWritesNothing) {
  output_.Write(nullptr, 0);
  output_.Write(bond::blob());
  EXPECT_TRUE(output_.GetBuffer().empty());
}

TEST_F(Output, WritesTheBytesOfABlobAlone) {
  output_.Write(bond::blob::copy_of("xyz", 3));
  EXPECT_EQ(view(output_.GetBuffer()), "xyz");
}

TEST_F(Output, CopiesALongBlobToo) {
  std::string bytes = pattern(100);
  const std::string before = bytes;
  output_.Write(bond::blob(bytes.data(), length_of(bytes)));
  bytes.assign(100, '?');
  EXPECT_EQ(view(output_.GetBuffer()), before);
}

TEST_F(Output, GivesOneBlockWhenItGrowsBeyondItsFirst) {
  std::string expected;
  for (int i = 0; i < 60; ++i) {
    const std::string piece = pattern(1000).substr(0, 990 + static_cast<std::size_t>(i % 10));
    write(piece);
    expected += piece;
  }
  EXPECT_EQ(view(output_.GetBuffer()), expected);
}

TEST_F(Output, GivesOneBlockWhenASingleWriteIsLargerThanTheFirst) {
  const std::string bytes = pattern(10'000);
  write(bytes);
  EXPECT_EQ(view(output_.GetBuffer()), bytes);
}

TEST_F(Output, FillsItsFirstBlockToTheLastByteWithoutMoving) {
  write(pattern(1));
  const char* const block = output_.GetBuffer().content();
  write(pattern(4095));
  EXPECT_EQ(output_.GetBuffer().content(), block);
  EXPECT_EQ(output_.GetBuffer().size(), 4096U);
}

TEST_F(Output, GrowsByHalf) {
  write(pattern(4096));
  write(pattern(1));
  const char* const block = output_.GetBuffer().content();
  write(pattern(6144 - 4097));
  EXPECT_EQ(output_.GetBuffer().content(), block);
  write(pattern(1));
  EXPECT_NE(output_.GetBuffer().content(), block);
}

TEST_F(Output, LaterWritesLeaveABlobThatWasTakenUnchanged) {
  const std::string first = pattern(4090);
  write(first);
  const bond::blob taken = output_.GetBuffer();
  write(std::string(3, '?'));
  write(std::string(5000, '!'));
  EXPECT_EQ(view(taken), first);
  EXPECT_EQ(output_.GetBuffer().size(), 9093U);
}

TEST_F(Output, BlobOutlivesTheBuffer) {
  bond::blob taken;
  {
    OutputBuffer output;
    output.Write("outlives", 8);
    taken = output.GetBuffer();
  }
  EXPECT_EQ(view(taken), "outlives");
}

TEST_F(Output, ExtendedGivesRoomAfterWhatIsWritten) {
  write("ab");
  char* const room = output_.Extend(3);
  std::copy_n("cde", 3, room);
  write("f");
  EXPECT_EQ(view(output_.GetBuffer()), "abcdef");
}

TEST_F(Output, ExtendedAtFirstIsABlockOfJustThatSize) {
  char* const room = output_.Extend(5);
  std::copy_n("12345", 5, room);
  EXPECT_EQ(output_.GetBuffer().content(), room);
  write("6");
  EXPECT_NE(output_.GetBuffer().content(), room);
  EXPECT_EQ(view(output_.GetBuffer()), "123456");
}

TEST_F(Output, RefusesToBeExtendedBeyondThirtyOneBits) {
  write("kept");
  EXPECT_THROW(output_.Extend(0x7FFFFFFCU), std::bad_alloc);
  EXPECT_THROW(output_.Extend(~std::uint64_t{0}), std::bad_alloc);
  EXPECT_EQ(view(output_.GetBuffer()), "kept");
}

TEST_F(Output, RefusesToGrowBeyondThirtyOneBits) {
  write("kept");
  const std::vector<char> bytes(1);
  EXPECT_THROW(output_.Write(bytes.data(), 0x7FFFFFFCU), std::bad_alloc);
  EXPECT_THROW(output_.Write(bytes.data(), 0xFFFFFFFFU), std::bad_alloc);
  EXPECT_EQ(view(output_.GetBuffer()), "kept");
}

TEST_F(Output, IsNotCopied) {
  EXPECT_FALSE(std::is_copy_constructible_v<OutputBuffer>);
  EXPECT_FALSE(std::is_copy_assignable_v<OutputBuffer>);
}

TEST(OutputVarint, TakesSevenBitsToTheByteLeastSignificantFirst) {
  EXPECT_EQ(varint(std::uint32_t{0}), "00");
  EXPECT_EQ(varint(std::uint32_t{127}), "7F");
  EXPECT_EQ(varint(std::uint32_t{128}), "80 01");
  EXPECT_EQ(varint(std::uint32_t{300}), "AC 02");
  EXPECT_EQ(varint(std::uint32_t{16383}), "FF 7F");
  EXPECT_EQ(varint(std::uint32_t{16384}), "80 80 01");
}

TEST(OutputVarint, TakesThreeFiveAndTenBytesAtMost) {
  EXPECT_EQ(varint(std::uint16_t{0xFFFF}), "FF FF 03");
  EXPECT_EQ(varint(std::uint32_t{0xFFFFFFFF}), "FF FF FF FF 0F");
  EXPECT_EQ(varint(std::uint64_t{0xFFFFFFFFFFFFFFFF}), "FF FF FF FF FF FF FF FF FF 01");
}

TEST_F(Output, WritesAVarintAcrossTheEndOfABlock) {
  write(pattern(4094));
  output_.WriteVariableUnsigned(std::uint32_t{0xFFFFFFFF});
  EXPECT_EQ(hex(output_.GetBuffer().range(4094)), "FF FF FF FF 0F");
}

}  // namespace
