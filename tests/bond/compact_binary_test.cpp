#include "bond/compact_binary.h"

#include <cstdint>
#include <limits>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "bond/input_buffer.h"
#include "bond/output_buffer.h"
#include "tests/bond/bytes.h"
#include "tests/bond/thrown_text.h"
#include "tests/bond/wire_samples.h"

namespace {

using korvane::test::from_hex;
using korvane::test::hex;
using korvane::test::length_of;
using korvane::test::sample_value;
using korvane::test::thrown_text;

using Writer = bond::CompactBinaryWriter<bond::OutputBuffer>;
using Reader = bond::CompactBinaryReader<bond::InputBuffer>;

template <class Write>
std::string written(Write write) {
  bond::OutputBuffer output;
  Writer writer(output);
  write(writer);
  return hex(output.GetBuffer());
}

Reader reader_over(std::string_view text) {
  const std::string bytes = from_hex(text);
  return Reader(bond::InputBuffer(bond::blob::copy_of(bytes.data(), length_of(bytes))));
}

template <class T>
T read(std::string_view text, bond::BondDataType type) {
  Reader reader = reader_over(text);
  T value{};
  reader.Read(value, type);
  EXPECT_TRUE(reader.GetBuffer().IsEof());
  return value;
}

std::string int32(std::int32_t value) {
  return written([&](Writer& writer) { writer.Write(value); });
}

std::string header(bond::BondDataType type, std::uint16_t ordinal) {
  return written([&](Writer& writer) { writer.WriteFieldBegin(type, ordinal); });
}

std::string read_header(std::string_view text) {
  Reader reader = reader_over(text);
  bond::BondDataType type = bond::BT_STOP;
  std::uint16_t ordinal = 0;
  reader.ReadFieldBegin(type, ordinal);
  EXPECT_TRUE(reader.GetBuffer().IsEof());
  return std::to_string(type) + " under " + std::to_string(ordinal);
}

TEST(CompactBinaryWriter, IsMadeForVersionOneOnly) {
  bond::OutputBuffer output;
  EXPECT_NO_THROW(Writer(output, 1));
  EXPECT_EQ(thrown_text<std::invalid_argument>([&] { Writer writer(output, 2); }),
            "Compact Binary is written in version 1 only");
}

TEST(CompactBinaryReader, IsMadeForVersionOneOnly) {
  EXPECT_NO_THROW(Reader(bond::InputBuffer(), 1));
  EXPECT_EQ(thrown_text<std::invalid_argument>([] { Reader reader(bond::InputBuffer(), 2); }),
            "Compact Binary is read in version 1 only");
}

TEST(FieldHeader, TakesOneByteUpToOrdinalFive) {
  EXPECT_EQ(header(bond::BT_INT32, 0), "10");
  EXPECT_EQ(header(bond::BT_STRING, 1), "29");
  EXPECT_EQ(header(bond::BT_LIST, 5), "AB");
}

TEST(FieldHeader, TakesTwoBytesFromSixTo255) {
  EXPECT_EQ(header(bond::BT_STRUCT, 6), "CA 06");
  EXPECT_EQ(header(bond::BT_INT32, 9), "D0 09");
  EXPECT_EQ(header(bond::BT_BOOL, 255), "C2 FF");
}

TEST(FieldHeader, TakesThreeBytesFrom256) {
  EXPECT_EQ(header(bond::BT_INT32, 256), "F0 00 01");
  EXPECT_EQ(header(bond::BT_WSTRING, 0xFFFF), "F2 FF FF");
}

TEST(FieldHeader, IsReadInEachForm) {
  EXPECT_EQ(read_header("AB"), "11 under 5");
  EXPECT_EQ(read_header("D0 09"), "16 under 9");
  EXPECT_EQ(read_header("F0 2C 01"), "16 under 300");
}

TEST(FieldHeader, IsReadInAFormLongerThanItNeeds) {
  EXPECT_EQ(read_header("D0 02"), "16 under 2");
  EXPECT_EQ(read_header("E9 05 00"), "9 under 5");
}

TEST(FieldHeader, CutShortAsksForWhatIsMissing) {
  EXPECT_EQ(thrown_text<bond::StreamException>([] { read_header("D0"); }),
            "Read out of bounds: 1 bytes requested, offset: 1, length: 1");
  EXPECT_EQ(thrown_text<bond::StreamException>([] { read_header("F0 2C"); }),
            "Read out of bounds: 2 bytes requested, offset: 1, length: 2");
}

TEST(StructEnd, IsTheStopOrTheStopOfABase) {
  EXPECT_EQ(written([](Writer& writer) { writer.WriteStructEnd(); }), "00");
  EXPECT_EQ(written([](Writer& writer) { writer.WriteStructEnd(true); }), "01");
}

TEST(ContainerHeader, HasTheCountAfterTheTypes) {
  EXPECT_EQ(written([](Writer& writer) { writer.WriteContainerBegin(3, bond::BT_DOUBLE); }),
            "08 03");
  EXPECT_EQ(written([](Writer& writer) {
              writer.WriteContainerBegin(300, bond::BT_STRING, bond::BT_STRUCT);
            }),
            "09 0A AC 02");
}

TEST(ContainerHeader, NeverFoldsASmallCountIntoTheType) {
  EXPECT_EQ(written([](Writer& writer) { writer.WriteContainerBegin(0, bond::BT_INT32); }),
            "10 00");
  EXPECT_EQ(written([](Writer& writer) { writer.WriteContainerBegin(6, bond::BT_INT32); }),
            "10 06");
}

TEST(ContainerHeader, TopBitsOfAnElementTypeAreNoPartOfIt) {
  Reader reader = reader_over("F0 02");
  std::uint32_t count = 0;
  bond::BondDataType element = bond::BT_STOP;
  reader.ReadContainerBegin(count, element);
  EXPECT_EQ(element, bond::BT_INT32);
  EXPECT_EQ(count, 2U);
}

TEST(ContainerHeader, TopBitsOfTheTypesOfAMapArePartOfThem) {
  Reader reader = reader_over("E9 4A 02");
  std::uint32_t count = 0;
  bond::BondDataType key = bond::BT_STOP;
  bond::BondDataType value = bond::BT_STOP;
  reader.ReadContainerBegin(count, key, value);
  EXPECT_EQ(static_cast<int>(key), 0xE9);
  EXPECT_EQ(static_cast<int>(value), 0x4A);
  EXPECT_EQ(count, 2U);
}

TEST(Int32, IsZigzagAndVarint) {
  EXPECT_EQ(int32(0), "00");
  EXPECT_EQ(int32(-1), "01");
  EXPECT_EQ(int32(1), "02");
  EXPECT_EQ(int32(-2), "03");
  EXPECT_EQ(int32(63), "7E");
  EXPECT_EQ(int32(-64), "7F");
  EXPECT_EQ(int32(64), "80 01");
  EXPECT_EQ(int32(-65), "81 01");
}

TEST(Int32, TakesFiveBytesAtMost) {
  EXPECT_EQ(int32(std::numeric_limits<std::int32_t>::max()), "FE FF FF FF 0F");
  EXPECT_EQ(int32(std::numeric_limits<std::int32_t>::min()), "FF FF FF FF 0F");
}

TEST(Int32, ReadsBackWhatIsWritten) {
  for (const std::int32_t value :
       {0, -1, 1, 63, -64, 64, -65, 8191, -8192, 8192, 1'048'575, 1'048'576, 134'217'727,
        -134'217'728, 134'217'728, std::numeric_limits<std::int32_t>::max(),
        std::numeric_limits<std::int32_t>::min()}) {
    EXPECT_EQ(read<std::int32_t>(int32(value), bond::BT_INT32), value);
  }
}

TEST(Int32, IsWidenedFromSixteenBits) {
  EXPECT_EQ(read<std::int32_t>("D7 04", bond::BT_INT16), -300);
  EXPECT_EQ(read<std::int32_t>("FE FF 03", bond::BT_INT16), 32767);
  EXPECT_EQ(read<std::int32_t>("FF FF 03", bond::BT_INT16), -32768);
}

TEST(Int32, IsWidenedFromOneRawByte) {
  EXPECT_EQ(read<std::int32_t>("7F", bond::BT_INT8), 127);
  EXPECT_EQ(read<std::int32_t>("FF", bond::BT_INT8), -1);
  EXPECT_EQ(read<std::int32_t>("80", bond::BT_INT8), -128);
}

TEST(Double, IsEightBytesLittleEndian) {
  EXPECT_EQ(written([](Writer& writer) { writer.Write(2.5); }), "00 00 00 00 00 00 04 40");
  EXPECT_EQ(read<double>("00 00 00 00 00 00 04 40", bond::BT_DOUBLE), 2.5);
}

TEST(Double, IsWidenedFromAFloat) {
  EXPECT_EQ(read<double>("00 00 C0 3F", bond::BT_FLOAT), 1.5);
  EXPECT_EQ(read<double>("CD CC CC 3D", bond::BT_FLOAT), static_cast<double>(0.1F));
}

TEST(Text, IsItsLengthAndItsBytesAsTheyStand) {
  const std::string text("\xFF\0z", 3);
  EXPECT_EQ(written([&](Writer& writer) { writer.Write(text); }), "03 FF 00 7A");
  std::string read_back;
  reader_over("03 FF 00 7A").Read(read_back);
  EXPECT_EQ(read_back, text);
}

TEST(Text, OfMoreThan127BytesHasALongerLength) {
  const std::string text(300, 'x');
  const std::string bytes = written([&](Writer& writer) { writer.Write(text); });
  EXPECT_EQ(bytes.substr(0, 8), "AC 02 78");
  EXPECT_EQ(from_hex(bytes).size(), 302U);
}

TEST(Bool, IsOneByte) {
  EXPECT_EQ(written([](Writer& writer) { writer.Write(true); }), "01");
  EXPECT_EQ(written([](Writer& writer) { writer.Write(false); }), "00");
}

TEST(Bool, IsTrueForEveryByteButZero) {
  bool value = false;
  reader_over("02").Read(value);
  EXPECT_TRUE(value);
  reader_over("00").Read(value);
  EXPECT_FALSE(value);
}

class SkipOfType : public testing::TestWithParam<int> {};

TEST_P(SkipOfType, PassesOverExactlyOneValue) {
  const std::string bytes = from_hex(sample_value(GetParam()));
  Reader reader(bond::InputBuffer(bytes.data(), length_of(bytes)));
  reader.Skip(static_cast<bond::BondDataType>(GetParam()));
  EXPECT_EQ(reader.GetBuffer().position(), bytes.size());
}

INSTANTIATE_TEST_SUITE_P(EveryCode, SkipOfType,
                         testing::Range(0, korvane::test::kHighestTypeCode + 1));

class SkipOfListOf : public testing::TestWithParam<int> {};

TEST_P(SkipOfListOf, PassesOverEveryElement) {
  const std::string element = from_hex(sample_value(GetParam()));
  const std::string bytes = element + element + element + "behind";
  Reader reader(bond::InputBuffer(bytes.data(), length_of(bytes)));
  reader.SkipElements(3, static_cast<bond::BondDataType>(GetParam()));
  EXPECT_EQ(reader.GetBuffer().position(), 3 * element.size());
}

INSTANTIATE_TEST_SUITE_P(EveryCode, SkipOfListOf,
                         testing::Range(0, korvane::test::kHighestTypeCode + 1));

class SkipOfMapTo : public testing::TestWithParam<int> {};

TEST_P(SkipOfMapTo, PassesOverEveryKeyAndValue) {
  const std::string entry = from_hex("01 6B") + from_hex(sample_value(GetParam()));
  const std::string bytes = entry + entry + "behind";
  Reader reader(bond::InputBuffer(bytes.data(), length_of(bytes)));
  reader.SkipEntries(2, bond::BT_STRING, static_cast<bond::BondDataType>(GetParam()));
  EXPECT_EQ(reader.GetBuffer().position(), 2 * entry.size());
}

INSTANTIATE_TEST_SUITE_P(EveryCode, SkipOfMapTo,
                         testing::Range(0, korvane::test::kHighestTypeCode + 1));

TEST(Skip, OfAStructPassesOverTheStopsOfItsBases) {
  Reader reader = reader_over("10 02 01 29 01 78 01 10 04 00 77");
  reader.Skip(bond::BT_STRUCT);
  EXPECT_EQ(reader.GetBuffer().position(), 10U);
}

TEST(Skip, OfAnOverlongStringStaysAfterItsLength) {
  Reader reader = reader_over("64 61 62 63");
  reader.Skip(bond::BT_STRING);
  EXPECT_EQ(reader.GetBuffer().position(), 1U);
}

TEST(Skip, OfAnOverlongWideStringStaysAfterItsLength) {
  Reader reader = reader_over("02 68 00 69");
  reader.Skip(bond::BT_WSTRING);
  EXPECT_EQ(reader.GetBuffer().position(), 1U);
}

struct Overflow {
  std::string name;
  bond::BondDataType type;
  std::string_view largest;
  std::string_view beyond;
};

void PrintTo(const Overflow& overflow, std::ostream* out) { *out << overflow.name; }

class SkipBeyondThirtyTwoBits : public testing::TestWithParam<Overflow> {};

TEST_P(SkipBeyondThirtyTwoBits, OverflowsOnMultiplication) {
  Reader reader = reader_over(GetParam().beyond);
  EXPECT_EQ(thrown_text<std::overflow_error>([&] { reader.Skip(GetParam().type); }),
            "Overflow on multiplication");
}

TEST_P(SkipBeyondThirtyTwoBits, OneLessLeavesThePosition) {
  Reader reader = reader_over(GetParam().largest);
  EXPECT_NO_THROW(reader.Skip(GetParam().type));
  EXPECT_EQ(reader.GetBuffer().position(), from_hex(GetParam().largest).size() - 1);
}

// The last byte of each `largest` stands behind the header, so that a skip has a place to stay.
INSTANTIATE_TEST_SUITE_P(
    Of, SkipBeyondThirtyTwoBits,
    testing::Values(
        Overflow{"FloatList", bond::BT_LIST, "07 FF FF FF FF 03 77", "07 80 80 80 80 04"},
        Overflow{"DoubleList", bond::BT_LIST, "08 FF FF FF FF 01 77", "08 80 80 80 80 02"},
        Overflow{"FloatSet", bond::BT_SET, "07 FF FF FF FF 03 77", "07 80 80 80 80 04"},
        Overflow{"DoubleSet", bond::BT_SET, "08 FF FF FF FF 01 77", "08 80 80 80 80 02"},
        Overflow{"WideString", bond::BT_WSTRING, "FF FF FF FF 07 77", "80 80 80 80 08"}));

}  // namespace
