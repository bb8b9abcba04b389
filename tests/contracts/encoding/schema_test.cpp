#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "bond/metadata.h"
#include "tests/contracts/encoding/records.h"

namespace {

namespace cad = korvane::model::cad;
namespace geometry = korvane::model::geometry;

/// The type of a field of each kind.
struct TypeName {
  template <bond::Bool>
  static std::string of() {
    return "bool";
  }
  template <bond::Int32>
  static std::string of() {
    return "int32";
  }
  template <bond::Double>
  static std::string of() {
    return "double";
  }
  template <bond::Text>
  static std::string of() {
    return "string";
  }
  template <bond::Blob>
  static std::string of() {
    return "blob";
  }
  template <bond::Enumeration M>
  static std::string of() {
    return std::string(bond::plain_name(bond::DescribeEnum<M>::qualified_name));
  }
  template <bond::Record M>
  static std::string of() {
    return std::string(bond::plain_name(bond::Describe<M>::qualified_name));
  }
  template <bond::Maybe M>
  static std::string of() {
    return "maybe<" + of<typename M::value_type>() + ">";
  }
  template <bond::Nullable M>
  static std::string of() {
    return "nullable<" + of<typename M::value_type>() + ">";
  }
  template <bond::List M>
  static std::string of() {
    return "vector<" + of<typename M::value_type>() + ">";
  }
  template <bond::Map M>
  static std::string of() {
    return "map<" + of<typename M::key_type>() + "," + of<typename M::mapped_type>() + ">";
  }
};

/// The default of a field of each kind as the metadata has it. A plain 0 of a double and an empty
/// text are those that the schema leaves to the type; stated ones read 0.0 and "".
struct DefaultText {
  const bond::Variant& value;
  bool is_stated = false;

