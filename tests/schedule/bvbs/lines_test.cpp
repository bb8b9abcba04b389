#include "schedule/bvbs/lines.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "schedule/weights.h"
#include "tests/schedule/bvbs/record_text.h"

namespace korvane::schedule::bvbs {
namespace {

using model::cad::EndTreatment;
using model::cad::GeometryObject;
using model::cad::GeometryObjectType;
using test::bar_of;
using test::with_checksum;
using testing::ThrowsMessage;

Record record_of(const std::string& text) { return parse_record(with_checksum(text), 9); }

GeometryObject leg(double length, double angle) {
  GeometryObject piece;
  piece.length.set(length);
  piece.angle.set(angle);
  return piece;
}

constexpr const char* kHeader = "BF2D@HjTower@r417@ia@p1@l1000@n10@e0.888@d12@gB500A@s48@v@";

TEST(ReadBar, HeaderFieldsReachTheirPlaces) {
  const BarLine bar = bar_of(std::string(kHeader) + "Gl400@w90@l600@w0@C");
  EXPECT_EQ(bar.drawing.project, "Tower");
  EXPECT_EQ(bar.drawing.sheet, "417");
  EXPECT_EQ(bar.drawing.revision, "a");
  EXPECT_EQ(bar.drawing.steel, "B500A");
  EXPECT_EQ(bar.item.mark, "1");
  EXPECT_EQ(bar.item.total_bars, 10);
  EXPECT_EQ(bar.item.bars_per_member, 10);
  EXPECT_EQ(bar.item.member_multiplier, 1);
  EXPECT_EQ(bar.item.bar_diameter, 12.0);
  EXPECT_EQ(bar.item.standard_bend_diameter, 48.0);
}

TEST(ReadBar, TotalLengthIsTheCutLengthOfAllPieces) {
  EXPECT_EQ(bar_of(std::string(kHeader) + "Gl400@w90@l600@w0@C").item.total_length, 10000.0);
}

TEST(ReadBar, WeightOfOnePieceGivesTheMassPerMetre) {
  const BarLine bar = bar_of(std::string(kHeader) + "Gl400@w90@l600@w0@C");
  EXPECT_DOUBLE_EQ(bar.item.bar_type_mass_per_length, 0.888);
  EXPECT_FALSE(bar.weight_was_total);
}

TEST(ReadBar, WeightOfAllPiecesIsRecognisedByTheDiameter) {
  const BarLine bar = bar_of("BF2D@Hp1@l1000@n10@e8.88@d12@g@s@v@Gl1000@w0@C");
  EXPECT_DOUBLE_EQ(bar.item.bar_type_mass_per_length, 0.888);
  EXPECT_TRUE(bar.weight_was_total);
}

TEST(ReadBar, DecimalCommasAreTaken) {
  const BarLine bar = bar_of("BF2D@Hp1@l1000,5@n1@e0,888@d12@g@s@v@Gl1000,5@w0@C");
  EXPECT_EQ(bar.item.total_length, 1000.5);
}

TEST(ReadBar, LegsBecomeLinesWithTheBendAfterThem) {
  const BarLine bar = bar_of(std::string(kHeader) + "Gl400@w90@l600@w0@C");
  EXPECT_THAT(bar.item.geometry.objects, testing::ElementsAre(leg(400, 90), leg(600, 0)));
}

TEST(ReadBar, ACurvedLegBecomesAnArcAndItsSecondBendAKink) {
  const auto pieces =
      bar_of(std::string(kHeader) + "Gl400@w45@r400@w90@w45@l400@w0@C").item.geometry.objects;
  ASSERT_EQ(pieces.size(), 4U);
  EXPECT_EQ(pieces[1].type, GeometryObjectType::kArc);
  EXPECT_EQ(*pieces[1].radius, 400.0);
  EXPECT_EQ(*pieces[1].angle, 90.0);
  EXPECT_EQ(pieces[2].type, GeometryObjectType::kKink);
  EXPECT_EQ(*pieces[2].angle, 45.0);
}

TEST(ReadBar, AStraightRunAfterACurvedLegIsNotAKink) {
  const auto pieces =
      bar_of(std::string(kHeader) + "Gl400@w0@r400@w90@w0@l400@w0@C").item.geometry.objects;
  EXPECT_EQ(pieces.size(), 3U);
}

TEST(ReadBar, CouplerAndThreadBecomeEndTreatments) {
  const BarLine bar = bar_of(std::string(kHeader) + "Gl200@w0@MaLenton@bA12@c1@nAncon@oTTS@p2@C");
  const EndTreatment start{.type = "coupler", .manufacturer = "Lenton", .model = "A12"};
  const EndTreatment end{.type = "thread", .manufacturer = "Ancon", .model = "TTS"};
  ASSERT_TRUE(bar.item.end_treatment_start.hasvalue());
  EXPECT_EQ(*bar.item.end_treatment_start, start);
  ASSERT_TRUE(bar.item.end_treatment_end.hasvalue());
  EXPECT_EQ(*bar.item.end_treatment_end, end);
}

TEST(ReadBar, AnEndWithEmptyFieldsHasNoTreatment) {
  const BarLine bar = bar_of(std::string(kHeader) + "Gl200@w0@MaLenton@bA12@c1@n@o@p@C");
  EXPECT_TRUE(bar.item.end_treatment_start.hasvalue());
  EXPECT_TRUE(bar.item.end_treatment_end.empty());
}

TEST(ReadBar, AStaggeredSetSplitsItsMarkAtTheDot) {
  const BarLine bar = bar_of("BF2D@Hp10.2@l1000@n1@e0.888@d12@g@s48@v@c10@Gl1000@w0@C");
  EXPECT_EQ(bar.item.mark, "10");
  EXPECT_EQ(*bar.item.submark, "2");
  EXPECT_EQ(*bar.item.properties.at("stagger_group").value_string, "10");
}

TEST(ReadBar, ADotOutsideAStaggeredSetStaysInTheMark) {
  const BarLine bar = bar_of("BF2D@HpG1-01-2/1500.1@l1000@n1@e0.888@d12@g@s48@v@Gl1000@w0@C");
  EXPECT_EQ(bar.item.mark, "G1-01-2/1500.1");
  EXPECT_TRUE(bar.item.submark.empty());
}

TEST(ReadBar, TheSourceLineIsKept) {
  const BarLine bar = bar_of(std::string(kHeader) + "Gl400@w90@l600@w0@C");
  EXPECT_THAT(*bar.item.properties.at("bvbs").value_string, testing::StartsWith(kHeader));
}

TEST(ReadBar, ShapeCodeAndLettersStayUnset) {
  const BarLine bar = bar_of(std::string(kHeader) + "Gl400@w90@l600@w0@C");
  EXPECT_TRUE(bar.item.shape_code.empty());
  EXPECT_EQ(bar.item.parameters_exact, model::cad::RebarParams{});
}

TEST(ReadBar, SpacerPositionsStandInForTheGeometry) {
  const BarLine bar = bar_of("BF2D@Hp1@l1334@n1@d10@gIV@s40@a1@At6@p140@p667@p1194@C");
  EXPECT_TRUE(bar.item.geometry.objects.empty());
  EXPECT_EQ(bar.item.bar_type_mass_per_length, 0.0);
  EXPECT_EQ(*bar.item.properties.at("layer").value_string, "1");
}

TEST(ReadBar, ASpatialBarBecomesAPolylineFromTheOrigin) {
  const auto points =
      bar_of("BF3D@Hp1@l5@n1@d12@Gx294@y0@z0@x0@y288@z0@x0@y0@z-10@C").item.geometry.polyline;
  ASSERT_EQ(points.size(), 4U);
  EXPECT_EQ(points[0], model::geometry::Point3d{});
  EXPECT_EQ(points[2], (model::geometry::Point3d{294, 288, 0}));
  EXPECT_EQ(points[3], (model::geometry::Point3d{294, 288, -10}));
}

TEST(ReadBar, ACoordinateThatIsLeftOutIsZero) {
  const auto points = bar_of("BF3D@Hp1@l5@n1@d12@Gx10@y20@x30@z5@C").item.geometry.polyline;
  ASSERT_EQ(points.size(), 3U);
  EXPECT_EQ(points[2], (model::geometry::Point3d{40, 20, 5}));
}

TEST(ReadBar, AHelixKeepsItsShapeAndItsPitches) {
  const BarLine bar = bar_of("BFWE@Hp1@l5@n1@d12@Gl340@w90@l340@w90@n6@g100@n12@g200@C");
  EXPECT_THAT(bar.item.geometry.objects, testing::ElementsAre(leg(340, 90), leg(340, 90)));
  EXPECT_EQ(*bar.item.properties.at("pitch").value_string, "6 x 100, 12 x 200");
}

TEST(ReadBar, TheLegsOfAFlatBarAddUpWithCurvesAsTheirArcs) {
  EXPECT_EQ(bar_of(std::string(kHeader) + "Gl400@w90@l600@w0@C").sum_of_legs, 1000.0);
  const BarLine curved = bar_of(std::string(kHeader) + "Gl400@w45@r400@w-90@w45@l400@w0@C");
  EXPECT_NEAR(curved.sum_of_legs.value(), 1428.32, 0.01);
}

TEST(ReadBar, WhatIsNotFlatHasNoSumOfLegs) {
  EXPECT_FALSE(bar_of("BF3D@Hp1@l5@n1@d12@Gx294@y0@z0@C").sum_of_legs);
  EXPECT_FALSE(bar_of("BFWE@Hp1@l5@n1@d12@Gr250@w360@n6@g100@C").sum_of_legs);
  EXPECT_FALSE(bar_of("BF2D@Hp1@l1334@n1@d10@At6@p140@C").sum_of_legs);
}

TEST(ReadBar, KeepsTheCutLengthOfOnePiece) {
  EXPECT_EQ(bar_of(std::string(kHeader) + "Gl400@w90@l600@w0@C").cut_length, 1000.0);
}

TEST(ReadLine, KindFollowsTheGroup) {
  for (const std::string group : {"BF2D", "BF3D", "BFWE"}) {
    const std::string shape = group == "BF3D" ? "Gx5@" : "Gl5@w0@";
    EXPECT_TRUE(std::holds_alternative<BarLine>(
        read_line(record_of(group + "@Hp1@l5@n1@d12@" + shape + "C"))))
        << group;
  }
  EXPECT_TRUE(std::holds_alternative<FabricLine>(
      read_line(record_of("BFMA@Hp1@l5@n1@e1@g@s48@mQ@b3@v@C"))));
  EXPECT_TRUE(std::holds_alternative<BarSpacerLine>(
      read_line(record_of("BFAU@Hp1@l5@n1@e1@mDS16@h160@C"))));
  EXPECT_TRUE(std::holds_alternative<std::monostate>(read_line(record_of("BFGT@Hp1@C"))));
}

TEST(NominalMass, OfTwelveMillimetresIsWhatTablesSay) {
  EXPECT_NEAR(nominal_mass_per_length(12), 0.888, 0.0005);
}

TEST(ReadFabric, HeaderFieldsReachTheFabricAndItsType) {
  const FabricLine line =
      read_fabric(record_of("BFMA@HjT@r417@ia@p7@l4000@n10@e35.28@gB500A@s48@mQ257@b2150@v@C"));
  EXPECT_EQ(line.drawing.sheet, "417");
  EXPECT_EQ(line.drawing.steel, "B500A");
  EXPECT_EQ(line.item.mark, "7");
  EXPECT_EQ(line.item.type_name, "Q257");
  EXPECT_EQ(line.item.length, 4000.0);
  EXPECT_EQ(line.item.width, 2150.0);
  EXPECT_EQ(line.item.total_fabrics, 10);
  EXPECT_EQ(line.item.fabric_weight, 35.28);
  EXPECT_EQ(line.item.standard_bend_diameter, 48.0);
  EXPECT_TRUE(line.item.geometry.empty());
  EXPECT_EQ(line.item.fabric_type.type_name, "Q257");
  EXPECT_EQ(line.item.fabric_type.overall_length, 4000.0);
  EXPECT_EQ(line.item.fabric_type.overall_width, 2150.0);
  EXPECT_EQ(line.item.fabric_type.sheet_mass, 35.28);
}

TEST(ReadFabric, ABentFabricNamesItsBentBars) {
  const FabricLine line =
      read_fabric(record_of("BFMA@Hp1@l5@n1@e1@g@s48@mQ@b3@v@Gyl200@w-90@l600@w0@C"));
  ASSERT_TRUE(line.item.geometry.hasvalue());
  EXPECT_THAT(line.item.geometry->objects, testing::ElementsAre(leg(200, -90), leg(600, 0)));
  EXPECT_EQ(*line.item.properties.at("bent_bars").value_string, "y");
}

TEST(ReadFabric, AMissingWidthIsNamed) {
  EXPECT_THAT([] { read_fabric(record_of("BFMA@Hp1@l5@n1@e1@g@s48@mQ@v@C")); },
              ThrowsMessage<RecordError>(
                  "line 9: block H, field b: expected a width in millimetres, found \"\""));
}

TEST(ReadBarSpacer, HeaderFieldsReachTheirPlaces) {
  const BarSpacerLine line =
      read_bar_spacer(record_of("BFAU@HjT@r417@i@p1@l2000@n5@e4.5@mDS16@h160@C"));
  EXPECT_EQ(line.drawing.revision, "");
  EXPECT_EQ(line.item.mark, "1");
  EXPECT_EQ(line.item.name, "DS16");
  EXPECT_EQ(line.item.length, 2000.0);
  EXPECT_EQ(line.item.quantity, 5);
  EXPECT_EQ(line.item.weight_per_piece, 4.5);
  EXPECT_EQ(*line.item.properties.at("height").value_string, "160");
}

struct RecordRefusal {
  const char* name;
  const char* record;
  const char* text;
};

class RefusedRecord : public testing::TestWithParam<RecordRefusal> {};

TEST_P(RefusedRecord, NamesTheFieldItsValueAndWhatWasExpected) {
  EXPECT_THAT([] { read_bar(record_of(GetParam().record)); },
              ThrowsMessage<RecordError>(GetParam().text));
}

TEST(ReadFabric, NamesALegWithALetterBeyondAsciiInUtf8) {
  EXPECT_THAT(
      [] { read_fabric(record_of("BFMA@Hp1@l5@n1@b5@Gx\xE4@w0@C")); },
      ThrowsMessage<RecordError>("line 9: block G, field x: expected a number, found \"ä\""));
}

INSTANTIATE_TEST_SUITE_P(
    Records, RefusedRecord,
    testing::Values(
        RecordRefusal{
            "Length", "BF2D@Hp1@lx@n1@d12@Gl1@w0@C",
            "line 9: block H, field l: expected a cut length in millimetres, found \"x\""},
        RecordRefusal{
            "NegativeLength", "BF2D@Hp1@l-5@n1@d12@Gl1@w0@C",
            "line 9: block H, field l: expected a cut length in millimetres, found \"-5\""},
        RecordRefusal{"Pieces", "BF2D@Hp1@l5@n1.5@d12@Gl1@w0@C",
                      "line 9: block H, field n: expected a number of pieces, found \"1.5\""},
        RecordRefusal{"NoPieces", "BF2D@Hp1@l5@d12@Gl1@w0@C",
                      "line 9: block H, field n: expected a number of pieces, found \"\""},
        RecordRefusal{
            "Diameter", "BF2D@Hp1@l5@n1@d0@Gl1@w0@C",
            "line 9: block H, field d: expected a bar diameter in millimetres, found \"0\""},
        RecordRefusal{"Mandrel", "BF2D@Hp1@l5@n1@d12@sx@Gl1@w0@C",
                      "line 9: block H, field s: expected a number, found \"x\""},
        RecordRefusal{"NoGeometry", "BF2D@Hp1@l5@n1@d12@C",
                      "line 9: no geometry block G and no spacer positions A"},
        RecordRefusal{"LegValue", "BF2D@Hp1@l5@n1@d12@Gl@w0@C",
                      "line 9: block G, field l: expected a number, found \"\""},
        RecordRefusal{"BendFirst", "BF2D@Hp1@l5@n1@d12@Gw90@C",
                      "line 9: block G, field w: expected legs l or r, each with its bend w, found "
                      "\"90\""},
        RecordRefusal{"AnotherLetterForABend", "BF2D@Hp1@l5@n1@d12@Gl100@x90@l100@w0@C",
                      "line 9: block G, field x: expected legs l or r, each with its bend w, found "
                      "\"90\""},
        RecordRefusal{"AnotherLetterForABendAfterAnArc",
                      "BF2D@Hp1@l5@n1@d12@Gr100@w90@x45@l100@w0@C",
                      "line 9: block G, field x: expected legs l or r, each with its bend w, found "
                      "\"45\""},
        RecordRefusal{
            "CurvedLegWithoutAngle", "BF2D@Hp1@l5@n1@d12@Gr5@l1@w0@C",
            "line 9: block G, field l: expected the angle w of the curved leg before it, found "
            "\"1\""},
        RecordRefusal{"SpatialBarWithLegs", "BF3D@Hp1@l5@n1@d12@Gl100@w0@C",
                      "line 9: block G, field l: expected offsets x, y or z, found \"100\""},
        RecordRefusal{"HelixPitchMissing", "BFWE@Hp1@l5@n1@d12@Gr100@w360@n6@C",
                      "line 9: block G: the last turns n have no pitch g"},
        RecordRefusal{
            "HelixLegAfterTurns", "BFWE@Hp1@l5@n1@d12@Gr100@w360@n6@g100@l5@C",
            "line 9: block G, field l: expected turns n, each with its pitch g, found \"5\""},
        RecordRefusal{"BendMissing", "BF2D@Hp1@l5@n1@d12@Gl100@C",
                      "line 9: block G: the last leg has no bend w"},
        RecordRefusal{"TotalLengthOutOfRange", "BF2D@Hp1@l1e308@n10@d12@Gl1@w0@C",
                      "line 9: block H: the total length is out of range"},
        RecordRefusal{"MassOutOfRange", "BF2D@Hp1@l1e-320@n1@e1@d12@Gl1@w0@C",
                      "line 9: block H: the mass per metre is out of range"},
        RecordRefusal{"OffsetsOutOfRange", "BF3D@Hp1@l5@n1@d12@Gx1e308@x1e308@C",
                      "line 9: block G: the sum of the offsets is out of range"}),
    [](const auto& refusal) { return refusal.param.name; });

}  // namespace
}  // namespace korvane::schedule::bvbs
