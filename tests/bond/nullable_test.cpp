#include "bond/nullable.h"

#include <cstdint>
#include <map>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "bond/blob.h"

namespace {

struct Record {
  int number = 0;
  std::string text;

  bool operator==(const Record&) const = default;
};

template <class T>
T sample();
template <>
double sample() {
  return 2.5;
}
template <>
std::string sample() {
  return "a text too long for the string's own bytes";
}
template <>
bond::blob sample() {
  return bond::blob::copy_of("bytes", 5);
}
template <>
std::vector<double> sample() {
  return {1.0, 2.0};
}
template <>
Record sample() {
  return {7, "seven"};
}

template <class T>
class NullableOf : public testing::Test {
 protected:
  const T value_ = sample<T>();
  const bond::nullable<T> given_{value_};
  bond::nullable<T> empty_;
};

using Values = testing::Types<double, std::string, bond::blob, std::vector<double>, Record>;
TYPED_TEST_SUITE(NullableOf, Values);

TYPED_TEST(NullableOf, HoldsNoValueWhenMade) {
  EXPECT_FALSE(this->empty_.hasvalue());
  EXPECT_TRUE(this->empty_.empty());
  EXPECT_FALSE(static_cast<bool>(this->empty_));
}

TYPED_TEST(NullableOf, HoldsTheValueItIsMadeWith) {
  EXPECT_TRUE(this->given_.hasvalue());
  EXPECT_FALSE(this->given_.empty());
  EXPECT_TRUE(static_cast<bool>(this->given_));
  EXPECT_EQ(this->given_.value(), this->value_);
  EXPECT_EQ(*this->given_, this->value_);
  EXPECT_EQ(*this->given_.operator->(), this->value_);
}

TYPED_TEST(NullableOf, HoldsTheValueThatIsMovedIntoIt) {
  TypeParam moved = this->value_;
  const bond::nullable<TypeParam> holder(std::move(moved));
  EXPECT_EQ(holder.value(), this->value_);
}

TYPED_TEST(NullableOf, CopyIsDeep) {
  bond::nullable<TypeParam> copy = this->given_;
  copy.value() = TypeParam{};
  EXPECT_EQ(this->given_.value(), this->value_);
  EXPECT_EQ(copy.value(), TypeParam{});
}

TYPED_TEST(NullableOf, CopyAssignmentIsDeepAndCarriesEmptiness) {
  bond::nullable<TypeParam> copy;
  copy = this->given_;
  EXPECT_EQ(copy, this->given_);
  copy = this->empty_;
  EXPECT_TRUE(copy.empty());
  EXPECT_EQ(this->given_.value(), this->value_);
}

TYPED_TEST(NullableOf, IsEmptyOnceMovedFrom) {
  bond::nullable<TypeParam> source = this->given_;
  const bond::nullable<TypeParam> target = std::move(source);
  EXPECT_EQ(target.value(), this->value_);
  EXPECT_TRUE(source.empty());  // NOLINT(bugprone-use-after-move): it is what is asked
}

TYPED_TEST(NullableOf, IsEmptyOnceMoveAssignedFrom) {
  bond::nullable<TypeParam> source = this->given_;
  bond::nullable<TypeParam> target{TypeParam{}};
  target = std::move(source);
  EXPECT_EQ(target.value(), this->value_);
  EXPECT_TRUE(source.empty());  // NOLINT(bugprone-use-after-move): it is what is asked
}

TYPED_TEST(NullableOf, KeepsItsValueWhenAssignedToItself) {
  bond::nullable<TypeParam> holder = this->given_;
  bond::nullable<TypeParam>& same = holder;
  holder = same;
  EXPECT_EQ(holder.value(), this->value_);
  holder = std::move(same);
  EXPECT_EQ(holder.value(), this->value_);
}

TYPED_TEST(NullableOf, SetMakesADefaultValueWhenThereIsNone) {
  EXPECT_EQ(this->empty_.set(), TypeParam{});
  EXPECT_TRUE(this->empty_.hasvalue());
}

TYPED_TEST(NullableOf, SetKeepsTheValueThatIsThere) {
  bond::nullable<TypeParam> holder = this->given_;
  TypeParam* const before = &holder.value();
  EXPECT_EQ(&holder.set(), before);
  EXPECT_EQ(holder.value(), this->value_);
}

TYPED_TEST(NullableOf, SetWithAValueGivesItToAnEmptyOne) {
  this->empty_.set(this->value_);
  EXPECT_EQ(this->empty_.value(), this->value_);
}

TYPED_TEST(NullableOf, SetWithAValueAssignsToTheOneThatIsThere) {
  bond::nullable<TypeParam> holder{TypeParam{}};
  TypeParam* const before = &holder.value();
  holder.set(this->value_);
  EXPECT_EQ(holder.value(), this->value_);
  EXPECT_EQ(&holder.value(), before);
}

TYPED_TEST(NullableOf, SetTakesAValueThatIsMovedIn) {
  this->empty_.set(sample<TypeParam>());
  EXPECT_EQ(this->empty_.value(), this->value_);
  this->empty_.set(TypeParam{});
  EXPECT_EQ(this->empty_.value(), TypeParam{});
}

TYPED_TEST(NullableOf, ResetAndClearBothTakeTheValueAway) {
  bond::nullable<TypeParam> first = this->given_;
  bond::nullable<TypeParam> second = this->given_;
  first.reset();
  second.clear();
  EXPECT_TRUE(first.empty());
  EXPECT_TRUE(second.empty());
}

TYPED_TEST(NullableOf, SwapExchangesValueAndEmptiness) {
  bond::nullable<TypeParam> holder = this->given_;
  holder.swap(this->empty_);
  EXPECT_TRUE(holder.empty());
  EXPECT_EQ(this->empty_.value(), this->value_);
  swap(holder, this->empty_);
  EXPECT_EQ(holder.value(), this->value_);
  EXPECT_TRUE(this->empty_.empty());
}

TYPED_TEST(NullableOf, EqualsAnotherWhenBothAreEmptyOrBothHoldEqualValues) {
  EXPECT_TRUE(this->empty_ == bond::nullable<TypeParam>());
  EXPECT_TRUE(this->given_ == bond::nullable<TypeParam>(this->value_));
  EXPECT_TRUE(this->given_ != bond::nullable<TypeParam>(TypeParam{}));
}

TYPED_TEST(NullableOf, ASetDefaultValueDiffersFromNone) {
  EXPECT_FALSE(bond::nullable<TypeParam>(TypeParam{}) == this->empty_);
  EXPECT_FALSE(this->empty_ == bond::nullable<TypeParam>(TypeParam{}));
}

TYPED_TEST(NullableOf, TakesAValueOnlyWhereItIsNamed) {
  using Nullable = bond::nullable<TypeParam>;
  EXPECT_FALSE((std::is_convertible_v<TypeParam, Nullable>));
  EXPECT_FALSE((std::is_assignable_v<Nullable&, TypeParam>));
  EXPECT_FALSE((std::is_convertible_v<Nullable, bool>));
}

TYPED_TEST(NullableOf, MovesWithoutThrowing) {
  EXPECT_TRUE(std::is_nothrow_move_constructible_v<bond::nullable<TypeParam>>);
  EXPECT_TRUE(std::is_nothrow_move_assignable_v<bond::nullable<TypeParam>>);
}

TEST(Nullable, HoldsShortAndLongTextsOneAfterTheOther) {
  const std::string longer(40, 'x');
  bond::nullable<std::string> holder;
  for (const std::string& text : {std::string(), std::string("a"), longer, std::string("b")}) {
    holder.set(text);
    EXPECT_EQ(holder.value(), text);
    const bond::nullable<std::string> copy = holder;
    bond::nullable<std::string> moved = std::move(holder);
    EXPECT_TRUE(holder.empty());  // NOLINT(bugprone-use-after-move): it is what is asked
    EXPECT_EQ(moved, copy);
    moved.reset();
    EXPECT_TRUE(moved.empty());
    holder.set().append(text);
  }
  EXPECT_EQ(holder.value(), "b");
}

template <class T>
concept ComparesWithItsValue = requires(const bond::nullable<T> holder, const T value) {
  holder == value;
};
template <class T>
concept IsOrdered = requires(const bond::nullable<T> left, const bond::nullable<T> right) {
  left < right;
};

TYPED_TEST(NullableOf, IsNeitherOrderedNorComparedWithAValue) {
  EXPECT_FALSE(IsOrdered<TypeParam>);
  EXPECT_FALSE(ComparesWithItsValue<TypeParam>);
}

TEST(NullableSize, OfADoubleIsSixteenBytes) { EXPECT_EQ(sizeof(bond::nullable<double>), 16U); }

TEST(NullableSize, OfATextIsThatOfTheText) {
  EXPECT_EQ(sizeof(bond::nullable<std::string>), sizeof(std::string));
}

TEST(NullableSize, OfABlobIsAPointer) { EXPECT_EQ(sizeof(bond::nullable<bond::blob>), 8U); }

TEST(NullableSize, OfARecordIsAPointer) { EXPECT_EQ(sizeof(bond::nullable<Record>), 8U); }

TEST(Nullable, KeepsContainersInside) {
  EXPECT_GT(sizeof(bond::nullable<std::vector<double>>), sizeof(std::vector<double>));
  EXPECT_GT((sizeof(bond::nullable<std::map<int, int>>)), (sizeof(std::map<int, int>)));
}

TEST(Nullable, ReachesMembersThroughTheArrow) {
  bond::nullable<Record> holder;
  holder.set().number = 3;
  holder->text = "three";
  EXPECT_EQ(holder->number, 3);
  EXPECT_EQ((*holder).text, "three");
}

}  // namespace
