#include <functional>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "bond/metadata.h"
#include "tests/contracts/encoding/records.h"
#include "tests/support/filled_record.h"

namespace {

namespace cad = korvane::model::cad;
namespace geometry = korvane::model::geometry;
using korvane::test::decode_bytes;
using korvane::test::hex;
using korvane::test::Json;
using korvane::test::record_from_vector_json;
using korvane::test::vector_text;
using korvane::test::view;

/// One record of a contract, and what becomes of it.
struct Sample {
  std::string text;
  std::string bytes;
  std::string text_when_decoded;
  std::string text_through_json;
  bool equals_what_is_decoded = false;
};

template <class T>
Sample sample_of(const T& record) {
  Sample sample;
  sample.text = vector_text(record);
  const bond::blob bytes = korvane::encoding::encode(record);
  sample.bytes = std::string(view(bytes));
  const T decoded = decode_bytes<T>(sample.bytes);
  sample.text_when_decoded = vector_text(decoded);
  sample.equals_what_is_decoded = decoded == record;
  sample.text_through_json = vector_text(record_from_vector_json<T>(Json::parse(sample.text)));
  return sample;
}

/// A contract, whatever its type.
struct Contract {
  std::string declared_name;
  const bond::Metadata& metadata;
  const std::vector<bond::FieldMetadata>& fields;
  std::string base;
  Sample at_defaults;
  Sample filled;
  std::function<void(std::string_view)> decode;
};

template <class T>
Contract contract(std::string declared_name) {
  const T filled = korvane::test::Filler().make<T>();
  std::string base;
  if constexpr (bond::DescribedWithBase<T>) {
    base = bond::Describe<typename bond::Describe<T>::base>::qualified_name;
  }
  return {std::move(declared_name),
          bond::Schema<T>::metadata,
          bond::Schema<T>::fields,
          std::move(base),
          sample_of(T{}),
          sample_of(filled),
          [](std::string_view bytes) { decode_bytes<T>(bytes); }};
}

/// Every contract there is, the generic ones for each of their items.
std::vector<Contract> contracts() {
  std::vector<Contract> all;
#define ADD_COMMON(name) all.push_back(contract<korvane::name>("korvane." #name));
#define ADD_GEOMETRY(name) all.push_back(contract<geometry::name>("korvane.model.geometry." #name));
#define ADD_CAD(name) all.push_back(contract<cad::name>("korvane.model.cad." #name));
#define ADD_BATCH(name) all.push_back(contract<korvane::Batch<cad::name>>("korvane.Batch"));
#define ADD_OPTIONAL_VALUE(name) \
  all.push_back(contract<korvane::OptionalValue<cad::name>>("korvane.OptionalValue"));
  KORVANE_COMMON_CONTRACTS(ADD_COMMON)
  KORVANE_GEOMETRY_CONTRACTS(ADD_GEOMETRY)
  KORVANE_CAD_CONTRACTS(ADD_CAD)
  KORVANE_BATCH_ITEMS(ADD_BATCH)
  KORVANE_OPTIONAL_VALUES(ADD_OPTIONAL_VALUE)
#undef ADD_COMMON
#undef ADD_GEOMETRY
#undef ADD_CAD
#undef ADD_BATCH
#undef ADD_OPTIONAL_VALUE
  return all;
}

std::set<std::string> words(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), std::istream_iterator<std::string>()};
}

