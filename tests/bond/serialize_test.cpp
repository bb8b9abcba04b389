#include "bond/serialize.h"

#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "bond/input_buffer.h"
#include "bond/output_buffer.h"
#include "tests/bond/bytes.h"

namespace {

/// Holds itself, so that it nests as deep as one likes: two levels, list and struct, at a time.
struct Chain {
  std::vector<Chain> next;

  bool operator==(const Chain&) const = default;
};

struct FarApart {
  bool first = false;
  bool fifth = false;
  bool sixth = false;
  bool last_of_two = false;
  bool first_of_three = false;
  bool last = false;

  bool operator==(const FarApart&) const = default;
};

struct Grandparent {
  std::int32_t number = 0;

  bool operator==(const Grandparent&) const = default;
};

struct Parent : Grandparent {
  bond::maybe<std::int32_t> reference;

  bool operator==(const Parent&) const = default;
};

struct Child : Parent {
  std::string text;
  bond::maybe<Grandparent> record;

  bool operator==(const Child&) const = default;
};

}  // namespace

namespace bond {

template <>
struct Describe<Chain> {
  static constexpr std::string_view qualified_name = "tests.Chain";
  static constexpr void fields(auto&& visit) { visit(Field<0, &Chain::next>{"next"}); }
};
template <>
struct Describe<FarApart> {
  static constexpr std::string_view qualified_name = "tests.FarApart";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &FarApart::first>{"first"});
    visit(Field<5, &FarApart::fifth>{"fifth"});
    visit(Field<6, &FarApart::sixth>{"sixth"});
    visit(Field<255, &FarApart::last_of_two>{"last_of_two"});
    visit(Field<256, &FarApart::first_of_three>{"first_of_three"});
    visit(Field<65535, &FarApart::last>{"last"});
  }
};
template <>
struct Describe<Grandparent> {
  static constexpr std::string_view qualified_name = "tests.Grandparent";
  static constexpr void fields(auto&& visit) { visit(Field<0, &Grandparent::number>{"number"}); }
};
template <>
struct Describe<Parent> {
  static constexpr std::string_view qualified_name = "tests.Parent";
  using base = Grandparent;
  static constexpr void fields(auto&& visit) { visit(Field<0, &Parent::reference>{"reference"}); }
};
template <>
struct Describe<Child> {
  static constexpr std::string_view qualified_name = "tests.Child";
  using base = Parent;
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &Child::text>{"text"});
    visit(Field<1, &Child::record>{"record"});
  }
};

}  // namespace bond

