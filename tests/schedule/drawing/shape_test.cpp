#include "schedule/drawing/shape.h"

#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace korvane::schedule::drawing {
namespace {

using model::cad::EndTreatment;
using model::cad::Fabric;
using model::cad::GeometryLabelType;
using model::cad::GeometryObject;
using model::cad::GeometryObjectType;
using model::cad::Hook;
using model::cad::HookDirection;
using model::cad::Rebar;
using ::testing::ElementsAre;

GeometryObject line(double length, double angle = 0) {
  GeometryObject piece;
  piece.length.set(length);
  piece.angle.set(angle);
  return piece;
}

GeometryObject arc(double radius, double angle) {
  GeometryObject piece;
  piece.type = GeometryObjectType::kArc;
  piece.radius.set(radius);
  piece.angle.set(angle);
  return piece;
}

GeometryObject kink(double angle) {
  GeometryObject piece;
  piece.type = GeometryObjectType::kKink;
  piece.angle.set(angle);
  return piece;
}

Rebar bar_with(std::vector<GeometryObject> pieces) {
  Rebar rebar;
  rebar.bar_diameter = 12;
  rebar.standard_bend_diameter = 48;
  rebar.geometry.objects = std::move(pieces);
  return rebar;
}

Hook hook(double length, double angle, HookDirection direction = HookDirection::kLeft) {
  Hook result;
  result.length = length;
  result.angle = angle;
  result.direction = direction;
  return result;
}

std::vector<double> bends_of(const Shape& shape) {
  std::vector<double> bends;
  for (const Leg& leg : shape.legs) bends.push_back(leg.bend);
  return bends;
}

std::vector<double> lengths_of(const Shape& shape) {
  std::vector<double> lengths;
  for (const Leg& leg : shape.legs) lengths.push_back(leg.length);
  return lengths;
}

TEST(ShapeOfBar, HasTheLegsOfItsPiecesWithTheBendsAfterThem) {
  const Shape shape = shape_of(bar_with({line(400, 90), line(600)}));
  EXPECT_EQ(shape.kind, Shape::Kind::flat);
  EXPECT_THAT(lengths_of(shape), ElementsAre(400, 600));
  EXPECT_THAT(bends_of(shape), ElementsAre(90, 0));
  EXPECT_EQ(shape.legs[0].label, "400");
  EXPECT_EQ(shape.bar_diameter, 12);
  EXPECT_EQ(shape.bend_diameter, 48);
}

TEST(ShapeOfBar, TakesTheBendFromAKinkBetweenPieces) {
  EXPECT_THAT(bends_of(shape_of(bar_with({line(400), kink(-45), line(600)}))), ElementsAre(-45, 0));
}

TEST(ShapeOfBar, LabelsAnArcWithRadiusAndOpening) {
  const Shape shape = shape_of(bar_with({line(400), arc(250, -90), kink(30), line(300)}));
  EXPECT_EQ(shape.legs[1].kind, Leg::Kind::arc);
  EXPECT_EQ(shape.legs[1].radius, 250);
  EXPECT_EQ(shape.legs[1].opening, -90);
  EXPECT_EQ(shape.legs[1].bend, 30);
  EXPECT_EQ(shape.legs[1].label, "R250 90°");
}

TEST(ShapeOfBar, PrintsTheClientsLabels) {
  GeometryObject piece = line(400, 45);
  piece.labels = {{GeometryLabelType::Length, "L1"}, {GeometryLabelType::Angle, "alpha"}};
  const Shape shape = shape_of(bar_with({piece, line(300)}));
  EXPECT_EQ(shape.legs[0].label, "L1");
  EXPECT_EQ(shape.legs[0].bend_label, "alpha");
}

TEST(ShapeOfBar, ShortensTheClientsLabels) {
  GeometryObject piece = line(400, 45);
  piece.labels = {{GeometryLabelType::Length, std::string(10'000'000, 'm')},
                  {GeometryLabelType::Angle, "a\xFF\nb"}};
  const Shape shape = shape_of(bar_with({piece, line(300)}));
  EXPECT_EQ(shape.legs[0].label, std::string(40, 'm') + "…");
  EXPECT_EQ(shape.legs[0].bend_label, "a\xEF\xBF\xBD b");
}

TEST(ShapeOfBar, TakesPointsThatHardlyDifferForOne) {
  Rebar item = bar_with({});
  item.geometry.polyline = {{0, 0, 0},        {0, 1e-200, 0}, {300, 0, 0},
                            {300, 5e-324, 0}, {300, 250, 0},  {300, 250, 400}};
  const Shape shape = shape_of(item);
  EXPECT_EQ(shape.kind, Shape::Kind::spatial);
  EXPECT_EQ(shape.points.size(), 4U);
}

TEST(ShapeOfBar, PrintsTheDisplayLengthWhereThereIsOne) {
  GeometryObject piece = line(402.37);
  piece.display_length.set(400.0);
  const Shape shape = shape_of(bar_with({piece}));
  EXPECT_EQ(shape.legs[0].length, 402.37);
  EXPECT_EQ(shape.legs[0].label, "400");
}

TEST(ShapeOfBar, LeavesOutPiecesWithoutALength) {
  EXPECT_THAT(
      lengths_of(shape_of(bar_with({line(400, 90), line(0), line(std::nan("")), line(-5),
                                    line(std::numeric_limits<double>::infinity()), line(300)}))),
      ElementsAre(400, 300));
}

TEST(ShapeOfBar, IsUnknownWithoutGeometryAndCode) {
  EXPECT_EQ(shape_of(bar_with({})).kind, Shape::Kind::unknown);
}

TEST(ShapeOfBar, ComesFromTheCodeWithoutGeometry) {
  Rebar rebar = bar_with({});
  rebar.shape_code.set("00");
  rebar.parameters_exact.a.set(1234.56);
  const Shape shape = shape_of(rebar);
  EXPECT_EQ(shape.kind, Shape::Kind::flat);
  EXPECT_THAT(lengths_of(shape), ElementsAre(1234.56));
  EXPECT_EQ(shape.code, "00");
}

TEST(ShapeOfBar, HasTheRoundedDimensionsOfItsCode) {
  Rebar rebar = bar_with({});
  rebar.shape_code.set("00");
  rebar.parameters_exact.a.set(1234.56);
  rebar.parameters_rounded.a.set(1235.0);
  EXPECT_THAT(lengths_of(shape_of(rebar)), ElementsAre(1235));
}

TEST(ShapeOfBar, KeepsACodeThatNobodyKnows) {
  Rebar rebar = bar_with({});
  rebar.shape_code.set("XYZ");
  const Shape shape = shape_of(rebar);
  EXPECT_EQ(shape.kind, Shape::Kind::unknown);
  EXPECT_EQ(shape.code, "XYZ");
}

TEST(ShapeOfBar, IsSpatialIfItsPointsAre) {
  Rebar rebar = bar_with({});
  rebar.geometry.polyline = {{0, 0, 0}, {300, 0, 0}, {300, 250, 0}, {300, 250, 400}};
  const Shape shape = shape_of(rebar);
  EXPECT_EQ(shape.kind, Shape::Kind::spatial);
  EXPECT_EQ(shape.points, rebar.geometry.polyline);
}

TEST(ShapeOfBar, LaysPointsOfAPlaneFlat) {
  Rebar rebar = bar_with({});
  rebar.geometry.polyline = {{0, 0, 5}, {400, 0, 5}, {400, 600, 5}, {100, 600, 5}};
  const Shape shape = shape_of(rebar);
  EXPECT_EQ(shape.kind, Shape::Kind::flat);
  EXPECT_THAT(lengths_of(shape), ElementsAre(400, 600, 300));
  EXPECT_THAT(bends_of(shape), ElementsAre(90, 90, 0));
}

TEST(ShapeOfBar, SeesAnUprightPlaneFromItsPositiveSide) {
  Rebar rebar = bar_with({});
  rebar.geometry.polyline = {{0, 0, 0}, {0, 400, 0}, {0, 400, 600}};
  EXPECT_THAT(bends_of(shape_of(rebar)), ElementsAre(90, 0));
  rebar.geometry.polyline = {{0, 0, 0}, {0, 400, 0}, {0, 400, -600}};
  EXPECT_THAT(bends_of(shape_of(rebar)), ElementsAre(-90, 0));
}

TEST(ShapeOfBar, TakesEqualPointsAsOne) {
  Rebar rebar = bar_with({});
  rebar.geometry.polyline = {{0, 0, 0}, {0, 0, 0}, {400, 0, 0}, {400, 0, 0}, {400, 600, 0}};
  EXPECT_THAT(lengths_of(shape_of(rebar)), ElementsAre(400, 600));
}

TEST(ShapeOfBar, DoesNotUsePointsThatAreNotFinite) {
  Rebar rebar = bar_with({});
  rebar.geometry.polyline = {{0, 0, 0}, {std::nan(""), 0, 0}, {400, 0, 0}};
  EXPECT_EQ(shape_of(rebar).kind, Shape::Kind::unknown);
}

TEST(ShapeOfBar, IsAHelixWithAPitch) {
  Rebar rebar = bar_with({arc(300, 360)});
  rebar.properties["pitch"].value_string.set("6 x 100, 12 x 200,5");
  const Shape shape = shape_of(rebar);
  EXPECT_EQ(shape.kind, Shape::Kind::helix);
  EXPECT_EQ(shape.legs[0].label, "R300");
  ASSERT_EQ(shape.turns.size(), 2U);
  EXPECT_EQ(shape.turns[0].count, 6);
  EXPECT_EQ(shape.turns[1].pitch, 200.5);
}

TEST(ShapeOfBar, IsFlatWithAPitchThatIsNone) {
  Rebar rebar = bar_with({arc(300, 360)});
  rebar.properties["pitch"].value_string.set("as drawn");
  EXPECT_EQ(shape_of(rebar).kind, Shape::Kind::flat);
}

TEST(ShapeOfBar, HasHooksAsLegsAtItsEnds) {
  Rebar rebar = bar_with({line(2000)});
  rebar.start_hook.set(hook(150, 90));
  rebar.end_hook.set(hook(120, 135, HookDirection::kRight));
  const Shape shape = shape_of(rebar);
  EXPECT_THAT(lengths_of(shape), ElementsAre(150, 2000, 120));
  EXPECT_THAT(bends_of(shape), ElementsAre(90, -135, 0));
}

TEST(ShapeOfBar, DoesNotRepeatHooksThatItsPiecesHave) {
  Rebar rebar = bar_with({line(150, 90), line(2000, -135), line(120)});
  rebar.start_hook.set(hook(150, 90));
  rebar.end_hook.set(hook(120, 135, HookDirection::kRight));
  const Shape shape = shape_of(rebar);
  EXPECT_THAT(lengths_of(shape), ElementsAre(150, 2000, 120));
}

TEST(ShapeOfBar, TakesTheTotalLengthOfAHookWithoutALength) {
  Rebar rebar = bar_with({line(2000)});
  rebar.end_hook.set(hook(0, 180));
  rebar.end_hook->total_length = 170;
  EXPECT_THAT(lengths_of(shape_of(rebar)), ElementsAre(2000, 170));
}

TEST(ShapeOfBar, LeavesOutAHookWithoutAnAngle) {
  Rebar rebar = bar_with({line(2000)});
  rebar.end_hook.set(hook(120, 0));
  EXPECT_THAT(lengths_of(shape_of(rebar)), ElementsAre(2000));
}

TEST(ShapeOfBar, NamesTheTreatmentOfItsEnds) {
  Rebar rebar = bar_with({line(2000)});
  rebar.end_treatment_start.set(
      EndTreatment{.type = "coupler", .manufacturer = "M", .model = "A12"});
  const Shape shape = shape_of(rebar);
  ASSERT_TRUE(shape.start);
  EXPECT_EQ(*shape.start, "coupler");
  EXPECT_FALSE(shape.end);
}

TEST(ShapeOfFabric, IsASheetOfItsLengthAndWidth) {
  Fabric fabric;
  fabric.length = 5000;
  fabric.width = 2150;
  const Shape shape = shape_of(fabric);
  EXPECT_EQ(shape.kind, Shape::Kind::sheet);
  EXPECT_EQ(shape.legs[0].label, "5000");
  EXPECT_EQ(shape.legs[1].label, "2150");
}

TEST(ShapeOfFabric, IsThatOfItsBentBars) {
  Fabric fabric;
  fabric.length = 5000;
  fabric.width = 2150;
  fabric.geometry.set({});
  fabric.geometry->objects = {line(200, 90), line(2000)};
  const Shape shape = shape_of(fabric);
  EXPECT_EQ(shape.kind, Shape::Kind::flat);
  EXPECT_THAT(lengths_of(shape), ElementsAre(200, 2000));
}

TEST(ShapeOfFabric, IsUnknownWithoutSizes) {
  EXPECT_EQ(shape_of(Fabric{}).kind, Shape::Kind::unknown);
}

}  // namespace
}  // namespace korvane::schedule::drawing
