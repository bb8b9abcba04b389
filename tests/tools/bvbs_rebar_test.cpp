#include "tools/korvane/bvbs_rebar.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace korvane::bvbs {
namespace {

using model::cad::EndTreatment;
using model::cad::GeometryObject;
using model::cad::GeometryObjectType;
using testing::ThrowsMessage;

/// The bar of a record that is given up to the C of its checksum.
FlatBar bar_of(const std::string& text) {
  return flat_bar(parse_record(text + std::to_string(checksum(text)) + "@", 9));
}

GeometryObject leg(double length, double angle) {
  GeometryObject piece;
  piece.length.set(length);
  piece.angle.set(angle);
  return piece;
}

constexpr const char* kHeader = "BF2D@HjTower@r417@ia@p1@l1000@n10@e0.888@d12@gB500A@s48@v@";

TEST(FlatBarOfRecord, HeaderFieldsReachTheirPlaces) {
  const FlatBar bar = bar_of(std::string(kHeader) + "Gl400@w90@l600@w0@C");
  EXPECT_EQ(bar.project, "Tower");
  EXPECT_EQ(bar.sheet, "417");
  EXPECT_EQ(bar.revision, "a");
  EXPECT_EQ(bar.steel, "B500A");
  EXPECT_EQ(bar.rebar.mark, "1");
  EXPECT_EQ(bar.rebar.total_bars, 10);
  EXPECT_EQ(bar.rebar.bars_per_member, 10);
  EXPECT_EQ(bar.rebar.member_multiplier, 1);
  EXPECT_EQ(bar.rebar.bar_diameter, 12.0);
  EXPECT_EQ(bar.rebar.standard_bend_diameter, 48.0);
}

TEST(FlatBarOfRecord, TotalLengthIsTheCutLengthOfAllPieces) {
  EXPECT_EQ(bar_of(std::string(kHeader) + "Gl400@w90@l600@w0@C").rebar.total_length, 10000.0);
}

TEST(FlatBarOfRecord, WeightOfOnePieceGivesTheMassPerMetre) {
  const FlatBar bar = bar_of(std::string(kHeader) + "Gl400@w90@l600@w0@C");
  EXPECT_DOUBLE_EQ(bar.rebar.bar_type_mass_per_length, 0.888);
  EXPECT_FALSE(bar.weight_was_total);
}

TEST(FlatBarOfRecord, WeightOfAllPiecesIsRecognisedByTheDiameter) {
  const FlatBar bar = bar_of("BF2D@Hp1@l1000@n10@e8.88@d12@g@s@v@Gl1000@w0@C");
  EXPECT_DOUBLE_EQ(bar.rebar.bar_type_mass_per_length, 0.888);
  EXPECT_TRUE(bar.weight_was_total);
}

TEST(FlatBarOfRecord, DecimalCommasAreTaken) {
  const FlatBar bar = bar_of("BF2D@Hp1@l1000,5@n1@e0,888@d12@g@s@v@Gl1000,5@w0@C");
  EXPECT_EQ(bar.rebar.total_length, 1000.5);
}

TEST(FlatBarOfRecord, LegsBecomeLinesWithTheBendAfterThem) {
  const FlatBar bar = bar_of(std::string(kHeader) + "Gl400@w90@l600@w0@C");
  EXPECT_THAT(bar.rebar.geometry.objects, testing::ElementsAre(leg(400, 90), leg(600, 0)));
}

TEST(FlatBarOfRecord, ACurvedLegBecomesAnArcAndItsSecondBendAKink) {
  const auto pieces =
      bar_of(std::string(kHeader) + "Gl400@w45@r400@w90@w45@l400@w0@C").rebar.geometry.objects;
  ASSERT_EQ(pieces.size(), 4U);
  EXPECT_EQ(pieces[1].type, GeometryObjectType::kArc);
  EXPECT_EQ(*pieces[1].radius, 400.0);
  EXPECT_EQ(*pieces[1].angle, 90.0);
  EXPECT_EQ(pieces[2].type, GeometryObjectType::kKink);
  EXPECT_EQ(*pieces[2].angle, 45.0);
}

TEST(FlatBarOfRecord, AStraightRunBehindACurvedLegIsNoKink) {
  const auto pieces =
      bar_of(std::string(kHeader) + "Gl400@w0@r400@w90@w0@l400@w0@C").rebar.geometry.objects;
  EXPECT_EQ(pieces.size(), 3U);
}

TEST(FlatBarOfRecord, CouplerAndThreadBecomeEndTreatments) {
  const FlatBar bar = bar_of(std::string(kHeader) + "Gl200@w0@MaLenton@bA12@c1@nAncon@oTTS@p2@C");
  const EndTreatment start{.type = "coupler", .manufacturer = "Lenton", .model = "A12"};
  const EndTreatment end{.type = "thread", .manufacturer = "Ancon", .model = "TTS"};
  ASSERT_TRUE(bar.rebar.end_treatment_start.hasvalue());
  EXPECT_EQ(*bar.rebar.end_treatment_start, start);
  ASSERT_TRUE(bar.rebar.end_treatment_end.hasvalue());
  EXPECT_EQ(*bar.rebar.end_treatment_end, end);
}

TEST(FlatBarOfRecord, AnEndWithEmptyFieldsHasNoTreatment) {
  const FlatBar bar = bar_of(std::string(kHeader) + "Gl200@w0@MaLenton@bA12@c1@n@o@p@C");
  EXPECT_TRUE(bar.rebar.end_treatment_start.hasvalue());
  EXPECT_TRUE(bar.rebar.end_treatment_end.empty());
}

TEST(FlatBarOfRecord, AStaggeredSetSplitsItsMarkAtTheDot) {
  const FlatBar bar = bar_of("BF2D@Hp10.2@l1000@n1@e0.888@d12@g@s48@v@c10@Gl1000@w0@C");
  EXPECT_EQ(bar.rebar.mark, "10");
  EXPECT_EQ(*bar.rebar.submark, "2");
  EXPECT_EQ(*bar.rebar.properties.at("stagger_group").value_string, "10");
}

TEST(FlatBarOfRecord, ADotOutsideAStaggeredSetStaysInTheMark) {
  const FlatBar bar = bar_of("BF2D@HpG1-01-2/1500.1@l1000@n1@e0.888@d12@g@s48@v@Gl1000@w0@C");
  EXPECT_EQ(bar.rebar.mark, "G1-01-2/1500.1");
  EXPECT_TRUE(bar.rebar.submark.empty());
}

TEST(FlatBarOfRecord, TheSourceLineIsKept) {
  const FlatBar bar = bar_of(std::string(kHeader) + "Gl400@w90@l600@w0@C");
  EXPECT_THAT(*bar.rebar.properties.at("bvbs").value_string, testing::StartsWith(kHeader));
}

TEST(FlatBarOfRecord, ShapeCodeAndLettersStayUnset) {
  const FlatBar bar = bar_of(std::string(kHeader) + "Gl400@w90@l600@w0@C");
  EXPECT_TRUE(bar.rebar.shape_code.empty());
  EXPECT_EQ(bar.rebar.parameters_exact, model::cad::RebarParams{});
}

TEST(FlatBarOfRecord, SpacerPositionsStandInForTheGeometry) {
  const FlatBar bar = bar_of("BF2D@Hp1@l1334@n1@d10@gIV@s40@a1@At6@p140@p667@p1194@C");
  EXPECT_TRUE(bar.rebar.geometry.objects.empty());
  EXPECT_EQ(bar.rebar.bar_type_mass_per_length, 0.0);
  EXPECT_EQ(*bar.rebar.properties.at("layer").value_string, "1");
}

struct Refusal {
  const char* name;
  const char* record;
  const char* text;
};

class FlatBarRefusal : public testing::TestWithParam<Refusal> {};

TEST_P(FlatBarRefusal, NamesTheFieldItsValueAndWhatWasExpected) {
  EXPECT_THAT([] { bar_of(GetParam().record); }, ThrowsMessage<RecordError>(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(
    Records, FlatBarRefusal,
    testing::Values(
        Refusal{"Length", "BF2D@Hp1@lx@n1@d12@Gl1@w0@C",
                "line 9: block H, field l: expected a cut length in millimetres, found \"x\""},
        Refusal{"NegativeLength", "BF2D@Hp1@l-5@n1@d12@Gl1@w0@C",
                "line 9: block H, field l: expected a cut length in millimetres, found \"-5\""},
        Refusal{"Pieces", "BF2D@Hp1@l5@n1.5@d12@Gl1@w0@C",
                "line 9: block H, field n: expected a number of pieces, found \"1.5\""},
        Refusal{"NoPieces", "BF2D@Hp1@l5@d12@Gl1@w0@C",
                "line 9: block H, field n: expected a number of pieces, found \"\""},
        Refusal{"Diameter", "BF2D@Hp1@l5@n1@d0@Gl1@w0@C",
                "line 9: block H, field d: expected a bar diameter in millimetres, found \"0\""},
        Refusal{"Mandrel", "BF2D@Hp1@l5@n1@d12@sx@Gl1@w0@C",
                "line 9: block H, field s: expected a number, found \"x\""},
        Refusal{"NoGeometry", "BF2D@Hp1@l5@n1@d12@C",
                "line 9: no geometry block G and no spacer positions A"},
        Refusal{"LegValue", "BF2D@Hp1@l5@n1@d12@Gl@w0@C",
                "line 9: block G, field l: expected a number, found \"\""},
        Refusal{"BendFirst", "BF2D@Hp1@l5@n1@d12@Gw90@C",
                "line 9: block G, field w: expected legs l or r, each with its bend w, found "
                "\"90\""},
        Refusal{"BendMissing", "BF2D@Hp1@l5@n1@d12@Gl100@C",
                "line 9: block G: the last leg has no bend w"}),
    [](const auto& refusal) { return refusal.param.name; });

}  // namespace
}  // namespace korvane::bvbs