namespace {

using korvane::test::from_hex;
using korvane::test::hex;
using korvane::test::length_of;

using Reader = bond::CompactBinaryReader<bond::InputBuffer>;

template <class T>
std::string encoded(const T& record) {
  bond::OutputBuffer output;
  bond::CompactBinaryWriter<bond::OutputBuffer> writer(output);
  bond::Serialize(record, writer);
  return hex(output.GetBuffer());
}

Reader over(const std::string& bytes) {
  return Reader(bond::InputBuffer(bond::blob::copy_of(bytes.data(), length_of(bytes))));
}

template <class T>
T decoded(std::string_view text) {
  return bond::Deserialize<T>(over(from_hex(text)));
}

template <class T>
std::string core_exception_text(const std::string& bytes) {
  try {
    bond::Deserialize<T>(over(bytes));
  } catch (const bond::CoreException& exception) {
    return exception.what();
  }
  return "no exception";
}

constexpr const char* kTooDeep = "Max recursion depth exceeded";

std::string repeated(std::string_view text, int count) {
  std::string bytes;
  for (int i = 0; i < count; ++i) bytes += from_hex(text);
  return bytes;
}

TEST(Serialize, WritesEachFormOfAHeader) {
  FarApart all{true, true, true, true, true, true};
  const std::string bytes = "02 01 A2 01 C2 06 01 C2 FF 01 E2 00 01 01 E2 FF FF 01 00";
  EXPECT_EQ(encoded(all), bytes);
  EXPECT_EQ(decoded<FarApart>(bytes), all);
}

TEST(Serialize, GivesTheSameBytesTwice) {
  const FarApart record{true, false, true, false, true, false};
  EXPECT_EQ(encoded(record), encoded(record));
}

TEST(Serialize, WritesOneRecordAfterAnother) {
  bond::OutputBuffer output;
  bond::CompactBinaryWriter<bond::OutputBuffer> writer(output);
  bond::Serialize(Grandparent{5}, writer);
  bond::Serialize(Grandparent{}, writer);
  EXPECT_EQ(hex(writer.GetBuffer().GetBuffer()), "10 0A 00 00");
}

TEST(Deserialize, LeavesTheReaderItIsGivenWhereItStands) {
  Reader reader = over(from_hex("10 0A 00"));
  EXPECT_EQ(bond::Deserialize<Grandparent>(reader).number, 5);
  EXPECT_EQ(reader.GetBuffer().position(), 0U);
  EXPECT_EQ(bond::Deserialize<Grandparent>(reader).number, 5);
}

TEST(Deserialize, ReadsOverTheTargetWithoutResettingIt) {
  Child target;
  target.number = 1;
  target.text = "kept";
  bond::Deserialize(over(from_hex("01 10 06 01 00")), target);
  EXPECT_EQ(target.number, 1);
  EXPECT_EQ(target.reference.value(), 3);
  EXPECT_EQ(target.text, "kept");
}

TEST(Deserialize, IgnoresWhatFollowsTheRecord) {
  EXPECT_EQ(decoded<Grandparent>("10 0A 00 FF FF FF").number, 5);
}

TEST(Base, FieldsOfEachBaseComeFirstWithAStopOfTheirOwn) {
  Child child;
  child.number = 1;
  child.reference = 2;
  child.text = "x";
  EXPECT_EQ(encoded(child), "10 02 01 10 04 01 09 01 78 00");
  EXPECT_EQ(decoded<Child>("10 02 01 10 04 01 09 01 78 00"), child);
}

TEST(Base, StopIsWrittenEvenWithoutFields) {
  EXPECT_EQ(encoded(Parent{}), "01 00");
  EXPECT_EQ(encoded(Child{}), "01 01 00");
  EXPECT_EQ(decoded<Child>("01 01 00"), Child{});
}

TEST(Base, OrdinalsAreCountedAnewInEachPart) {
  const Child child = decoded<Child>("10 02 01 10 04 01 00");
  EXPECT_EQ(child.number, 1);
  EXPECT_EQ(child.reference.value(), 2);
}

TEST(Base, UnknownFieldsOfABaseAreSkipped) {
  const Parent parent = decoded<Parent>("C9 09 01 78 10 02 01 10 04 00");
  EXPECT_EQ(parent.number, 1);
  EXPECT_EQ(parent.reference.value(), 2);
}

TEST(Base, RecordThatStopsInsideABaseKeepsTheRestAtItsDefaults) {
  const Child child = decoded<Child>("10 02 00");
  EXPECT_EQ(child.number, 1);
  EXPECT_TRUE(child.reference.is_nothing());
  EXPECT_EQ(child.text, "");
}

TEST(MaybeField, OfARecordIsWrittenAsTheRecord) {
  Child child;
  child.record = Grandparent{5};
  EXPECT_EQ(encoded(child), "01 01 2A 10 0A 00 00");
  EXPECT_EQ(decoded<Child>("01 01 2A 10 0A 00 00"), child);
}

TEST(MaybeField, HoldingADefaultRecordIsWritten) {
  Child child;
  child.record.set_value();
  EXPECT_EQ(encoded(child), "01 01 2A 00 00");
  EXPECT_FALSE(decoded<Child>("01 01 2A 00 00").record.is_nothing());
}

TEST(MaybeField, IsReadFromANarrowerInteger) {
  EXPECT_EQ(decoded<Parent>("01 0E FE 00").reference.value(), -2);
}

TEST(MaybeField, OfAnUnfittingTypeStaysNothing) {
  EXPECT_TRUE(decoded<Parent>("01 09 01 78 00").reference.is_nothing());
}

/// 32 structs and the 31 lists between them are 63 levels deep.
std::string chain_of_63_levels(std::string_view innermost) {
  return repeated("0B 0A 01", 31) + from_hex(innermost) + repeated("00", 32);
}

TEST(Nesting, OfSixtyFourLevelsIsDecoded) {
  const Chain* innermost = nullptr;
  const Chain outermost = bond::Deserialize<Chain>(over(chain_of_63_levels("0B 0A 00")));
  int structs = 0;
  for (innermost = &outermost; !innermost->next.empty(); innermost = &innermost->next[0]) ++structs;
  EXPECT_EQ(structs, 31);
}

TEST(Nesting, OfSixtyFiveLevelsIsRefusedInAKnownField) {
  EXPECT_EQ(core_exception_text<Chain>(chain_of_63_levels("0B 0A 01 00")), kTooDeep);
}

TEST(Nesting, EncodesBeyondTheDepthThatIsDecoded) {
  Chain outermost;
  Chain* innermost = &outermost;
  for (int i = 0; i < 32; ++i) innermost = &innermost->next.emplace_back();
  const std::string bytes = from_hex(encoded(outermost));
  EXPECT_EQ(hex(bytes), hex(repeated("0B 0A 01", 32) + repeated("00", 33)));
  EXPECT_EQ(core_exception_text<Chain>(bytes), kTooDeep);
}

struct SkippedRecord {
  std::string name;
  std::string_view header;
  std::string_view level;
  std::string_view innermost;
  std::string_view end;

