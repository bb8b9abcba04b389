#include "bond/enumeration.h"

#include <cstdint>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "bond/exception.h"
#include "tests/bond/thrown_text.h"
#include "tests/contracts/encoding/records.h"

namespace {

namespace cad = korvane::model::cad;
namespace geometry = korvane::model::geometry;
using korvane::test::thrown_text;

/// What an enumeration has to be: its qualified name and its enumerators, counted from 0.
template <class E>
struct Expected;
template <>
struct Expected<korvane::VariantKind> {
  static constexpr const char* name = "korvane.VariantKind";
  static inline const std::vector<std::string> enumerators = {"kInt32", "kDouble", "kString",
                                                              "kBlob", "kBool"};
};
template <>
struct Expected<geometry::CurveKind> {
  static constexpr const char* name = "korvane.model.geometry.CurveKind";
  static inline const std::vector<std::string> enumerators = {"kLine", "kArc", "kNurbsCurve",
                                                              "kPolygon"};
};
template <>
struct Expected<geometry::LoopKind> {
  static constexpr const char* name = "korvane.model.geometry.LoopKind";
  static inline const std::vector<std::string> enumerators = {"kOuterLoop", "kInnerLoop"};
};
template <>
struct Expected<cad::GeometryObjectType> {
  static constexpr const char* name = "korvane.model.cad.GeometryObjectType";
  static inline const std::vector<std::string> enumerators = {"kLine", "kArc", "kKink"};
};
template <>
struct Expected<cad::GeometryLabelType> {
  static constexpr const char* name = "korvane.model.cad.GeometryLabelType";
  static inline const std::vector<std::string> enumerators = {"Length", "Radius", "Angle"};
};
template <>
struct Expected<cad::HookDirection> {
  static constexpr const char* name = "korvane.model.cad.HookDirection";
  static inline const std::vector<std::string> enumerators = {"kLeft", "kRight"};
};
template <>
struct Expected<cad::HookType> {
  static constexpr const char* name = "korvane.model.cad.HookType";
  static inline const std::vector<std::string> enumerators = {"kStandardHook", "kAngleHook",
                                                              "k180Hook", "kParallelHook"};
};
template <>
struct Expected<cad::EndTreatmentType> {
  static constexpr const char* name = "korvane.model.cad.EndTreatmentType";
  static inline const std::vector<std::string> enumerators = {"kCollar", "kThread", "kAnchorNut",
                                                              "kUnknown"};
};
template <>
struct Expected<cad::DiffState> {
  static constexpr const char* name = "korvane.model.cad.DiffState";
  static inline const std::vector<std::string> enumerators = {"kModified", "kRemoved", "kAdded"};
};
template <>
struct Expected<cad::DimTextStyle> {
  static constexpr const char* name = "korvane.model.cad.DimTextStyle";
  static inline const std::vector<std::string> enumerators = {"UseText", "UseFormattedValue"};
};

template <class E>
class Enumeration : public testing::Test {
 protected:
  static std::string plain_name() {
    const std::string name = Expected<E>::name;
    return name.substr(name.rfind('.') + 1);
  }
  static E value(std::size_t index) { return static_cast<E>(index); }
  const std::vector<std::string>& expected_ = Expected<E>::enumerators;
};

using Enumerations =
    testing::Types<korvane::VariantKind, geometry::CurveKind, geometry::LoopKind,
                   cad::GeometryObjectType, cad::GeometryLabelType, cad::HookDirection,
                   cad::HookType, cad::EndTreatmentType, cad::DiffState, cad::DimTextStyle>;
TYPED_TEST_SUITE(Enumeration, Enumerations);

TYPED_TEST(Enumeration, IsThirtyTwoBitsWideAndSigned) {
  EXPECT_TRUE((std::is_same_v<std::underlying_type_t<TypeParam>, std::int32_t>));
}

TYPED_TEST(Enumeration, HasItsQualifiedName) {
  EXPECT_EQ(bond::DescribeEnum<TypeParam>::qualified_name, Expected<TypeParam>::name);
}

TYPED_TEST(Enumeration, IsDeclaredInTheOrderOfItsValues) {
  std::vector<std::string> declared;
  for (const auto& enumerator : bond::DescribeEnum<TypeParam>::enumerators) {
    EXPECT_EQ(static_cast<std::size_t>(enumerator.value), declared.size());
    declared.emplace_back(enumerator.name);
  }
  EXPECT_EQ(declared, this->expected_);
}

TYPED_TEST(Enumeration, MapsEveryNameToItsValueAndNoOther) {
  std::map<std::string, TypeParam> expected;
  for (std::size_t i = 0; i < this->expected_.size(); ++i) {
    expected[this->expected_[i]] = this->value(i);
  }
  EXPECT_EQ(bond::EnumMaps<TypeParam>::name_to_value, expected);
}

TYPED_TEST(Enumeration, MapsEveryValueToItsNameAndNoOther) {
  std::map<TypeParam, std::string> expected;
  for (std::size_t i = 0; i < this->expected_.size(); ++i) {
    expected[this->value(i)] = this->expected_[i];
  }
  EXPECT_EQ(bond::EnumMaps<TypeParam>::value_to_name, expected);
}

TYPED_TEST(Enumeration, TurnsEveryEnumeratorIntoItsNameAndBack) {
  for (std::size_t i = 0; i < this->expected_.size(); ++i) {
    EXPECT_EQ(bond::to_string(this->value(i)), this->expected_[i]);
    EXPECT_EQ(bond::from_string<TypeParam>(this->expected_[i]), this->value(i));
  }
}

TYPED_TEST(Enumeration, RefusesTheNumberAfterItsLast) {
  const std::size_t beyond = this->expected_.size();
  EXPECT_EQ(thrown_text<bond::CoreException>([&] { bond::to_string(this->value(beyond)); }),
            "Unexpected value " + std::to_string(beyond) + " for enum " + this->plain_name());
}

TYPED_TEST(Enumeration, RefusesANameThatThereIsNot) {
  EXPECT_EQ(thrown_text<bond::CoreException>([] { bond::from_string<TypeParam>("kNeverThere"); }),
            "Unexpected value kNeverThere for enum " + this->plain_name());
}

}  // namespace