TEST(Contracts, AreTheseAndNoOthers) {
  std::set<std::string> listed;
  for (const Contract& each : contracts()) listed.insert(each.metadata.name);
  EXPECT_EQ(listed, words(R"(
      Empty GenericReply RGBA_Color Variant Batch OptionalValue
      Point3d Point2 Vector2 Vector3 CoordinateSystem Line Arc NurbsCurve Polygon AnyCurve
      PolyCurve Loop Mesh Curve Surface
      ProjectData UpdateProject GetProject ClearProjectRequest ProjectCleared
      Material Material_Identity Material_Physical ListMaterials FabricType ListenMatten
      ListFabricType Sheet ListSheets Revision Revisions ListRevisions
      MaterialRef FabricTypeRef SheetRef RevisionRef
      Rebar RebarParams RebarGeometry GeometryObject GeometryLabel Hook EndTreatment Rebars
      CreateRebars GenerateBendingSchedule
      Fabric BarSpacer MountingPart Fabrics BarSpacers MountingParts FabricRef MountingPartRef
      FabricInfo
      Textblock TextblockTable TextblockRow Cell CreateImageOptions TableFilter Filter)"));
}

TEST(Contracts, BearTheNameOfTheirNamespace) {
  for (const Contract& each : contracts()) {
    EXPECT_EQ(each.metadata.qualified_name, each.declared_name);
  }
}

TEST(Contracts, BearTheirPlainNameAfterTheLastDotOfTheQualifiedOne) {
  for (const Contract& each : contracts()) {
    const std::string& qualified = each.metadata.qualified_name;
    EXPECT_EQ("." + each.metadata.name, qualified.substr(qualified.rfind('.')));
  }
}

TEST(Contracts, HaveOptionalFieldsOnly) {
  for (const Contract& each : contracts()) {
    for (const auto& field : each.fields) {
      EXPECT_EQ(field.metadata.modifier, bond::Optional)
          << each.declared_name << "." << field.metadata.name;
    }
  }
}

TEST(Contracts, FieldMetadataBearsNoQualifiedName) {
  for (const Contract& each : contracts()) {
    for (const auto& field : each.fields) {
      EXPECT_EQ(field.metadata.qualified_name, "")
          << each.declared_name << "." << field.metadata.name;
    }
  }
}

TEST(Contracts, CarryTheseAttributesAndNoOthers) {
  std::set<std::string> found;
  const auto add = [&](const std::string& place, const auto& attributes) {
    for (const auto& [name, value] : attributes) {
      std::string entry = place;
      entry.append(" ").append(name).append("=").append(value);
      found.insert(entry);
    }
  };
  for (const Contract& each : contracts()) {
    add(each.metadata.name, each.metadata.attributes);
    for (const auto& field : each.fields) {
      add(each.metadata.name + "." + field.metadata.name, field.metadata.attributes);
    }
  }
  EXPECT_EQ(found,
            (std::set<std::string>{
                "Rebar DbStoreRaw=raw", "MountingPart DbStoreRaw=raw", "Material DbStoreAsBlob=raw",
                "Sheet DbStoreAsBlob=raw", "Sheet DbPrimaryKey=id",
                "Rebar.id DbPrimaryKey=AUTOINCREMENT", "MountingPart.id DbPrimaryKey=AUTOINCREMENT",
                "Sheet.uid DbOption=unique", "Sheet.name DbOption=ignore",
                "Sheet.comment DbOption=ignore", "Sheet.properties DbOption=ignore"}));
}

TEST(Contracts, RestOnTheReplyWhereTheyHaveABase) {
  std::set<std::string> with_base;
  for (const Contract& each : contracts()) {
    if (each.base.empty()) continue;
    EXPECT_EQ(each.base, "korvane.GenericReply");
    with_base.insert(each.metadata.name);
  }
  EXPECT_EQ(with_base, words("MaterialRef FabricTypeRef SheetRef RevisionRef FabricRef "
                             "MountingPartRef"));
}

TEST(Contracts, AtTheirDefaultsReadBackFromTheirBytes) {
  for (const Contract& each : contracts()) {
    EXPECT_TRUE(each.at_defaults.equals_what_is_decoded) << each.declared_name;
    EXPECT_EQ(each.at_defaults.text_when_decoded, each.at_defaults.text) << each.declared_name;
  }
}

TEST(Contracts, WithEveryFieldSetReadBackFromTheirBytes) {
  for (const Contract& each : contracts()) {
    EXPECT_TRUE(each.filled.equals_what_is_decoded) << each.declared_name;
    EXPECT_EQ(each.filled.text_when_decoded, each.filled.text) << each.declared_name;
  }
}

TEST(Contracts, WithEveryFieldSetDifferFromTheirDefaults) {
  for (const Contract& each : contracts()) {
    const bool has_fields = !each.fields.empty();
    EXPECT_EQ(each.filled.text != each.at_defaults.text, has_fields) << each.declared_name;
    EXPECT_EQ(each.filled.bytes != each.at_defaults.bytes, has_fields) << each.declared_name;
  }
}

TEST(Contracts, ReadBackFromTheirJson) {
  for (const Contract& each : contracts()) {
    EXPECT_EQ(each.at_defaults.text_through_json, each.at_defaults.text) << each.declared_name;
    EXPECT_EQ(each.filled.text_through_json, each.filled.text) << each.declared_name;
  }
}

TEST(Contracts, EndInAStopByte) {
  for (const Contract& each : contracts()) {
    EXPECT_EQ(each.at_defaults.bytes.back(), '\0') << each.declared_name;
    EXPECT_EQ(each.filled.bytes.back(), '\0') << each.declared_name;
  }
}

TEST(Contracts, WithoutFieldsAreTheStopByte) {
  for (const Contract& each : contracts()) {
    if (!each.fields.empty()) continue;
    EXPECT_EQ(hex(each.at_defaults.bytes), "00") << each.declared_name;
  }
}

TEST(Contracts, RaiseAStreamExceptionWhereverTheirBytesAreCut) {
  for (const Contract& each : contracts()) {
    const std::string_view bytes = each.filled.bytes;
    for (std::size_t length = 0; length < bytes.size(); ++length) {
      EXPECT_THROW(each.decode(bytes.substr(0, length)), bond::StreamException)
          << each.declared_name << " cut at " << length;
    }
  }
}

}  // namespace