  /// A record with an unknown field that is nested this deep, the record itself included.
  std::string bytes(int depth) const {
    return from_hex(header) + repeated(level, depth - 2) + from_hex(innermost) +
           repeated(end, depth - 2) + from_hex("00");
  }
};

void PrintTo(const SkippedRecord& nested, std::ostream* out) { *out << nested.name; }

class NestingSkipped : public testing::TestWithParam<SkippedRecord> {};

TEST_P(NestingSkipped, OfSixtyFourLevelsIsAccepted) {
  EXPECT_EQ(core_exception_text<Grandparent>(GetParam().bytes(64)), "no exception");
}

TEST_P(NestingSkipped, OfSixtyFiveLevelsIsRefused) {
  EXPECT_EQ(core_exception_text<Grandparent>(GetParam().bytes(65)), kTooDeep);
}

TEST_P(NestingSkipped, OfSixtyFourLevelsLeavesTheNextFieldReadable) {
  std::string bytes = GetParam().bytes(64);
  bytes.pop_back();
  EXPECT_EQ(bond::Deserialize<Grandparent>(over(bytes + from_hex("10 0A 00"))).number, 5);
}

INSTANTIATE_TEST_SUITE_P(
    Of, NestingSkipped,
    testing::Values(SkippedRecord{"Lists", "CB 09", "0B 01", "02 00", ""},
                    SkippedRecord{"Sets", "CC 09", "0C 01", "02 00", ""},
                    SkippedRecord{"Maps", "CD 09", "09 0D 01 00", "09 02 00", ""},
                    SkippedRecord{"MapKeys", "CD 09", "0D 02 01", "02 02 00", "01"},
                    SkippedRecord{"Structs", "CA 09", "0A", "00", "00"}));

TEST(Nesting, OfSiblingsDoesNotAddUp) {
  Chain wide;
  wide.next.resize(1000);
  const std::string bytes = encoded(wide);
  EXPECT_EQ(decoded<Chain>(bytes).next.size(), 1000U);
}

TEST(Nesting, OfSkippedSiblingsDoesNotAddUp) {
  const std::string bytes = repeated("CB 09 0B 01 02 00", 100) + from_hex("10 0A 00");
  EXPECT_EQ(bond::Deserialize<Grandparent>(over(bytes)).number, 5);
}

TEST(List, IsCutToTheCountThatArrives) {
  Chain target;
  target.next.resize(5);
  bond::Deserialize(over(from_hex("0B 0A 02 00 00 00")), target);
  EXPECT_EQ(target.next.size(), 2U);
}

}  // namespace
