#include "schedule/bvbs/write.h"

#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "schedule/bvbs/schedule.h"
#include "tests/schedule/bvbs/plain_reader.h"
#include "tests/schedule/bvbs/record_text.h"

namespace korvane::schedule::bvbs {
namespace {

using model::cad::BarSpacer;
using model::cad::Fabric;
using model::cad::GeometryObject;
using model::cad::GeometryObjectType;
using model::cad::Rebar;
using test::bar_of;
using test::with_checksum;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

FabricLine fabric_of(const std::string& text) {
  return read_fabric(parse_record(with_checksum(text), 1));
}
BarSpacerLine spacer_of(const std::string& text) {
  return read_bar_spacer(parse_record(with_checksum(text), 1));
}

/// Three legs of 1500 mm in all, ten pieces.
Rebar plain_bar() {
  Rebar bar;
  bar.mark = "7";
  bar.total_bars = 10;
  bar.total_length = 15000;
  bar.bar_diameter = 12;
  bar.bar_type_mass_per_length = 0.888;
  for (const double length : {400.0, 700.0, 400.0}) {
    GeometryObject& leg = bar.geometry.objects.emplace_back();
    leg.length.set(length);
    leg.angle.set(length == 700 ? 45.5 : 90);
  }
  bar.geometry.objects.back().angle.set(0);
  return bar;
}

Drawing drawing() { return {"Tower", "417", "a", "B500B"}; }

TEST(WriteBar, AllFieldsAreInTheirOrder) {
  EXPECT_EQ(
      write_bar(plain_bar(), drawing()).line,
      with_checksum("BF2D@HjTower@r417@ia@p7@l1500@n10@e1.332@d12@gB500B@s@v@Gl400@w90@l700@w45.5@"
                    "l400@w0@C"));
}

TEST(WriteBar, WhatIsNotKnownIsEmpty) {
  Rebar bar = plain_bar();
  bar.bar_type_mass_per_length = 0;
  EXPECT_EQ(write_bar(bar, {}).line,
            with_checksum("BF2D@Hj@r@i@p7@l1500@n10@e@d12@g@s@v@Gl400@w90@l700@w45.5@l400@w0@C"));
}

TEST(WriteBar, OptionalFieldsFollowTheOthers) {
  Rebar bar = plain_bar();
  bar.submark.set("2");
  bar.properties["layer"].value_string.set("1");
  bar.properties["stagger_step"].value_string.set("300");
  bar.properties["stagger_group"].value_string.set("10");
  EXPECT_THAT(write_bar(bar, drawing()).line, HasSubstr("@s@v@a1@t300@c10@G"));
}

TEST(WriteBar, AStaggeredSetWithoutANameIsCalledAfterItsMark) {
  Rebar bar = plain_bar();
  bar.submark.set("2");
  EXPECT_THAT(write_bar(bar, drawing()).line,
              testing::AllOf(HasSubstr("@p7.2@"), HasSubstr("@c7@")));
}

TEST(WriteBar, ABendMayStandInTheKinkAfterALeg) {
  Rebar bar = plain_bar();
  bar.geometry.objects[0].angle.reset();
  GeometryObject kink;
  kink.type = GeometryObjectType::kKink;
  kink.angle.set(90);
  bar.geometry.objects.insert(bar.geometry.objects.begin() + 1, kink);
  EXPECT_EQ(write_bar(bar, drawing()).line, write_bar(plain_bar(), drawing()).line);
}

TEST(WriteBar, CurvedLegsHaveTheirBendIntoTheNextLeg) {
  Rebar bar = plain_bar();
  bar.geometry.objects[1] = {};
  bar.geometry.objects[1].type = GeometryObjectType::kArc;
  bar.geometry.objects[1].radius.set(250);
  bar.geometry.objects[1].angle.set(90);
  EXPECT_THAT(write_bar(bar, drawing()).line, HasSubstr("Gl400@w90@r250@w90@w0@l400@w0@"));
}

TEST(WriteBar, PointsWithoutLegsMakeASpatialBar) {
  Rebar bar = plain_bar();
  bar.geometry.objects.clear();
  bar.geometry.polyline = {{10, 10, 10}, {110, 10, 10}, {110, 60.5, 10}};
  EXPECT_THAT(write_bar(bar, drawing()).line,
              testing::AllOf(testing::StartsWith("BF3D@"), HasSubstr("Gx100@y0@z0@x0@y50.5@z0@C")));
}

TEST(WriteBar, PointsOutsideOnePlaneSayMoreThanLegs) {
  Rebar bar = plain_bar();
  bar.geometry.polyline = {{0, 0, 0}, {400, 0, 0}, {400, 700, 0}, {400, 700, 400}};
  EXPECT_THAT(write_bar(bar, drawing()).line, testing::StartsWith("BF3D@"));
  bar.geometry.polyline.back() = {0, 700, 0};
  EXPECT_THAT(write_bar(bar, drawing()).line, testing::StartsWith("BF2D@"));
}

TEST(WriteBar, TurnsAndPitchMakeAHelix) {
  Rebar bar = plain_bar();
  bar.properties["pitch"].value_string.set("6 x 100, 12.5 x 200");
  EXPECT_THAT(
      write_bar(bar, drawing()).line,
      testing::AllOf(testing::StartsWith("BFWE@"), HasSubstr("l400@w0@n6@g100@n12.5@g200@C")));
}

TEST(WriteBar, TextsAreWindows1252) {
  Rebar bar = plain_bar();
  bar.mark = "Stütze €";
  EXPECT_THAT(write_bar(bar, drawing()).line, HasSubstr("@pSt\xFCtze \x80@"));
}

TEST(WriteBar, NumbersAreTheShortestThatReadAsTheSame) {
  Rebar bar = plain_bar();
  bar.total_bars = 3;
  bar.total_length = 0.1 * 3;
  bar.geometry.objects[0].length.set(1e22);
  EXPECT_THAT(write_bar(bar, drawing()).line,
              testing::AllOf(HasSubstr("@l0.1@n3@"), HasSubstr("Gl10000000000000000000000@")));
}

TEST(WriteBar, SaysWhatItLeavesOut) {
  Rebar bar = plain_bar();
  bar.mark_prefix.set("A");
  bar.start_hook.set();
  EXPECT_THAT(write_bar(bar, drawing()).remarks,
              ElementsAre("mark 7: the prefix and suffix of its mark are left out",
                          "mark 7: its hooks are left out, but for the legs that they make"));
}

TEST(WriteBar, SaysWhatAReaderMayTakeForTheWeightOfAllPieces) {
  Rebar bar = plain_bar();
  bar.bar_type_mass_per_length = 8.88;
  EXPECT_THAT(
      write_bar(bar, drawing()).remarks,
      ElementsAre("mark 7: the weight of one piece is nearer to what its diameter gives for "
                  "all pieces, and may be taken as theirs"));
}

TEST(WriteFabric, AllFieldsAreInTheirOrder) {
  Fabric fabric;
  fabric.mark = "8";
  fabric.length = 5000;
  fabric.width = 2150;
  fabric.total_fabrics = 4;
  fabric.fabric_weight = 35.28;
  fabric.type_name = "Q257";
  fabric.standard_bend_diameter = 48;
  fabric.geometry.set() = plain_bar().geometry;
  fabric.properties["bent_bars"].value_string.set("y");
  fabric.properties["layer"].value_int32.set(2);
  EXPECT_EQ(write_fabric(fabric, drawing()).line,
            with_checksum(
                "BFMA@HjTower@r417@ia@p8@l5000@n4@e35.28@gB500B@s48@mQ257@b2150@v@a2@Gyl400@w90@"
                "l700@w45.5@l400@w0@C"));
}

TEST(WriteFabric, SaysThatItIsNotKnownWhichBarsAreBent) {
  FabricLine line = fabric_of("BFMA@Hp1@l5@n1@mQ@b3@Gxl200@w90@l3@w0@C");
  line.item.properties.clear();
  const WrittenLine written = write_fabric(line.item, line.drawing);
  EXPECT_THAT(written.line, HasSubstr("@Gl200@w90@"));
  EXPECT_THAT(written.remarks, ElementsAre("mark 1: which of its bars are bent is not known"));
}

TEST(WriteBarSpacer, AllFieldsAreInTheirOrder) {
  BarSpacer spacer;
  spacer.mark = "S1";
  spacer.name = "DS16";
  spacer.length = 2000;
  spacer.quantity = 5;
  spacer.weight_per_piece = 4.5;
  spacer.properties["height"].value_double.set(160.5);
  EXPECT_EQ(write_bar_spacer(spacer, drawing()).line,
            with_checksum("BFAU@HjTower@r417@ia@pS1@l2000@n5@e4.5@mDS16@h160.5@C"));
}

// What was imported and not changed.

/// The lines of a file of the examples, without their ends.
std::vector<std::string> lines_of(const std::string& file) {
  std::ifstream input(KORVANE_EXAMPLES "/" + file, std::ios::binary);
  std::vector<std::string> lines;
  for (std::string line; std::getline(input, line);) {
    lines.push_back(line.substr(0, line.size() - 1));
  }
  return lines;
}

/// Reads a line and writes what it says.
WrittenLine written_again(const std::string& line) {
  const Record record = parse_record(line, 1);
  if (record.group == "BFMA") {
    const FabricLine fabric = read_fabric(record);
    return write_fabric(fabric.item, fabric.drawing);
  }
  if (record.group == "BFAU") {
    const BarSpacerLine spacer = read_bar_spacer(record);
    return write_bar_spacer(spacer.item, spacer.drawing);
  }
  const BarLine bar = read_bar(record);
  return write_bar(bar.item, bar.drawing);
}

TEST(UnchangedLine, ComesOutByteForByte) {
  for (const char* file : {"guideline.abs", "shapes.abs"}) {
    const std::vector<std::string> lines = lines_of(file);
    ASSERT_FALSE(lines.empty());
    for (const std::string& line : lines) {
      const WrittenLine written = written_again(line);
      EXPECT_EQ(written.line, line);
      EXPECT_THAT(written.remarks, IsEmpty());
    }
  }
}

TEST(UnchangedLine, WithAWrongChecksumComesOutWithTheRightOne) {
  for (const std::string& line : lines_of("bad-checksum.abs")) {
    if (!line.starts_with("BF2D")) continue;
    const std::string right = with_checksum(line.substr(0, line.rfind("@C") + 2));
    ASSERT_NE(line, right);
    BarLine bar = read_bar(parse_record(right, 1));
    bar.item.properties["bvbs"].value_string.set(line);
    EXPECT_EQ(write_bar(bar.item, bar.drawing).line, right);
  }
}

TEST(UnchangedLine, KeepsItsOwnSpelling) {
  for (const char* text :
       {// Decimal commas, fields that are left out, out of order or nobody's.
        "BF2D@Hp1@e0,888@x9@l1000,50@n010@d12@a@Gl1000,50@w0@C",
        // Zeros with a sign and exponents.
        "BF2D@Hp1@l1e3@n1@d12@s-0@Gl1e3@w-0@C",
        // Letters of Windows-1252, and bytes that it has no letter for.
        "BF2D@HjM\xFCller \x80 \x81\xFF@p1@l5@n1@d12@Gl5@w0@Pt\xDF@C",
        // A control character, blocks twice and blocks that nobody knows.
        "BF2D@Hj\t@p1@l5@n1@d12@Zq1@Gl5@w0@Gl7@w0@Hp2@MaA@b@c7@MaB@C",
        // A helix without turns, a spatial bar that leaves out zeros, positions and a shape.
        "BFWE@Hp1@l5@n1@d12@Gr100@w360@C", "BF3D@Hp1@l5@n1@d12@Gx10@y20@x30@z5@C",
        "BF2D@Hp1@l5@n1@d12@Gl5@w0@At6@p1@C",
        // A leg that leaves out its bend.
        "BF2D@Hp1@l5@n1@d12@Gl5@l5@w0@C",
        // Numbers that end in their decimal comma.
        "BFWE@Hp1@l5@n1@d12@Gr1@w360@n6,@g1,@n12,@g2,5@C",
        // A weight of all pieces.
        "BF2D@Hp1@l1000@n10@e8.88@d12@Gl1000@w0@C"}) {
    const std::string line = with_checksum(text);
    EXPECT_EQ(written_again(line).line, line);
  }
}

TEST(UnchangedLine, MayLackTheLastAt) {
  std::string line = with_checksum("BF2D@Hp1@l5@n1@d12@Gl5@w0@C");
  line.pop_back();
  EXPECT_EQ(written_again(line).line, line);
}

TEST(UnchangedLine, WithoutAProjectStaysSoInAProjectWithAName) {
  const std::string text = "BF2D@Hj@r417@ia@p1@l5@n1@d12@g@Gl5@w0@C";
  BarLine bar = bar_of(text);
  bar.drawing.project = "Tower";
  EXPECT_EQ(write_bar(bar.item, bar.drawing).line, with_checksum(text));
}

// What was imported and corrected.

template <class T>
struct Correction {
  const char* name;
  std::function<void(T&, Drawing&)> change;
  /// The line up to the C.
  const char* expected;
};

constexpr const char* kBar =
    "BF2D@HjT@r417@ia@p10.1@l700@n2@e0,5220@d12@gB500A@s48@v@q5@a1@t300@c10@Gl400,0@w90@l300@w0@"
    "MaLenton@bA12@c1@nAncon@oTTS@p2@PtSEG;o0@C";

std::string& text_at(Properties& properties, const char* key) {
  return properties[key].value_string.set();
}

using BarCorrection = Correction<Rebar>;
class CorrectedBar : public testing::TestWithParam<BarCorrection> {};

TEST_P(CorrectedBar, SaysTheNewValueAndKeepsWhatIsStillTrue) {
  BarLine line = bar_of(kBar);
  ASSERT_EQ(write_bar(line.item, line.drawing).line, with_checksum(kBar));
  GetParam().change(line.item, line.drawing);
  const WrittenLine written = write_bar(line.item, line.drawing);
  EXPECT_EQ(written.refusal, "");
  EXPECT_EQ(written.line, with_checksum(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(
    Fields, CorrectedBar,
    testing::Values(
        BarCorrection{
            "Project", [](Rebar&, Drawing& drawing) { drawing.project = "U"; },
            "BF2D@HjU@r417@ia@p10.1@l700@n2@e0,5220@d12@gB500A@s48@v@q5@a1@t300@c10@Gl400,"
            "0@w90@l300@w0@MaLenton@bA12@c1@nAncon@oTTS@p2@PtSEG;o0@C"},
        BarCorrection{
            "Sheet", [](Rebar&, Drawing& drawing) { drawing.sheet = "418"; },
            "BF2D@HjT@r418@ia@p10.1@l700@n2@e0,5220@d12@gB500A@s48@v@q5@a1@t300@c10@Gl400,"
            "0@w90@l300@w0@MaLenton@bA12@c1@nAncon@oTTS@p2@PtSEG;o0@C"},
        BarCorrection{
            "Revision", [](Rebar&, Drawing& drawing) { drawing.revision = "b"; },
            "BF2D@HjT@r417@ib@p10.1@l700@n2@e0,5220@d12@gB500A@s48@v@q5@a1@t300@c10@Gl400,"
            "0@w90@l300@w0@MaLenton@bA12@c1@nAncon@oTTS@p2@PtSEG;o0@C"},
        BarCorrection{
            "Steel", [](Rebar&, Drawing& drawing) { drawing.steel = "B500B"; },
            "BF2D@HjT@r417@ia@p10.1@l700@n2@e0,5220@d12@gB500B@s48@v@q5@a1@t300@c10@Gl400,"
            "0@w90@l300@w0@MaLenton@bA12@c1@nAncon@oTTS@p2@PtSEG;o0@C"},
        BarCorrection{
            "Mark", [](Rebar& bar, Drawing&) { bar.mark = "11"; },
            "BF2D@HjT@r417@ia@p11.1@l700@n2@e0,5220@d12@gB500A@s48@v@q5@a1@t300@c10@Gl400,"
            "0@w90@l300@w0@MaLenton@bA12@c1@nAncon@oTTS@p2@PtSEG;o0@C"},
        BarCorrection{
            "Submark", [](Rebar& bar, Drawing&) { bar.submark.set("3"); },
            "BF2D@HjT@r417@ia@p10.3@l700@n2@e0,5220@d12@gB500A@s48@v@q5@a1@t300@c10@Gl400,"
            "0@w90@l300@w0@MaLenton@bA12@c1@nAncon@oTTS@p2@PtSEG;o0@C"},
        BarCorrection{
            "Pieces",
            [](Rebar& bar, Drawing&) {
              bar.total_bars = 3;
              bar.total_length = 2100;
            },
            "BF2D@HjT@r417@ia@p10.1@l700@n3@e0,5220@d12@gB500A@s48@v@q5@a1@t300@c10@Gl400,"
            "0@w90@l300@w0@MaLenton@bA12@c1@nAncon@oTTS@p2@PtSEG;o0@C"},
        BarCorrection{"MassPerLength",
                      [](Rebar& bar, Drawing&) { bar.bar_type_mass_per_length = 0.888; },
                      "BF2D@HjT@r417@ia@p10.1@l700@n2@e0.6215999999999999@d12@gB500A@s48@v@q5@a1@"
                      "t300@c10@Gl400,"
                      "0@w90@l300@w0@MaLenton@bA12@c1@nAncon@oTTS@p2@PtSEG;o0@C"},
        BarCorrection{
            "NoMassPerLength", [](Rebar& bar, Drawing&) { bar.bar_type_mass_per_length = 0; },
            "BF2D@HjT@r417@ia@p10.1@l700@n2@e@d12@gB500A@s48@v@q5@a1@t300@c10@Gl400,0@w90@"
            "l300@w0@MaLenton@bA12@c1@nAncon@oTTS@p2@PtSEG;o0@C"},
        BarCorrection{
            "BendDiameter", [](Rebar& bar, Drawing&) { bar.standard_bend_diameter = 84; },
            "BF2D@HjT@r417@ia@p10.1@l700@n2@e0,5220@d12@gB500A@s84@v@q5@a1@t300@c10@Gl400,"
            "0@w90@l300@w0@MaLenton@bA12@c1@nAncon@oTTS@p2@PtSEG;o0@C"},
        BarCorrection{
            "Layer", [](Rebar& bar, Drawing&) { text_at(bar.properties, "layer") = "2"; },
            "BF2D@HjT@r417@ia@p10.1@l700@n2@e0,5220@d12@gB500A@s48@v@q5@a2@t300@c10@Gl400,"
            "0@w90@l300@w0@MaLenton@bA12@c1@nAncon@oTTS@p2@PtSEG;o0@C"},
        BarCorrection{"NoLayer", [](Rebar& bar, Drawing&) { bar.properties.erase("layer"); },
                      "BF2D@HjT@r417@ia@p10.1@l700@n2@e0,5220@d12@gB500A@s48@v@q5@t300@c10@Gl400,0@"
                      "w90@l300@w0@MaLenton@bA12@c1@nAncon@oTTS@p2@PtSEG;o0@C"},
        BarCorrection{
            "StaggerStep",
            [](Rebar& bar, Drawing&) { text_at(bar.properties, "stagger_step") = "9"; },
            "BF2D@HjT@r417@ia@p10.1@l700@n2@e0,5220@d12@gB500A@s48@v@q5@a1@t9@c10@Gl400,0@"
            "w90@l300@w0@MaLenton@bA12@c1@nAncon@oTTS@p2@PtSEG;o0@C"},
        BarCorrection{
            "StaggerGroup",
            [](Rebar& bar, Drawing&) { text_at(bar.properties, "stagger_group") = "g"; },
            "BF2D@HjT@r417@ia@p10.1@l700@n2@e0,5220@d12@gB500A@s48@v@q5@a1@t300@cg@Gl400,0@"
            "w90@l300@w0@MaLenton@bA12@c1@nAncon@oTTS@p2@PtSEG;o0@C"},
        BarCorrection{
            "StartManufacturer",
            [](Rebar& bar, Drawing&) { bar.end_treatment_start->manufacturer = "X"; },
            "BF2D@HjT@r417@ia@p10.1@l700@n2@e0,5220@d12@gB500A@s48@v@q5@a1@t300@c10@Gl400,"
            "0@w90@l300@w0@MaX@bA12@c1@nAncon@oTTS@p2@PtSEG;o0@C"},
        BarCorrection{
            "StartModel", [](Rebar& bar, Drawing&) { bar.end_treatment_start->model = "X"; },
            "BF2D@HjT@r417@ia@p10.1@l700@n2@e0,5220@d12@gB500A@s48@v@q5@a1@t300@c10@Gl400,"
            "0@w90@l300@w0@MaLenton@bX@c1@nAncon@oTTS@p2@PtSEG;o0@C"},
        BarCorrection{
            "StartType", [](Rebar& bar, Drawing&) { bar.end_treatment_start->type = "thread"; },
            "BF2D@HjT@r417@ia@p10.1@l700@n2@e0,5220@d12@gB500A@s48@v@q5@a1@t300@c10@Gl400,"
            "0@w90@l300@w0@MaLenton@bA12@c2@nAncon@oTTS@p2@PtSEG;o0@C"},
        BarCorrection{
            "EndManufacturer",
            [](Rebar& bar, Drawing&) { bar.end_treatment_end->manufacturer = "X"; },
            "BF2D@HjT@r417@ia@p10.1@l700@n2@e0,5220@d12@gB500A@s48@v@q5@a1@t300@c10@Gl400,"
            "0@w90@l300@w0@MaLenton@bA12@c1@nX@oTTS@p2@PtSEG;o0@C"},
        BarCorrection{
            "EndModel", [](Rebar& bar, Drawing&) { bar.end_treatment_end->model = "X"; },
            "BF2D@HjT@r417@ia@p10.1@l700@n2@e0,5220@d12@gB500A@s48@v@q5@a1@t300@c10@Gl400,"
            "0@w90@l300@w0@MaLenton@bA12@c1@nAncon@oX@p2@PtSEG;o0@C"},
        BarCorrection{
            "EndType", [](Rebar& bar, Drawing&) { bar.end_treatment_end->type = "coupler"; },
            "BF2D@HjT@r417@ia@p10.1@l700@n2@e0,5220@d12@gB500A@s48@v@q5@a1@t300@c10@Gl400,"
            "0@w90@l300@w0@MaLenton@bA12@c1@nAncon@oTTS@p1@PtSEG;o0@C"},
        BarCorrection{
            "NoTreatments",
            [](Rebar& bar, Drawing&) {
              bar.end_treatment_start.reset();
              bar.end_treatment_end.reset();
            },
            "BF2D@HjT@r417@ia@p10.1@l700@n2@e0,5220@d12@gB500A@s48@v@q5@a1@t300@c10@Gl400,"
            "0@w90@l300@w0@PtSEG;o0@C"},
        // With the piece itself goes what only the line said of it.
        BarCorrection{"Length",
                      [](Rebar& bar, Drawing&) {
                        bar.total_length = 2000;
                        bar.bar_type_mass_per_length = 0.888;
                      },
                      "BF2D@HjT@r417@ia@p10.1@l1000@n2@e0.888@d12@gB500A@s48@v@a1@t300@c10@Gl400,0@"
                      "w90@l300@w0@MaLenton@bA12@c1@nAncon@oTTS@p2@C"},
        BarCorrection{"PiecesOfTheSameTotalLength",
                      [](Rebar& bar, Drawing&) {
                        bar.total_bars = 4;
                        bar.bar_type_mass_per_length = 0.888;
                      },
                      "BF2D@HjT@r417@ia@p10.1@l350@n4@e0.31079999999999997@d12@gB500A@s48@v@a1@"
                      "t300@c10@Gl400,0@"
                      "w90@l300@w0@MaLenton@bA12@c1@nAncon@oTTS@p2@C"},
        BarCorrection{"Diameter", [](Rebar& bar, Drawing&) { bar.bar_diameter = 14; },
                      "BF2D@HjT@r417@ia@p10.1@l700@n2@e0,5220@d14@gB500A@s48@v@a1@t300@c10@Gl400,0@"
                      "w90@l300@w0@MaLenton@bA12@c1@nAncon@oTTS@p2@C"},
        BarCorrection{
            "Leg", [](Rebar& bar, Drawing&) { bar.geometry.objects[0].length.set(410); },
            "BF2D@HjT@r417@ia@p10.1@l700@n2@e0,5220@d12@gB500A@s48@v@a1@t300@c10@Gl410@w90@"
            "l300@w0@MaLenton@bA12@c1@nAncon@oTTS@p2@C"},
        BarCorrection{
            "Bend", [](Rebar& bar, Drawing&) { bar.geometry.objects[0].angle.set(45); },
            "BF2D@HjT@r417@ia@p10.1@l700@n2@e0,5220@d12@gB500A@s48@v@a1@t300@c10@Gl400@w45@"
            "l300@w0@MaLenton@bA12@c1@nAncon@oTTS@p2@C"},
        BarCorrection{
            "SpatialShape",
            [](Rebar& bar, Drawing&) {
              bar.geometry.objects.clear();
              bar.geometry.polyline = {{0, 0, 0}, {400, 0, 0}, {400, 0, 300}};
            },
            "BF3D@HjT@r417@ia@p10.1@l700@n2@e0,5220@d12@gB500A@s48@v@a1@t300@c10@Gx400@y0@"
            "z0@x0@y0@z300@MaLenton@bA12@c1@nAncon@oTTS@p2@C"},
        BarCorrection{
            "Pitch", [](Rebar& bar, Drawing&) { text_at(bar.properties, "pitch") = "4 x 50"; },
            "BFWE@HjT@r417@ia@p10.1@l700@n2@e0,5220@d12@gB500A@s48@v@a1@t300@c10@Gl400@w90@"
            "l300@w0@n4@g50@MaLenton@bA12@c1@nAncon@oTTS@p2@C"}),
    [](const auto& correction) { return correction.param.name; });

constexpr const char* kFabric =
    "BFMA@HjT@r417@ia@p1@l5000@n10@e36,695@gB500A@s48@mZM@b3000@v@a1@Gyl200@w-90@l2000@w0@Yd6d@"
    "x175;175@e25,1@Xd5@x0@PfREE@C";

using FabricCorrection = Correction<Fabric>;
class CorrectedFabric : public testing::TestWithParam<FabricCorrection> {};

TEST_P(CorrectedFabric, SaysTheNewValueAndKeepsWhatIsStillTrue) {
  FabricLine line = fabric_of(kFabric);
  ASSERT_EQ(write_fabric(line.item, line.drawing).line, with_checksum(kFabric));
  GetParam().change(line.item, line.drawing);
  EXPECT_EQ(write_fabric(line.item, line.drawing).line, with_checksum(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(
    Fields, CorrectedFabric,
    testing::Values(
        FabricCorrection{"Project", [](Fabric&, Drawing& drawing) { drawing.project = "U"; },
                         "BFMA@HjU@r417@ia@p1@l5000@n10@e36,695@gB500A@s48@mZM@b3000@v@a1@Gyl200@w-"
                         "90@l2000@w0@Yd6d@x175;175@e25,1@Xd5@x0@PfREE@C"},
        FabricCorrection{"Sheet", [](Fabric&, Drawing& drawing) { drawing.sheet = "U"; },
                         "BFMA@HjT@rU@ia@p1@l5000@n10@e36,695@gB500A@s48@mZM@b3000@v@a1@Gyl200@w-"
                         "90@l2000@w0@Yd6d@x175;175@e25,1@Xd5@x0@PfREE@C"},
        FabricCorrection{"Revision", [](Fabric&, Drawing& drawing) { drawing.revision = ""; },
                         "BFMA@HjT@r417@i@p1@l5000@n10@e36,695@gB500A@s48@mZM@b3000@v@a1@Gyl200@w-"
                         "90@l2000@w0@Yd6d@x175;175@e25,1@Xd5@x0@PfREE@C"},
        FabricCorrection{"Steel", [](Fabric&, Drawing& drawing) { drawing.steel = "U"; },
                         "BFMA@HjT@r417@ia@p1@l5000@n10@e36,695@gU@s48@mZM@b3000@v@a1@Gyl200@w-90@"
                         "l2000@w0@Yd6d@x175;175@e25,1@Xd5@x0@PfREE@C"},
        FabricCorrection{"Mark", [](Fabric& fabric, Drawing&) { fabric.mark = "2"; },
                         "BFMA@HjT@r417@ia@p2@l5000@n10@e36,695@gB500A@s48@mZM@b3000@v@a1@Gyl200@w-"
                         "90@l2000@w0@Yd6d@x175;175@e25,1@Xd5@x0@PfREE@C"},
        FabricCorrection{"Pieces", [](Fabric& fabric, Drawing&) { fabric.total_fabrics = 11; },
                         "BFMA@HjT@r417@ia@p1@l5000@n11@e36,695@gB500A@s48@mZM@b3000@v@a1@Gyl200@w-"
                         "90@l2000@w0@Yd6d@x175;175@e25,1@Xd5@x0@PfREE@C"},
        FabricCorrection{"Weight", [](Fabric& fabric, Drawing&) { fabric.fabric_weight = 37.5; },
                         "BFMA@HjT@r417@ia@p1@l5000@n10@e37.5@gB500A@s48@mZM@b3000@v@a1@Gyl200@w-"
                         "90@l2000@w0@Yd6d@x175;175@e25,1@Xd5@x0@PfREE@C"},
        FabricCorrection{"BendDiameter",
                         [](Fabric& fabric, Drawing&) { fabric.standard_bend_diameter = 0; },
                         "BFMA@HjT@r417@ia@p1@l5000@n10@e36,695@gB500A@s@mZM@b3000@v@a1@Gyl200@w-"
                         "90@l2000@w0@Yd6d@x175;175@e25,1@Xd5@x0@PfREE@C"},
        FabricCorrection{
            "Layer", [](Fabric& fabric, Drawing&) { text_at(fabric.properties, "layer") = "2"; },
            "BFMA@HjT@r417@ia@p1@l5000@n10@e36,695@gB500A@s48@mZM@b3000@v@a2@Gyl200@w-"
            "90@l2000@w0@Yd6d@x175;175@e25,1@Xd5@x0@PfREE@C"},
        FabricCorrection{"Length", [](Fabric& fabric, Drawing&) { fabric.length = 6000; },
                         "BFMA@HjT@r417@ia@p1@l6000@n10@e36,695@gB500A@s48@mZM@b3000@v@a1@Gyl200@w-"
                         "90@l2000@w0@C"},
        FabricCorrection{"Width", [](Fabric& fabric, Drawing&) { fabric.width = 2900; },
                         "BFMA@HjT@r417@ia@p1@l5000@n10@e36,695@gB500A@s48@mZM@b2900@v@a1@Gyl200@w-"
                         "90@l2000@w0@C"},
        FabricCorrection{"Type", [](Fabric& fabric, Drawing&) { fabric.type_name = "Q1"; },
                         "BFMA@HjT@r417@ia@p1@l5000@n10@e36,695@gB500A@s48@mQ1@b3000@v@a1@Gyl200@w-"
                         "90@l2000@w0@C"},
        FabricCorrection{
            "Shape", [](Fabric& fabric, Drawing&) { fabric.geometry->objects[0].length.set(250); },
            "BFMA@HjT@r417@ia@p1@l5000@n10@e36,695@gB500A@s48@mZM@b3000@v@a1@Gyl250@w-"
            "90@l2000@w0@C"},
        FabricCorrection{
            "BentBars",
            [](Fabric& fabric, Drawing&) { text_at(fabric.properties, "bent_bars") = "x"; },
            "BFMA@HjT@r417@ia@p1@l5000@n10@e36,695@gB500A@s48@mZM@b3000@v@a1@Gxl200@w-"
            "90@l2000@w0@C"},
        FabricCorrection{"NoShape", [](Fabric& fabric, Drawing&) { fabric.geometry.reset(); },
                         "BFMA@HjT@r417@ia@p1@l5000@n10@e36,695@gB500A@s48@mZM@b3000@v@a1@C"}),
    [](const auto& correction) { return correction.param.name; });

constexpr const char* kSpacer = "BFAU@HjT@r417@ia@p1@l2000@n5@e4,5@mDS16@h160@a1@Ppriv@C";

using SpacerCorrection = Correction<BarSpacer>;
class CorrectedBarSpacer : public testing::TestWithParam<SpacerCorrection> {};

TEST_P(CorrectedBarSpacer, SaysTheNewValueAndKeepsWhatIsStillTrue) {
  BarSpacerLine line = spacer_of(kSpacer);
  ASSERT_EQ(write_bar_spacer(line.item, line.drawing).line, with_checksum(kSpacer));
  GetParam().change(line.item, line.drawing);
  EXPECT_EQ(write_bar_spacer(line.item, line.drawing).line, with_checksum(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(
    Fields, CorrectedBarSpacer,
    testing::Values(
        SpacerCorrection{"Project", [](BarSpacer&, Drawing& drawing) { drawing.project = "U"; },
                         "BFAU@HjU@r417@ia@p1@l2000@n5@e4,5@mDS16@h160@a1@Ppriv@C"},
        SpacerCorrection{"Sheet", [](BarSpacer&, Drawing& drawing) { drawing.sheet = "U"; },
                         "BFAU@HjT@rU@ia@p1@l2000@n5@e4,5@mDS16@h160@a1@Ppriv@C"},
        SpacerCorrection{"Revision", [](BarSpacer&, Drawing& drawing) { drawing.revision = "U"; },
                         "BFAU@HjT@r417@iU@p1@l2000@n5@e4,5@mDS16@h160@a1@Ppriv@C"},
        SpacerCorrection{"Mark", [](BarSpacer& spacer, Drawing&) { spacer.mark = "U"; },
                         "BFAU@HjT@r417@ia@pU@l2000@n5@e4,5@mDS16@h160@a1@Ppriv@C"},
        SpacerCorrection{"Pieces", [](BarSpacer& spacer, Drawing&) { spacer.quantity = 6; },
                         "BFAU@HjT@r417@ia@p1@l2000@n6@e4,5@mDS16@h160@a1@Ppriv@C"},
        SpacerCorrection{"Weight", [](BarSpacer& spacer, Drawing&) { spacer.weight_per_piece = 5; },
                         "BFAU@HjT@r417@ia@p1@l2000@n5@e5@mDS16@h160@a1@Ppriv@C"},
        SpacerCorrection{"Layer",
                         [](BarSpacer& spacer, Drawing&) { spacer.properties.erase("layer"); },
                         "BFAU@HjT@r417@ia@p1@l2000@n5@e4,5@mDS16@h160@Ppriv@C"},
        SpacerCorrection{"Length", [](BarSpacer& spacer, Drawing&) { spacer.length = 1; },
                         "BFAU@HjT@r417@ia@p1@l1@n5@e4,5@mDS16@h160@a1@C"},
        SpacerCorrection{"Name", [](BarSpacer& spacer, Drawing&) { spacer.name = "U"; },
                         "BFAU@HjT@r417@ia@p1@l2000@n5@e4,5@mU@h160@a1@C"},
        SpacerCorrection{
            "Height",
            [](BarSpacer& spacer, Drawing&) { text_at(spacer.properties, "height") = "170"; },
            "BFAU@HjT@r417@ia@p1@l2000@n5@e4,5@mDS16@h170@a1@C"}),
    [](const auto& correction) { return correction.param.name; });

TEST(CorrectedLine, TheSteelOfABarSpacerIsNobodys) {
  BarSpacerLine line = spacer_of(kSpacer);
  line.drawing.steel = "B500B";
  EXPECT_EQ(write_bar_spacer(line.item, line.drawing).line, with_checksum(kSpacer));
}

TEST(CorrectedLine, AWeightOfAllPiecesBecomesThatOfOne) {
  BarLine line = bar_of("BF2D@Hp1@l1000@n10@e8.88@d12@Gl1000@w0@C");
  line.item.mark = "2";
  EXPECT_EQ(write_bar(line.item, line.drawing).line,
            with_checksum("BF2D@Hp2@l1000@n10@e0.8880000000000001@d12@Gl1000@w0@C"));
}

TEST(CorrectedLine, FieldsThatItLacksComeToTheirPlaces) {
  BarLine line = bar_of("BF2D@Hp1@l5@n1@d12@a1@Gl5@w0@C");
  line.item.bar_type_mass_per_length = 0.8;
  line.item.standard_bend_diameter = 48;
  line.item.properties["stagger_step"].value_string.set("3");
  line.drawing.sheet = "417";
  EXPECT_EQ(write_bar(line.item, line.drawing).line,
            with_checksum("BF2D@Hr417@p1@l5@n1@e0.004@d12@s48@a1@t3@Gl5@w0@C"));
}

TEST(CorrectedLine, AFieldOrBlockThatIsThereTwiceIsThereOnce) {
  BarLine line = bar_of("BF2D@Hp1@l5@n1@d12@p2@Gl5@w0@Gl7@w0@MaA@MaB@Hp3@C");
  line.item.total_bars = 2;
  line.item.total_length = 10;
  EXPECT_EQ(write_bar(line.item, line.drawing).line,
            with_checksum("BF2D@Hp1@l5@n2@d12@Gl5@w0@MaA@C"));
}

TEST(CorrectedLine, SpacerPositionsStayWithTheirBar) {
  BarLine line = bar_of("BF2D@Hp1@l1334@n1@d10@gIV@s40@a1@At6@p140@p667@C");
  line.item.total_bars = 2;
  line.item.total_length *= 2;
  EXPECT_EQ(write_bar(line.item, line.drawing).line,
            with_checksum("BF2D@Hp1@l1334@n2@d10@gIV@s40@a1@At6@p140@p667@C"));
  line.item.total_length += 2;
  EXPECT_EQ(write_bar(line.item, line.drawing).refusal,
            "mark 1: no geometry, and the format needs one");
}

TEST(CorrectedLine, BecomesTheImportedOneWhenItIsCorrectedBack) {
  BarLine line = bar_of(kBar);
  line.item.total_bars = 3;
  line.item.total_bars = 2;
  EXPECT_EQ(write_bar(line.item, line.drawing).line, with_checksum(kBar));
}

TEST(CorrectedLine, ASourceThatIsAnotherKindOfRecordOrNoneIsNotUsed) {
  const std::string expected = write_bar(plain_bar(), drawing()).line;
  for (const std::string& source :
       {std::string("free text"), with_checksum(kFabric), with_checksum("BF2D@Hp1@C"),
        with_checksum("BFGT@Hp1@C"), std::string("BF2D@Hp1@l5@n1@d12@\xFF@C65@"),
        std::string("BF2D@Hp漢@C65@"), with_checksum("BF2D@Hj@p7@l1500@n10@d12@\nGl400@w0@C")}) {
    Rebar bar = plain_bar();
    bar.properties["bvbs"].value_string.set(source);
    EXPECT_EQ(write_bar(bar, drawing()).line, expected) << source;
  }
}

// What the format cannot say.

struct BarRefusal {
  const char* name;
  std::function<void(Rebar&)> change;
  const char* text;
};

class RefusedBar : public testing::TestWithParam<BarRefusal> {};

TEST_P(RefusedBar, IsNamedWithTheReason) {
  Rebar bar = plain_bar();
  GetParam().change(bar);
  const WrittenLine written = write_bar(bar, drawing());
  EXPECT_EQ(written.refusal, GetParam().text);
  EXPECT_EQ(written.line, "");
}

constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();

INSTANTIATE_TEST_SUITE_P(
    Bars, RefusedBar,
    testing::Values(
        BarRefusal{"NoGeometry", [](Rebar& bar) { bar.geometry = {}; },
                   "mark 7: no geometry, and the format needs one"},
        BarRefusal{"NoGeometryAndNoMark",
                   [](Rebar& bar) {
                     bar.geometry = {};
                     bar.mark.clear();
                   },
                   "a line without a mark: no geometry, and the format needs one"},
        BarRefusal{"NoPieces", [](Rebar& bar) { bar.total_bars = 0; },
                   "mark 7: no pieces, and the format needs a number of them"},
        BarRefusal{"NoLength", [](Rebar& bar) { bar.total_length = 0; },
                   "mark 7: no total length, and the format needs the length of a piece"},
        BarRefusal{"NoDiameter", [](Rebar& bar) { bar.bar_diameter = 0; },
                   "mark 7: no bar diameter, and the format needs one"},
        BarRefusal{"LengthNotANumber", [](Rebar& bar) { bar.total_length = kNotANumber; },
                   "mark 7: its total length is not a finite number"},
        BarRefusal{"MassNotANumber", [](Rebar& bar) { bar.bar_type_mass_per_length = kNotANumber; },
                   "mark 7: its mass per length is not a finite number"},
        BarRefusal{"WeightOutOfRange",
                   [](Rebar& bar) {
                     bar.total_length = 1e300;
                     bar.bar_type_mass_per_length = 1e300;
                   },
                   "mark 7: its weight is not a finite number"},
        BarRefusal{"BendDiameterNotANumber",
                   [](Rebar& bar) { bar.standard_bend_diameter = kNotANumber; },
                   "mark 7: its standard bend diameter is not a finite number"},
        BarRefusal{"LegNotANumber",
                   [](Rebar& bar) { bar.geometry.objects[1].length.set(kNotANumber); },
                   "mark 7: the length of piece 2 is not a finite number"},
        BarRefusal{"PointNotANumber",
                   [](Rebar& bar) {
                     bar.geometry = {{}, {{0, 0, 0}, {kNotANumber, 0, 0}}};
                   },
                   "mark 7: its points are not finite numbers, or too far apart"},
        BarRefusal{"LegWithoutLength", [](Rebar& bar) { bar.geometry.objects[1].length.reset(); },
                   "mark 7: piece 2 has no length"},
        BarRefusal{"ArcWithoutRadius",
                   [](Rebar& bar) { bar.geometry.objects[1].type = GeometryObjectType::kArc; },
                   "mark 7: piece 2 has no radius"},
        BarRefusal{"ArcWithoutAngle",
                   [](Rebar& bar) {
                     bar.geometry.objects[1].type = GeometryObjectType::kArc;
                     bar.geometry.objects[1].radius.set(5);
                     bar.geometry.objects[1].angle.reset();
                   },
                   "mark 7: piece 2 has no angle"},
        BarRefusal{"KinkFirst",
                   [](Rebar& bar) { bar.geometry.objects[0].type = GeometryObjectType::kKink; },
                   "mark 7: piece 1 is a kink for which the format has no place"},
        BarRefusal{"KinkAfterABend",
                   [](Rebar& bar) { bar.geometry.objects[1].type = GeometryObjectType::kKink; },
                   "mark 7: piece 2 is a kink for which the format has no place"},
        BarRefusal{"KinkWithoutAngle",
                   [](Rebar& bar) {
                     bar.geometry.objects[0].angle.reset();
                     bar.geometry.objects[1] = {};
                     bar.geometry.objects[1].type = GeometryObjectType::kKink;
                   },
                   "mark 7: piece 2 has no angle"},
        BarRefusal{"PieceOfUnknownType",
                   [](Rebar& bar) { bar.geometry.objects[0].type = GeometryObjectType{9}; },
                   "mark 7: piece 1 is of a kind for which the format has no place"},
        BarRefusal{
            "Pitch", [](Rebar& bar) { bar.properties["pitch"].value_string.set("close"); },
            "mark 7: its property \"pitch\" is not turns and pitches such as 6 x 100, 12 x 200"},
        BarRefusal{"PitchWithoutLegs",
                   [](Rebar& bar) {
                     bar.geometry.objects.clear();
                     bar.properties["pitch"].value_string.set("6 x 100");
                   },
                   "mark 7: turns and pitches without the legs of their cross-section"},
        BarRefusal{"DotInAStaggeredSet",
                   [](Rebar& bar) {
                     bar.mark = "7.1";
                     bar.submark.set("2");
                   },
                   "mark 7.1: its mark has a dot, after which a staggered set has its submark"},
        BarRefusal{"AtInMark", [](Rebar& bar) { bar.mark = "7@B"; },
                   "mark 7@B: its mark has an @, which ends a field of the format"},
        BarRefusal{"LineBreakInLayer",
                   [](Rebar& bar) { bar.properties["layer"].value_string.set("1\r\n2"); },
                   "mark 7: its property \"layer\" has a control character"},
        BarRefusal{"LetterBeyondWindows1252",
                   [](Rebar& bar) { bar.end_treatment_start.set().model = "漢"; },
                   "mark 7: its end treatment's model has letters that Windows-1252 lacks"}),
    [](const auto& refusal) { return refusal.param.name; });

TEST(RefusedFabric, IsNamedWithTheReason) {
  const auto refusal = [](std::function<void(Fabric&)> change) {
    FabricLine line = fabric_of(kFabric);
    change(line.item);
    return write_fabric(line.item, line.drawing).refusal;
  };
  EXPECT_EQ(refusal([](Fabric& fabric) { fabric.width = 0; }),
            "mark 1: no width, and the format needs one");
  EXPECT_EQ(refusal([](Fabric& fabric) { fabric.length = -5; }),
            "mark 1: no length, and the format needs one");
  EXPECT_EQ(refusal([](Fabric& fabric) { fabric.total_fabrics = 0; }),
            "mark 1: no pieces, and the format needs a number of them");
  EXPECT_EQ(refusal([](Fabric& fabric) { text_at(fabric.properties, "bent_bars") = "both"; }),
            "mark 1: its property \"bent_bars\" is \"both\", expected x or y");
  EXPECT_EQ(refusal([](Fabric& fabric) {
              fabric.geometry.set() = {{}, {{0, 0, 0}}};
            }),
            "mark 1: its shape is given by points alone, and the format needs legs");
}

TEST(RefusedBarSpacer, IsNamedWithTheReason) {
  BarSpacerLine line = spacer_of(kSpacer);
  line.item.length = 0;
  EXPECT_EQ(write_bar_spacer(line.item, line.drawing).refusal,
            "mark 1: no length, and the format needs one");
}

}  // namespace
}  // namespace korvane::schedule::bvbs