  std::string of(const bond::Bool auto&) const { return value.uint_value != 0 ? "true" : "false"; }
  std::string of(const bond::Int32 auto&) const { return std::to_string(value.int_value); }
  std::string of(const bond::Double auto&) const {
    if (!is_stated && value.double_value == 0) return "0";
    return korvane::test::Json(value.double_value).dump();
  }
  std::string of(const bond::Text auto&) const {
    if (!is_stated && value.string_value.empty()) return "empty";
    return "\"" + value.string_value + "\"";
  }
  template <bond::Enumeration M>
  std::string of(const M&) const {
    return bond::to_string(static_cast<M>(value.int_value));
  }
  std::string of(const bond::Maybe auto&) const {
    return value.nothing ? "nothing" : "not nothing";
  }
  std::string of(const bond::Nullable auto&) const { return "no value"; }
  std::string of(const bond::List auto&) const { return "empty"; }
  std::string of(const bond::Map auto&) const { return "empty"; }
  std::string of(const bond::Record auto&) const { return "its own defaults"; }
};

std::string attributes_text(const std::map<std::string, std::string>& attributes) {
  std::string text;
  for (const auto& [name, value] : attributes) {
    text.append(" [").append(name).append("=").append(value).append("]");
  }
  return text;
}

/// The wire type that a field of that type name is written with.
int wire_code(std::string type) {
  static const std::map<std::string, int> codes = {
      {"bool", 2}, {"double", 8}, {"string", 9}, {"int32", 16}};
  static const std::vector<std::string> enumerations = {"CurveKind",          "LoopKind",
                                                        "GeometryObjectType", "GeometryLabelType",
                                                        "HookDirection",      "DimTextStyle"};
  if (type.rfind("maybe<", 0) == 0) type = type.substr(6, type.size() - 7);
  if (type.rfind("nullable<", 0) == 0 || type.rfind("vector<", 0) == 0) return 11;
  if (type.rfind("map<", 0) == 0) return 13;
  for (const auto& enumeration : enumerations) {
    if (type == enumeration) return 16;
  }
  const auto found = codes.find(type);
  return found == codes.end() ? 10 : found->second;
}

/// The schema metadata of a contract as lines: its name and attributes, then for each field
/// ordinal, name, type, default and attributes.
template <class T>
std::string schema_text() {
  const bond::Metadata& metadata = bond::Schema<T>::metadata;
  const auto& fields = bond::Schema<T>::fields;
  std::string text = "\n" + metadata.qualified_name + attributes_text(metadata.attributes) + "\n";
  std::size_t index = 0;
  bond::for_each_field<T>([&](const auto& described) {
    using M = std::remove_cvref_t<decltype(std::declval<T>().*described.member)>;
    const bond::FieldMetadata& field = fields.at(index++);
    const std::string type = TypeName::of<M>();
    EXPECT_EQ(static_cast<int>(field.type), wire_code(type)) << field.metadata.name;
    EXPECT_EQ(field.metadata.modifier, bond::Optional) << field.metadata.name;
    const DefaultText default_text{field.metadata.default_value, described.states_default};
    text += std::to_string(field.id) + " " + field.metadata.name + " " + type + " = " +
            default_text.of(M{}) + attributes_text(field.metadata.attributes) + "\n";
  });
  EXPECT_EQ(index, fields.size());
  return text;
}

/// Ordinal and name of each field, where no more than that is fixed.
template <class T>
std::string names_text() {
  std::string text;
  for (const auto& field : bond::Schema<T>::fields) {
    text += (text.empty() ? "" : " ") + std::to_string(field.id) + " " + field.metadata.name;
  }
  return text;
}

TEST(Schema, OfTheCommonMessages) {
  EXPECT_EQ(schema_text<korvane::Empty>(), "\nkorvane.Empty\n");
  EXPECT_EQ(schema_text<korvane::GenericReply>(), R"(
korvane.GenericReply
0 error nullable<string> = no value
)");
  EXPECT_EQ(schema_text<korvane::RGBA_Color>(), R"(
korvane.RGBA_Color
0 r double = 1.0
1 g double = 1.0
2 b double = 1.0
3 a double = 1.0
)");
}

TEST(Schema, OfVariantHasTheBooleanWithoutThePrefix) {
  EXPECT_EQ(schema_text<korvane::Variant>(), R"(
korvane.Variant
0 value_int32 nullable<int32> = no value
1 value_double nullable<double> = no value
2 value_string nullable<string> = no value
3 value_blob nullable<blob> = no value
4 bool_ nullable<bool> = no value
)");
}

TEST(Schema, OfBatchesAndOptionalValues) {
  EXPECT_EQ(schema_text<korvane::Batch<cad::Rebar>>(), R"(
korvane.Batch
0 items vector<Rebar> = empty
)");
  EXPECT_EQ(schema_text<korvane::OptionalValue<cad::Sheet>>(), R"(
korvane.OptionalValue
0 value maybe<Sheet> = nothing
)");
}

TEST(Schema, OfPoint3dStatesNoDefaults) {
  EXPECT_EQ(schema_text<geometry::Point3d>(), R"(
korvane.model.geometry.Point3d
0 x double = 0
1 y double = 0
2 z double = 0
)");
}

TEST(Schema, OfTheOtherGeometryNamesItsFieldsInOrder) {
  EXPECT_EQ(names_text<geometry::Point2>(), "0 x 1 y");
  EXPECT_EQ(names_text<geometry::Vector2>(), "0 x 1 y");
  EXPECT_EQ(names_text<geometry::Vector3>(), "0 x 1 y 2 z");
  EXPECT_EQ(names_text<geometry::CoordinateSystem>(), "0 origin 1 x 2 z");
  EXPECT_EQ(names_text<geometry::Line>(), "0 from 1 to");
  EXPECT_EQ(names_text<geometry::Arc>(), "0 from 1 to 2 third_point");
  EXPECT_EQ(names_text<geometry::NurbsCurve>(), "0 control_points 1 weights 2 knots 3 degree");
  EXPECT_EQ(names_text<geometry::Polygon>(), "0 points");
  EXPECT_EQ(names_text<geometry::AnyCurve>(), "0 kind 1 line 2 arc 3 nurbs");
  EXPECT_EQ(names_text<geometry::PolyCurve>(), "0 curves");
  EXPECT_EQ(names_text<geometry::Loop>(), "0 kind 1 curves");
  EXPECT_EQ(names_text<geometry::Mesh>(),
            "0 indices 1 vertices 2 vertex_colors 3 outlines 4 baryo 5 edge_exclude "
            "6 node_to_vertices 7 edge_exclude_outline 8 inner_edges");
  EXPECT_EQ(names_text<geometry::Curve>(), "");
  EXPECT_EQ(names_text<geometry::Surface>(), "");
}

TEST(Schema, OfACurveAndALoopStatesTheirKind) {
  EXPECT_EQ(geometry::AnyCurve{}.kind, geometry::CurveKind::kLine);
  EXPECT_EQ(geometry::Loop{}.kind, geometry::LoopKind::kOuterLoop);
  EXPECT_EQ(bond::Schema<geometry::AnyCurve>::fields[0].type, bond::BT_INT32);
  EXPECT_EQ(bond::Schema<geometry::Loop>::fields[0].type, bond::BT_INT32);
}

TEST(Schema, OfTheProjectRecordAndItsRequests) {
  EXPECT_EQ(schema_text<cad::ProjectData>(), R"(
korvane.model.cad.ProjectData
0 properties map<string,Variant> = empty
)");
  EXPECT_EQ(schema_text<cad::UpdateProject>(), R"(
korvane.model.cad.UpdateProject
0 item ProjectData = its own defaults
)");
  EXPECT_EQ(schema_text<cad::ClearProjectRequest>(), R"(
korvane.model.cad.ClearProjectRequest
0 reset_schema bool = true
)");
}

TEST(Schema, OfMaterialHasNoPrimaryKey) {
  EXPECT_EQ(schema_text<cad::Material>(), R"(
korvane.model.cad.Material [DbStoreAsBlob=raw]
0 id int32 = -1
1 uid string = empty
2 identity Material_Identity = its own defaults
3 physical Material_Physical = its own defaults
)");
}

TEST(Schema, OfTheTwoSidesOfAMaterialShareTheirFirstFourFields) {
  EXPECT_EQ(schema_text<cad::Material_Identity>(), R"(
korvane.model.cad.Material_Identity
0 name string = empty
1 description string = empty
2 keyword string = empty
3 comment string = empty
)");
  EXPECT_EQ(schema_text<cad::Material_Physical>(), R"(
korvane.model.cad.Material_Physical
0 name string = empty
1 description string = empty
2 keyword string = empty
3 comment string = empty
4 density double = 0
)");
}

TEST(Schema, OfFabricTypeHasAnIdOfZeroAndNoAttribute) {
  EXPECT_EQ(schema_text<cad::FabricType>(), R"(
korvane.model.cad.FabricType
0 id int32 = 0
1 uid string = empty
2 sheet_mass double = 0.0
3 overall_length double = 0.0
4 overall_width double = 0.0
5 type_name string = empty
6 material Material = its own defaults
7 description string = empty
8 list_fabric nullable<ListenMatten> = no value
)");
}

TEST(Schema, OfListenMattenIsFourteenDoublesWithStatedDefaults) {
  EXPECT_EQ(schema_text<cad::ListenMatten>(), R"(
korvane.model.cad.ListenMatten
0 along_distance double = 0.0
1 along_inner_bar_diameter double = 0.0
2 along_border_bar_diameter double = 0.0
3 along_left_border_bar_number double = 0.0
4 along_right_border_bar_number double = 0.0
5 along_start_overhang double = 0.0
6 along_end_overhang double = 0.0
7 across_distance double = 0.0
8 across_inner_bar_diameter double = 0.0
9 across_border_bar_diameter double = 0.0
10 across_start_border_bar_number double = 0.0
11 across_end_border_bar_number double = 0.0
12 across_left_overhang double = 0.0
13 across_right_overhang double = 0.0
)");
}

TEST(Schema, OfSheetHasAttributesOnItselfAndItsFields) {
  EXPECT_EQ(schema_text<cad::Sheet>(), R"(
korvane.model.cad.Sheet [DbPrimaryKey=id] [DbStoreAsBlob=raw]
0 id int32 = -1
1 uid string = empty [DbOption=unique]
2 name string = empty [DbOption=ignore]
3 comment string = empty [DbOption=ignore]
4 properties map<string,Variant> = empty [DbOption=ignore]
)");
}

TEST(Schema, OfRevisionHasAnIdOfZeroAndItsSheetLast) {
  EXPECT_EQ(schema_text<cad::Revision>(), R"(
korvane.model.cad.Revision
0 id int32 = 0
1 uid string = empty
2 name string = empty
3 properties map<string,Variant> = empty
4 sheet_id int32 = 0
)");
}

TEST(Schema, OfTheReferencesIsIdAndUidOrNothing) {
  const std::string fields = "\n0 id maybe<int32> = nothing\n1 uid maybe<string> = nothing\n";
  EXPECT_EQ(schema_text<cad::MaterialRef>(), "\nkorvane.model.cad.MaterialRef" + fields);
  EXPECT_EQ(schema_text<cad::FabricTypeRef>(), "\nkorvane.model.cad.FabricTypeRef" + fields);
  EXPECT_EQ(schema_text<cad::SheetRef>(), "\nkorvane.model.cad.SheetRef" + fields);
  EXPECT_EQ(schema_text<cad::RevisionRef>(), "\nkorvane.model.cad.RevisionRef" + fields);
}

TEST(Schema, OfTheReferencesToARevisionNumberIsPlain) {
  const std::string fields = "\n0 rev_id int32 = 0\n";
  EXPECT_EQ(schema_text<cad::FabricRef>(), "\nkorvane.model.cad.FabricRef" + fields);
  EXPECT_EQ(schema_text<cad::MountingPartRef>(), "\nkorvane.model.cad.MountingPartRef" + fields);
}

TEST(Schema, OfTheListRepliesIsOneListEach) {
  EXPECT_EQ(schema_text<cad::Revisions>(),
            "\nkorvane.model.cad.Revisions\n0 revisions vector<Revision> = empty\n");
  EXPECT_EQ(schema_text<cad::Rebars>(),
            "\nkorvane.model.cad.Rebars\n0 rebars vector<Rebar> = empty\n");
  EXPECT_EQ(schema_text<cad::Fabrics>(),
            "\nkorvane.model.cad.Fabrics\n0 fabrics vector<Fabric> = empty\n");
  EXPECT_EQ(schema_text<cad::BarSpacers>(),
            "\nkorvane.model.cad.BarSpacers\n0 barspacers vector<BarSpacer> = empty\n");
  EXPECT_EQ(schema_text<cad::MountingParts>(),
            "\nkorvane.model.cad.MountingParts\n0 mountingParts vector<MountingPart> = empty\n");
}

TEST(Schema, OfRebarLeavesOrdinals18And19And30Free) {
  EXPECT_EQ(schema_text<cad::Rebar>(), R"(
korvane.model.cad.Rebar [DbStoreRaw=raw]
0 id int32 = 0 [DbPrimaryKey=AUTOINCREMENT]
1 rev_id int32 = -1
2 sheet_id int32 = -1
3 comment string = empty
4 member string = empty
5 mark string = empty
6 material_id nullable<int32> = no value
7 member_multiplier int32 = 0
8 bars_per_member int32 = 0
9 total_bars int32 = 0
10 total_length double = 0
11 bar_diameter double = 0
12 shape_code nullable<string> = no value
13 parameters_exact RebarParams = its own defaults
14 parameters_rounded RebarParams = its own defaults
15 geometry RebarGeometry = its own defaults
16 start_hook nullable<Hook> = no value
17 end_hook nullable<Hook> = no value
20 standard_bend_diameter double = 0.0
21 hook_bend_diameter nullable<double> = no value
22 submark nullable<string> = no value
23 mark_suffix nullable<string> = no value
24 mark_prefix nullable<string> = no value
25 properties map<string,Variant> = empty
26 out_of_plane_bend_diameter nullable<double> = no value
27 end_treatment_start nullable<EndTreatment> = no value
28 end_treatment_end nullable<EndTreatment> = no value
29 bar_type_name nullable<string> = no value
31 bar_type_mass_per_length double = 0
32 diff_state nullable<DiffState> = no value
33 textblock nullable<Textblock> = no value
34 custom_text nullable<string> = no value
)");
}

TEST(Schema, OfRebarParamsIsTheSevenLetters) {
  EXPECT_EQ(schema_text<cad::RebarParams>(), R"(
korvane.model.cad.RebarParams
0 a nullable<double> = no value
1 b nullable<double> = no value
2 c nullable<double> = no value
3 d nullable<double> = no value
4 e nullable<double> = no value
5 f nullable<double> = no value
6 r nullable<double> = no value
)");
}

TEST(Schema, OfRebarGeometryLeavesOrdinal1Free) {
  EXPECT_EQ(schema_text<cad::RebarGeometry>(), R"(
korvane.model.cad.RebarGeometry
0 objects vector<GeometryObject> = empty
2 polyline vector<Point3d> = empty
)");
}

TEST(Schema, OfTheGeometryObjectsAndTheirLabels) {
  EXPECT_EQ(schema_text<cad::GeometryObject>(), R"(
korvane.model.cad.GeometryObject
0 type GeometryObjectType = kLine
1 length nullable<double> = no value
2 angle nullable<double> = no value
3 radius nullable<double> = no value
4 display_length nullable<double> = no value
5 labels vector<GeometryLabel> = empty
)");
  EXPECT_EQ(schema_text<cad::GeometryLabel>(), R"(
korvane.model.cad.GeometryLabel
0 type GeometryLabelType = Length
1 text string = empty
)");
}

TEST(Schema, OfHookHasItsTypeAsAText) {
  EXPECT_EQ(schema_text<cad::Hook>(), R"(
korvane.model.cad.Hook
0 length double = 0.0
1 total_length double = 0.0
2 type string = empty
3 direction HookDirection = kLeft
4 angle double = 0.0
)");
}

TEST(Schema, OfEndTreatmentLeavesOrdinal0FreeAndStatesOneEmptyText) {
  EXPECT_EQ(schema_text<cad::EndTreatment>(), R"(
korvane.model.cad.EndTreatment
1 type string = empty
2 manufacturer string = empty
3 model string = empty
4 diameter double = 0
5 comment string = empty
6 draw_pointer bool = false
7 type_description string = ""
)");
}

TEST(Schema, OfFabricLeavesOrdinals5And21Free) {
  EXPECT_EQ(schema_text<cad::Fabric>(), R"(
korvane.model.cad.Fabric
0 rev_id int32 = -1
1 sheet_id int32 = -1
2 comment string = empty
3 member string = empty
4 mark string = empty
6 member_multiplier int32 = 0
7 fabrics_per_member int32 = 0
8 total_fabrics int32 = 0
9 shape_code nullable<string> = no value
10 parameters_exact RebarParams = its own defaults
11 parameters_rounded RebarParams = its own defaults
12 standard_bend_diameter double = 0.0
13 type_name string = empty
14 width double = 0.0
15 length double = 0.0
16 fabric_weight double = 0.0
17 multiplier int32 = 1
18 mark_suffix nullable<string> = no value
19 mark_prefix nullable<string> = no value
20 properties map<string,Variant> = empty
22 fabric_type FabricType = its own defaults
23 diff_state nullable<DiffState> = no value
24 geometry nullable<RebarGeometry> = no value
25 textblock nullable<Textblock> = no value
)");
}

TEST(Schema, OfBarSpacerLeavesOrdinal0FreeAndDefaultsToZero) {
  EXPECT_EQ(schema_text<cad::BarSpacer>(), R"(
korvane.model.cad.BarSpacer
1 rev_id int32 = 0
2 sheet_id int32 = 0
3 name string = empty
4 quantity int32 = 0
5 weight_per_piece double = 0.0
6 mark string = empty
7 description string = empty
8 length double = 0.0
9 properties map<string,Variant> = empty
10 diff_state nullable<DiffState> = no value
)");
}

TEST(Schema, OfBarSpacerStatesTheDefaultOfItsQuantity) {
  bool is_stated = false;
  bond::for_each_field<cad::BarSpacer>([&](auto field) {
    if (field.name == "quantity") is_stated = field.states_default;
  });
  EXPECT_TRUE(is_stated);
}

TEST(Schema, OfMountingPartHasItsSheetAndRevisionNearTheEnd) {
  EXPECT_EQ(schema_text<cad::MountingPart>(), R"(
korvane.model.cad.MountingPart [DbStoreRaw=raw]
0 id int32 = 0 [DbPrimaryKey=AUTOINCREMENT]
1 mark string = empty
2 quantity int32 = 0
3 material_id int32 = 0
4 family_name nullable<string> = no value
5 type_name nullable<string> = no value
6 manufacturer nullable<string> = no value
7 comment nullable<string> = no value
8 keynote nullable<string> = no value
9 model nullable<string> = no value
10 url nullable<string> = no value
11 description nullable<string> = no value
12 cost nullable<double> = no value
13 order_number nullable<string> = no value
14 catalog nullable<string> = no value
15 sheet_id int32 = 0
16 rev_id int32 = 0
17 mark_prefix nullable<string> = no value
18 mark_suffix nullable<string> = no value
19 diff_state nullable<DiffState> = no value
20 member nullable<string> = no value
)");
}

TEST(Schema, OfTheTextTableFromBlockToCell) {
  EXPECT_EQ(schema_text<cad::Textblock>(), R"(
korvane.model.cad.Textblock
0 items TextblockTable = its own defaults
)");
  EXPECT_EQ(schema_text<cad::TextblockTable>(), R"(
korvane.model.cad.TextblockTable
0 rows vector<TextblockRow> = empty
)");
  EXPECT_EQ(schema_text<cad::TextblockRow>(), R"(
korvane.model.cad.TextblockRow
0 cells vector<Cell> = empty
)");
  EXPECT_EQ(schema_text<cad::Cell>(), R"(
korvane.model.cad.Cell
0 value Variant = its own defaults
1 implicit_unit nullable<int32> = no value
)");
}

TEST(Schema, OfCreateImageOptionsStatesItsDefaults) {
  const cad::CreateImageOptions options;
  EXPECT_EQ(options.width, 0.04);
  EXPECT_EQ(options.dpi, 300.0);
  EXPECT_EQ(options.dim_text_style, cad::DimTextStyle::UseText);
  EXPECT_TRUE(options.noshape_autogenerate_angle_dimensions_at_kink);
  EXPECT_FALSE(options.show_coordinate_system);
  EXPECT_EQ(names_text<cad::CreateImageOptions>(),
            "0 width 1 dpi 2 dim_text_style 3 image_format "
            "4 noshape_autogenerate_angle_dimensions_at_kink 5 show_coordinate_system");
}

TEST(Schema, OfTheRemainingMessagesNamesTheirFields) {
  EXPECT_EQ(names_text<cad::CreateRebars>(), "0 rev_id 1 sheet_id 2 rebars");
  EXPECT_EQ(names_text<cad::TableFilter>(), "0 filters");
  EXPECT_EQ(names_text<cad::FabricInfo>(), "0 id");
}

TEST(Schema, OfTheMessagesWithoutFieldsIsEmpty) {
  EXPECT_EQ(names_text<cad::GetProject>(), "");
  EXPECT_EQ(names_text<cad::ProjectCleared>(), "");
  EXPECT_EQ(names_text<cad::ListMaterials>(), "");
  EXPECT_EQ(names_text<cad::ListFabricType>(), "");
  EXPECT_EQ(names_text<cad::ListSheets>(), "");
  EXPECT_EQ(names_text<cad::ListRevisions>(), "");
  EXPECT_EQ(names_text<cad::GenerateBendingSchedule>(), "");
  EXPECT_EQ(names_text<cad::Filter>(), "");
}

}  // namespace
