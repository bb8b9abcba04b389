#include <cstdint>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "bond/exception.h"
#include "tests/contracts/encoding/records.h"

namespace {

namespace cad = korvane::model::cad;
using korvane::test::decoded;
using korvane::test::encoded;
using korvane::test::vector_text;

template <class T>
void expect_both_ways(const T& record, const std::string& bytes) {
  EXPECT_EQ(encoded(record), bytes);
  EXPECT_EQ(vector_text(decoded<T>(bytes)), vector_text(record));
}

template <class T>
class Reference : public testing::Test {};

using References =
    testing::Types<cad::MaterialRef, cad::FabricTypeRef, cad::SheetRef, cad::RevisionRef>;
TYPED_TEST_SUITE(Reference, References);

TYPED_TEST(Reference, WithNothingSetIsTheStopOfItsBaseAndItsOwn) {
  expect_both_ways(TypeParam{}, "01 00");
}

TYPED_TEST(Reference, WritesItsIdAfterTheStopOfItsBase) {
  TypeParam reference;
  reference.id = 7;
  expect_both_ways(reference, "01 10 0E 00");
}

TYPED_TEST(Reference, WritesAnIdOfZero) {
  TypeParam reference;
  reference.id = 0;
  expect_both_ways(reference, "01 10 00 00");
}

TYPED_TEST(Reference, WritesAnIdOfMinusOne) {
  TypeParam reference;
  reference.id = -1;
  expect_both_ways(reference, "01 10 01 00");
}

TYPED_TEST(Reference, WritesAnEmptyUid) {
  TypeParam reference;
  reference.uid = std::string();
  expect_both_ways(reference, "01 29 00 00");
}

TYPED_TEST(Reference, WritesTheErrorBeforeTheStopOfItsBase) {
  TypeParam reference;
  reference.error.set("no");
  reference.id = 1;
  reference.uid = std::string("u");
  expect_both_ways(reference, "0B 09 01 02 6E 6F 01 10 02 29 01 75 00");
}

TYPED_TEST(Reference, CarriesAnEmptyError) {
  TypeParam reference;
  reference.error.set();
  expect_both_ways(reference, "0B 09 01 00 01 00");
}

TYPED_TEST(Reference, ReadsNothingForWhatIsAbsent) {
  const auto reference = decoded<TypeParam>("01 29 01 75 00");
  EXPECT_TRUE(reference.id.is_nothing());
  EXPECT_EQ(reference.uid.value(), "u");
}

TYPED_TEST(Reference, ReadingAnIdThatIsNothingThrowsCoreException) {
  const TypeParam reference;
  try {
    static_cast<void>(reference.id.value());
    ADD_FAILURE() << "a value was read";
  } catch (const bond::CoreException& exception) {
    EXPECT_STREQ(exception.what(), "Field value is 'nothing'");
  }
}

TYPED_TEST(Reference, ReadingAUidThatIsNothingThrowsCoreException) {
  const TypeParam reference;
  try {
    static_cast<void>(reference.uid.value());
    ADD_FAILURE() << "a value was read";
  } catch (const bond::CoreException& exception) {
    EXPECT_STREQ(exception.what(), "Field value is 'nothing'");
  }
}

TYPED_TEST(Reference, DerivesFromTheReply) {
  EXPECT_TRUE((std::is_base_of_v<korvane::GenericReply, TypeParam>));
}

template <class T>
class RevisionNumber : public testing::Test {};

using RevisionNumbers = testing::Types<cad::FabricRef, cad::MountingPartRef>;
TYPED_TEST_SUITE(RevisionNumber, RevisionNumbers);

TYPED_TEST(RevisionNumber, LeavesOutZeroSinceItIsPlain) { expect_both_ways(TypeParam{}, "01 00"); }

TYPED_TEST(RevisionNumber, FollowsTheStopOfTheBase) {
  TypeParam reference;
  reference.rev_id = -1;
  expect_both_ways(reference, "01 10 01 00");
}

TYPED_TEST(RevisionNumber, CarriesTheErrorOfTheBase) {
  TypeParam reference;
  reference.error.set("e");
  reference.rev_id = 3;
  expect_both_ways(reference, "0B 09 01 01 65 01 10 06 00");
}

TYPED_TEST(RevisionNumber, DerivesFromTheReply) {
  EXPECT_TRUE((std::is_base_of_v<korvane::GenericReply, TypeParam>));
}

TEST(OptionalValue, OfNothingIsTheStopByte) {
  expect_both_ways(korvane::OptionalValue<cad::Sheet>{}, "00");
}

TEST(OptionalValue, HoldingADefaultRecordIsWritten) {
  korvane::OptionalValue<cad::Sheet> reply;
  reply.value.set_value();
  expect_both_ways(reply, "0A 00 00");
}

TEST(OptionalValue, ReadingNothingThrowsCoreException) {
  const korvane::OptionalValue<cad::Material> reply;
  try {
    static_cast<void>(reply.value.value());
    ADD_FAILURE() << "a value was read";
  } catch (const bond::CoreException& exception) {
    EXPECT_STREQ(exception.what(), "Field value is 'nothing'");
  }
}

TEST(Batch, IsTheListOfItsItems) {
  korvane::Batch<cad::Sheet> batch;
  expect_both_ways(batch, "00");
  batch.items = {cad::Sheet{.id = 1}, cad::Sheet{}};
  expect_both_ways(batch, "0B 0A 02 10 02 00 00 00");
}

}  // namespace
