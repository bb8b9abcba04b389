#include <cstdint>
#include <ctime>
#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include <gtest/gtest.h>

#include "bond/output_buffer.h"
#include "tests/bond/wire_samples.h"
#include "tests/contracts/encoding/records.h"
#include "tests/support/allocated_bytes.h"

namespace {

namespace cad = korvane::model::cad;
using korvane::Variant;
using korvane::test::decode_bytes;
using korvane::test::from_hex;
using korvane::test::kHighestTypeCode;
using korvane::test::sample_value;

/// A count of 2^32 - 1.
const std::string kAbsurd = "FF FF FF FF 0F ";

constexpr std::size_t kKilobyte = 1024;

struct Cost {
  std::string outcome;
  std::size_t allocated = 0;
  double processor_seconds = 0;
};

template <class T>
Cost decode(const std::string& bytes) {
  Cost cost;
  const std::clock_t begin = std::clock();
  const std::size_t before = korvane::test::allocated_bytes();
  try {
    decode_bytes<T>(bytes);
    cost.outcome = "ends";
  } catch (const std::exception& exception) {
    cost.outcome = exception.what();
  }
  cost.allocated = korvane::test::allocated_bytes() - before;
  cost.processor_seconds = static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
  return cost;
}

/// The bound for many bytes is loose, since a record in memory is larger than the one byte that it
/// may take on the wire. What both bounds show is that no count is believed.
void expect_in_proportion(const Cost& cost, const std::string& bytes) {
  const std::size_t factor = bytes.size() < kKilobyte ? 64 : 512;
  EXPECT_LE(cost.allocated, factor * bytes.size() + 64 * kKilobyte);
  EXPECT_LE(cost.processor_seconds, 1.0);
}

struct Claim {
  std::string name;
  std::string bytes;
  std::string outcome;
  std::function<Cost(const std::string&)> decode;
};

void PrintTo(const Claim& claim, std::ostream* out) { *out << claim.name; }

template <class T>
Claim claim(std::string name, const std::string& bytes, std::string outcome) {
  return {std::move(name), bytes, std::move(outcome), decode<T>};
}

class AbsurdCount : public testing::TestWithParam<Claim> {};

TEST_P(AbsurdCount, EndsWithTheBytesAndAllocatesNothingForTheRest) {
  const std::string bytes = from_hex(GetParam().bytes);
  const Cost cost = GetParam().decode(bytes);
  EXPECT_EQ(cost.outcome, GetParam().outcome);
  expect_in_proportion(cost, bytes);
}

TEST_P(AbsurdCount, StaysInProportionToManyBytes) {
  for (const char filler : {'\x00', '\x01', '\x0A', '\x0B', '\x7F', '\xFF'}) {
    const std::string bytes = from_hex(GetParam().bytes) + std::string(64 * kKilobyte, filler);
    expect_in_proportion(GetParam().decode(bytes), bytes);
  }
}

INSTANTIATE_TEST_SUITE_P(
    OfAKnown, AbsurdCount,
    testing::Values(
        claim<cad::RebarGeometry>("ListOfStructs", "4B 0A " + kAbsurd + "00 00",
                                  "Read out of bounds: 1 bytes requested, offset: 9, length: 9"),
        claim<cad::RebarGeometry>("ListOfLists", "0B 0A " + kAbsurd + "AB 0A " + kAbsurd + "00",
                                  "Read out of bounds: 1 bytes requested, offset: 15, length: 15"),
        claim<cad::Textblock>("ListOfListsInAStruct",
                              "0A 0B 0A " + kAbsurd + "0B 0A " + kAbsurd + "00",
                              "Read out of bounds: 1 bytes requested, offset: 16, length: 16"),
        claim<cad::RebarGeometry>("ListOfWhatDoesNotFit", "4B 10 " + kAbsurd + "00 00",
                                  "Read out of bounds: 1 bytes requested, offset: 9, length: 9"),
        claim<cad::RebarGeometry>("ListOfNothing", "4B 00 " + kAbsurd + "00", "ends"),
        claim<cad::Rebar>("ListOfDoubles", "CB 10 08 " + kAbsurd + "00",
                          "Overflow on multiplication"),
        claim<cad::RebarParams>("NullableDouble", "0B 08 " + kAbsurd + "00 00 00 00 00 00 00 00 00",
                                "ends"),
        claim<Variant>("NullableInteger", "0B 10 " + kAbsurd + "0A 00",
                       "Read out of bounds: 1 bytes requested, offset: 9, length: 9"),
        claim<Variant>("NullableBool", "8B 02 " + kAbsurd + "01 00",
                       "Read out of bounds: 1 bytes requested, offset: 9, length: 9"),
        claim<Variant>("NullableText", "4B 09 " + kAbsurd + "01 61 00 00",
                       "Read out of bounds: 1 bytes requested, offset: 11, length: 11"),
        claim<cad::Rebar>("NullableStruct", "CB 10 0A " + kAbsurd + "00 00",
                          "Read out of bounds: 1 bytes requested, offset: 10, length: 10"),
        claim<Variant>("NullableBlob", "6B 0B " + kAbsurd + "0E 01 61 00",
                       "Read out of bounds: 1 bytes requested, offset: 11, length: 11"),
        claim<Variant>("Blob", "6B 0B 01 0E " + kAbsurd + "61 62 00",
                       "Read out of bounds: 4294967295 bytes requested, offset: 9, length: 12"),
        claim<cad::Sheet>("Text", "29 " + kAbsurd + "61 00",
                          "Read out of bounds: 4294967295 bytes requested, offset: 6, length: 8"),
        claim<cad::ProjectData>("Map", "0D 09 0A " + kAbsurd + "00 00 01 61 00",
                                "Read out of bounds: 1 bytes requested, offset: 13, length: 13"),
        claim<cad::ProjectData>("MapKey", "0D 09 0A 01 " + kAbsurd + "61 00",
                                "Read out of bounds: 4294967295 bytes requested, offset: 9, "
                                "length: 11"),
        claim<cad::ProjectData>("MapOfWhatDoesNotFit", "0D 10 09 " + kAbsurd + "00 00",
                                "Read out of bounds: 1 bytes requested, offset: 10, length: 10"),
        claim<cad::ProjectData>("MapOfNothing", "0D 00 1F " + kAbsurd + "00", "ends")));

INSTANTIATE_TEST_SUITE_P(
    OfAnUnknown, AbsurdCount,
    testing::Values(
        claim<cad::Sheet>("ListOfStructs", "CB 63 0A " + kAbsurd + "00 00",
                          "Read out of bounds: 1 bytes requested, offset: 10, length: 10"),
        claim<cad::Sheet>("ListOfLists",
                          "CB 63 0B " + kAbsurd + "0B " + kAbsurd + "0B " + kAbsurd + "00 00",
                          "Read out of bounds: 1 bytes requested, offset: 22, length: 22"),
        claim<cad::Sheet>("ListOfBytes", "CB 63 0E " + kAbsurd + "00", "ends"),
        claim<cad::Sheet>("ListOfUnsignedBytes", "CB 63 03 " + kAbsurd + "01 02",
                          "Read out of bounds: 1 bytes requested, offset: 10, length: 10"),
        claim<cad::Sheet>("ListOfIntegers", "CB 63 10 " + kAbsurd + "00 00",
                          "Read out of bounds: 1 bytes requested, offset: 10, length: 10"),
        claim<cad::Sheet>("ListOfTexts", "CB 63 09 " + kAbsurd + "00 00",
                          "Read out of bounds: 1 bytes requested, offset: 10, length: 10"),
        claim<cad::Sheet>("ListOfFloats", "CB 63 07 " + kAbsurd + "00",
                          "Overflow on multiplication"),
        claim<cad::Sheet>("ListOfDoubles", "CB 63 08 " + kAbsurd + "00",
                          "Overflow on multiplication"),
        claim<cad::Sheet>("ListOfNothing", "CB 63 1F " + kAbsurd + "00", "ends"),
        claim<cad::Sheet>("Set", "CC 63 0A " + kAbsurd + "00 00",
                          "Read out of bounds: 1 bytes requested, offset: 10, length: 10"),
        claim<cad::Sheet>("Map", "CD 63 09 0A " + kAbsurd + "00 00",
                          "Read out of bounds: 1 bytes requested, offset: 11, length: 11"),
        claim<cad::Sheet>("MapOfNothing", "CD 63 00 13 " + kAbsurd + "00", "ends"),
        claim<cad::Sheet>("Text", "C9 63 " + kAbsurd + "00", "ends"),
        claim<cad::Sheet>("WideText", "D2 63 " + kAbsurd + "00", "Overflow on multiplication")));

TEST(AbsurdCountOfAKnown, ListOfLargeRecordsReservesAFewTimesTheBytesThatAreThere) {
  const std::string bytes = from_hex("0B 0A " + kAbsurd) + std::string(64 * kKilobyte, '\xFF');
  const Cost cost = decode<cad::Rebars>(bytes);
  EXPECT_EQ(cost.outcome, "Read out of bounds: 2 bytes requested, offset: 65543, length: 65543");
  EXPECT_LE(cost.allocated, 16 * bytes.size());
}

TEST(AbsurdCountOfAnUnknown, ListOrSetOfAnyTypeStaysInProportion) {
  for (const char* const container : {"CB 63", "CC 63"}) {
    for (int type = 0; type <= 0xFF; ++type) {
      SCOPED_TRACE(type);
      std::string bytes = from_hex(container) + static_cast<char>(type) + from_hex(kAbsurd);
      bytes += from_hex(sample_value(type & kHighestTypeCode)) + std::string(1, '\0');
      expect_in_proportion(decode<cad::Sheet>(bytes), bytes);
    }
  }
}

TEST(AbsurdCountOfAnUnknown, MapOfAnyTypesStaysInProportion) {
  for (int key = 0; key <= kHighestTypeCode; ++key) {
    for (int value = 0; value <= kHighestTypeCode; ++value) {
      SCOPED_TRACE(std::to_string(key) + " to " + std::to_string(value));
      std::string bytes = from_hex("CD 63") + static_cast<char>(key) + static_cast<char>(value);
      bytes += from_hex(kAbsurd) + from_hex(sample_value(key)) + from_hex(sample_value(value));
      expect_in_proportion(decode<cad::Sheet>(bytes), bytes);
    }
  }
}

TEST(Allocation, IsCountedHere) {
  const std::size_t before = korvane::test::allocated_bytes();
  const std::string text(1000, 'x');
  EXPECT_GE(korvane::test::allocated_bytes() - before, text.size());
}

TEST(Allocation, OfAnOutputBufferBeginsWithTheFirstWrite) {
  const std::size_t before = korvane::test::allocated_bytes();
  bond::OutputBuffer output;
  EXPECT_TRUE(output.GetBuffer().empty());
  EXPECT_EQ(korvane::test::allocated_bytes() - before, 0U);
  output.Write(std::uint8_t{1});
  EXPECT_GE(korvane::test::allocated_bytes() - before, 4096U);
}

}  // namespace
