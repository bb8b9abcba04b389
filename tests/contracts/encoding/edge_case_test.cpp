#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "bond/metadata.h"
#include "tests/contracts/encoding/records.h"

namespace {

namespace cad = korvane::model::cad;
using korvane::GenericReply;
using korvane::RGBA_Color;
using korvane::Variant;
using korvane::model::geometry::Point3d;
using korvane::test::decoded;
using korvane::test::decoding_error;
using korvane::test::encoded;
using korvane::test::vector_text;

TEST(VariantBytes, OfADefaultOneAreTheStopByte) {
  const Variant value;
  EXPECT_EQ(vector_text(value), "{}");
  EXPECT_EQ(encoded(value), "00");
}

TEST(VariantBytes, CarryAnIntegerThatIsSetToZero) {
  Variant value;
  value.value_int32.set(0);
  EXPECT_EQ(encoded(value), "0B 10 01 00 00");
  EXPECT_TRUE(decoded<Variant>("0B 10 01 00 00").value_int32.hasvalue());
}

TEST(Color, IsOpaqueWhiteByDefault) {
  const RGBA_Color color;
  EXPECT_EQ(color.r, 1.0);
  EXPECT_EQ(color.g, 1.0);
  EXPECT_EQ(color.b, 1.0);
  EXPECT_EQ(color.a, 1.0);
}

TEST(Reply, HasNoErrorUnlessOneIsSet) {
  EXPECT_TRUE(GenericReply{}.error.empty());
  EXPECT_EQ(encoded(GenericReply{}), "00");
  EXPECT_TRUE(decoded<GenericReply>("00").error.empty());
}

TEST(Enumerators, FollowTheirOwnTableWhereTwoShareAName) {
  EXPECT_EQ(static_cast<int>(korvane::model::geometry::CurveKind::kLine), 0);
  EXPECT_EQ(static_cast<int>(cad::GeometryObjectType::kLine), 0);
  EXPECT_EQ(static_cast<int>(korvane::model::geometry::CurveKind::kArc), 1);
  EXPECT_EQ(static_cast<int>(cad::GeometryObjectType::kArc), 1);
  EXPECT_EQ(static_cast<int>(korvane::model::geometry::CurveKind::kNurbsCurve), 2);
  EXPECT_EQ(static_cast<int>(cad::GeometryObjectType::kKink), 2);
}

TEST(PointBytes, AtTheOriginAreTheStopByte) { EXPECT_EQ(encoded(Point3d{}), "00"); }

TEST(PointBytes, LeaveOutACoordinateThatIsZero) {
  EXPECT_EQ(encoded(Point3d{.x = 1.0, .z = -2.5}),
            "08 00 00 00 00 00 00 F0 3F 48 00 00 00 00 00 00 04 C0 00");
}

TEST(PointBytes, LeaveOutAPlainMinusZeroWhichReadsBackAsZero) {
  EXPECT_EQ(encoded(Point3d{.x = -0.0}), "00");
  EXPECT_FALSE(std::signbit(decoded<Point3d>("00").x));
}

TEST(MaterialBytes, AreItsTwoStructsAndStopsAlone) {
  EXPECT_EQ(encoded(cad::Material{.id = -1, .uid = ""}), "4A 00 6A 00 00");
  EXPECT_EQ(encoded(cad::Material{}), "4A 00 6A 00 00");
  EXPECT_EQ(decoded<cad::Material>("4A 00 6A 00 00"), cad::Material{});
}

TEST(IdZero, IsLeftOutOfARevisionAndAFabricType) {
  EXPECT_EQ(encoded(cad::Revision{.id = 0}), "00");
  EXPECT_EQ(encoded(cad::FabricType{.id = 0}), "CA 06 4A 00 6A 00 00 00");
}

TEST(IdZero, IsWrittenByAMaterialAndASheet) {
  EXPECT_EQ(encoded(cad::Material{.id = 0}), "10 00 4A 00 6A 00 00");
  EXPECT_EQ(encoded(cad::Sheet{.id = 0}), "10 00 00");
}

TEST(FabricTypeBytes, HaveNoListFabricWhenItIsUnset) {
  const cad::FabricType type;
  EXPECT_TRUE(type.list_fabric.empty());
  EXPECT_EQ(encoded(type), "CA 06 4A 00 6A 00 00 00");
}

TEST(FabricTypeBytes, HaveADefaultListFabricAsAListOfOneStopByte) {
  cad::FabricType type;
  type.list_fabric.set();
  EXPECT_EQ(encoded(type), "CA 06 4A 00 6A 00 00 CB 08 0A 01 00 00");
  EXPECT_TRUE(decoded<cad::FabricType>(encoded(type)).list_fabric.hasvalue());
}

TEST(MaterialIdentity, ReadsAsAPhysicalWithTheDensityAtItsDefault) {
  const cad::Material_Identity identity{"name", "description", "keyword", "comment"};
  const auto physical = decoded<cad::Material_Physical>(encoded(identity));
  EXPECT_EQ(physical, (cad::Material_Physical{"name", "description", "keyword", "comment", 0.0}));
}

TEST(MaterialPhysical, ReadsAsAnIdentityWithoutTheDensity) {
  const cad::Material_Physical physical{"name", "description", "keyword", "comment", 7.85};
  const auto identity = decoded<cad::Material_Identity>(encoded(physical));
  EXPECT_EQ(identity, (cad::Material_Identity{"name", "description", "keyword", "comment"}));
}

TEST(UpdateProjectItem, IsStoredInTheBytesThatReadAsProjectData) {
  cad::UpdateProject request;
  request.item.properties["phase"].value_int32.set(2);
  const std::string raw = encoded(request.item);
  EXPECT_EQ(raw, "0D 09 0A 01 05 70 68 61 73 65 0B 10 01 04 00 00");
  EXPECT_EQ(decoded<cad::ProjectData>(raw), request.item);
}

TEST(RebarBytes, OfADefaultOneAreItsThreeStructsAndTheStop) {
  EXPECT_EQ(encoded(cad::Rebar{}), "CA 0D 00 CA 0E 00 CA 0F 00 00");
  EXPECT_EQ(decoded<cad::Rebar>("CA 0D 00 CA 0E 00 CA 0F 00 00"), cad::Rebar{});
}

TEST(RebarBytes, HaveAHookBendDiameterOfZeroButNoStandardOne) {
  cad::Rebar bar;
  bar.hook_bend_diameter.set(0.0);
  bar.standard_bend_diameter = 0.0;
  EXPECT_EQ(encoded(bar), "CA 0D 00 CA 0E 00 CA 0F 00 CB 15 08 01 00 00 00 00 00 00 00 00 00");
}

TEST(RebarBytes, HaveADefaultStartHookAsAListOfOneStopByte) {
  cad::Rebar bar;
  bar.start_hook.set();
  EXPECT_EQ(encoded(bar), "CA 0D 00 CA 0E 00 CA 0F 00 CB 10 0A 01 00 00");
  EXPECT_EQ(decoded<cad::Rebar>(encoded(bar)), bar);
}

TEST(GeometryObjectBytes, LeaveOutTheTypeOfALine) {
  EXPECT_EQ(encoded(cad::GeometryObject{.type = cad::GeometryObjectType::kLine}), "00");
  EXPECT_EQ(decoded<cad::GeometryObject>("00").type, cad::GeometryObjectType::kLine);
}

TEST(EndTreatmentBytes, NeverHoldAnOrdinalZero) {
  cad::EndTreatment treatment{"type", "maker", "model", 1.0, "comment", true, "description"};
  EXPECT_EQ(encoded(treatment).substr(0, 5), "29 04");
}

TEST(EndTreatmentBytes, WithAStrayOrdinalZeroAreReadWithoutIt) {
  const auto treatment = decoded<cad::EndTreatment>("09 05 73 74 72 61 79 29 01 78 00");
  EXPECT_EQ(treatment, cad::EndTreatment{.type = "x"});
}

TEST(FabricBytes, OfADefaultOneAreItsThreeStructsAndTheStop) {
  EXPECT_EQ(encoded(cad::Fabric{}), "CA 0A 00 CA 0B 00 CA 16 CA 06 4A 00 6A 00 00 00 00");
  EXPECT_EQ(decoded<cad::Fabric>(encoded(cad::Fabric{})), cad::Fabric{});
}

TEST(FabricBytes, LeaveOutAMultiplierOfOne) {
  EXPECT_EQ(encoded(cad::Fabric{.multiplier = 1}), encoded(cad::Fabric{}));
}

TEST(FabricBytes, HaveAMultiplierOfZero) {
  EXPECT_EQ(encoded(cad::Fabric{.multiplier = 0}),
            "CA 0A 00 CA 0B 00 D0 11 00 CA 16 CA 06 4A 00 6A 00 00 00 00");
}

TEST(RebarFields, HaveNoMultiplierOfTheirOwn) {
  for (const auto& field : bond::Schema<cad::Rebar>::fields) {
    EXPECT_NE(field.metadata.name, "multiplier");
  }
}

TEST(BarSpacerBytes, OfADefaultOneAreTheStopByte) {
  EXPECT_EQ(encoded(cad::BarSpacer{}), "00");
  EXPECT_EQ(decoded<cad::BarSpacer>("00"), cad::BarSpacer{});
}

TEST(MountingPartBytes, HaveTheMemberAsAListOfOneText) {
  cad::MountingPart part;
  part.member.set("B1");
  EXPECT_EQ(encoded(part), "CB 14 09 01 02 42 31 00");
}

TEST(TextblockBytes, OfADefaultOneAreOneEmptyStruct) {
  EXPECT_EQ(encoded(cad::Textblock{}), "0A 00 00");
  EXPECT_EQ(decoded<cad::Textblock>("0A 00 00"), cad::Textblock{});
}

TEST(CellBytes, AlwaysHaveTheValue) { EXPECT_EQ(encoded(cad::Cell{}), "0A 00 00"); }

TEST(CellBytes, HaveTheImplicitUnitBehindTheValue) {
  cad::Cell cell;
  cell.implicit_unit.set(3);
  EXPECT_EQ(encoded(cell), "0A 00 2B 10 01 06 00");
  EXPECT_EQ(decoded<cad::Cell>("0A 00 2B 10 01 06 00"), cell);
}

TEST(TextblockRowBytes, WithoutCellsAreTheStopByte) {
  EXPECT_EQ(encoded(cad::TextblockRow{}), "00");
}

TEST(SheetBytes, BeginWithAnIdOfZero) {
  EXPECT_EQ(encoded(cad::Sheet{.id = 0, .uid = "u"}), "10 00 29 01 75 00");
}

TEST(SheetBytes, HaveNoIdOfMinusOne) {
  EXPECT_EQ(encoded(cad::Sheet{.id = -1, .uid = "u"}), "29 01 75 00");
}

TEST(StoredRecord, IsReadPastAnUnknownOrdinal) {
  const auto sheet = decoded<cad::Sheet>("10 0E C9 63 03 61 62 63 49 02 47 31 00");
  EXPECT_EQ(sheet, (cad::Sheet{.id = 7, .name = "G1"}));
}

TEST(StoredRecord, ReadsADoubleThatWasWrittenAsAFloat) {
  EXPECT_EQ(decoded<Point3d>("07 00 00 C0 3F 27 CD CC CC 3D 00"),
            (Point3d{.x = 1.5, .y = static_cast<double>(0.1F)}));
}

TEST(StoredRecord, CutInTheMiddleOfATextTellsTheTextsLength) {
  EXPECT_EQ((decoding_error<bond::StreamException, cad::Sheet>("10 0E 29 03 73 2D")),
            "Read out of bounds: 3 bytes requested, offset: 4, length: 6");
}

TEST(StoredRecord, CutBeforeAFieldHeaderAsksForOneByte) {
  EXPECT_EQ((decoding_error<bond::StreamException, cad::Sheet>("10 0E")),
            "Read out of bounds: 1 bytes requested, offset: 2, length: 2");
}

TEST(StoredRecord, CutInTheMiddleOfADoubleAsksForEightBytes) {
  EXPECT_EQ((decoding_error<bond::StreamException, Point3d>("08 00 00 00")),
            "Read out of bounds: 8 bytes requested, offset: 1, length: 4");
}

TEST(StoredRecord, OfNoBytesIsAFailure) {
  EXPECT_EQ((decoding_error<bond::StreamException, cad::Sheet>("")),
            "Read out of bounds: 1 bytes requested, offset: 0, length: 0");
  EXPECT_EQ((decoding_error<bond::StreamException, cad::Rebar>("")),
            "Read out of bounds: 1 bytes requested, offset: 0, length: 0");
}

TEST(StoredRecord, RaisesWhatDerivesFromTheCommonException) {
  EXPECT_THROW(decoded<cad::Sheet>(""), bond::Exception);
}

TEST(SkippedText, ThatIsTooLongLeavesThePositionAndTheNextReadFindsAField) {
  EXPECT_EQ(decoded<cad::Sheet>("C9 63 64 49 02 47 31 00"), cad::Sheet{.name = "G1"});
}

TEST(SkippedText, ThatIsTooLongLeavesThePositionAndTheNextReadFails) {
  EXPECT_EQ((decoding_error<bond::StreamException, cad::Sheet>("C9 63 64 49 02 47")),
            "Read out of bounds: 2 bytes requested, offset: 5, length: 6");
}

TEST(SkippedText, CutBeforeAZeroByteOfItsOwnEndsTheRecordThere) {
  EXPECT_EQ(decoded<cad::Sheet>("10 0E C9 63 04 00 61"), cad::Sheet{.id = 7});
}

}  // namespace
