#include "schedule/drawing/sketch.h"

#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "schedule/bvbs/lines.h"
#include "schedule/drawing/coded_shape.h"
#include "tests/schedule/drawing/coded_figures.h"
#include "tests/schedule/drawing/drawn.h"
#include "tests/schedule/drawing/random_shapes.h"
#include "tests/support/text_of.h"

namespace korvane::schedule::drawing {
namespace {

using ::testing::Contains;
using ::testing::DoubleNear;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

constexpr double kWidth = 60;
constexpr double kHeight = 24;

Picture sketch(const Shape& shape) { return sketch_of(shape, kWidth, kHeight); }

/// Of each record of the example files that is a bar or a fabric.
std::vector<std::pair<std::string, Shape>> example_shapes() {
  std::vector<std::pair<std::string, Shape>> shapes;
  for (const auto& file : std::filesystem::directory_iterator(KORVANE_EXAMPLES)) {
    const std::string text = test::text_of(file.path().string());
    bvbs::SourceLines lines(text);
    while (const auto line = lines.next()) {
      try {
        const bvbs::AnyLine read = bvbs::read_line(bvbs::parse_record(*line));
        if (const auto* bar = std::get_if<bvbs::BarLine>(&read)) {
          shapes.emplace_back(line->text, shape_of(bar->item));
        } else if (const auto* fabric = std::get_if<bvbs::FabricLine>(&read)) {
          shapes.emplace_back(line->text, shape_of(fabric->item));
        }
      } catch (const bvbs::RecordError&) {
        // The records of wrong checksums are among the examples.
      }
    }
  }
  return shapes;
}

Shape flat(std::vector<Leg> legs) {
  Shape shape;
  shape.kind = Shape::Kind::flat;
  shape.bar_diameter = 12;
  shape.bend_diameter = 48;
  for (Leg& leg : legs) {
    if (!leg.label && leg.kind == Leg::Kind::straight) leg.label = std::to_string(int(leg.length));
  }
  shape.legs = std::move(legs);
  return shape;
}

std::vector<std::string> texts_of(const Picture& picture) {
  std::vector<std::string> texts;
  for (const Text& text : picture.texts) texts.push_back(text.text);
  return texts;
}

TEST(Sketch, TurnsAsTheBarDoes) {
  const Shape shape = flat({{.length = 400, .bend = 90},
                            {.length = 600, .bend = -45},
                            {.length = 300, .bend = 135},
                            {.length = 500}});
  const Picture picture = sketch(shape);
  EXPECT_THAT(drawn_bends(bar_of(picture)),
              ElementsAre(DoubleNear(90, 0.1), DoubleNear(-45, 0.1), DoubleNear(135, 0.1)));
}

TEST(Sketch, TurnsAsTheBarDoesInAThousandShapes) {
  for (std::uint32_t seed = 0; seed < 1000; ++seed) {
    const Shape shape = random_shape(seed);
    double expected = 0;
    for (const Leg& leg : shape.legs) {
      expected += (leg.kind == Leg::Kind::arc ? leg.opening : 0) + leg.bend;
    }
    double drawn = 0;
    for (const double bend : drawn_bends(bar_of(sketch(shape)))) drawn += bend;
    EXPECT_NEAR(drawn, expected, 0.1) << "shape " << seed;
  }
}

TEST(Sketch, StatesEveryLengthAndTheAnglesThatAreNotRight) {
  const Shape shape = flat({{.length = 400, .bend = 90},
                            {.length = 600, .bend = -45.58},
                            {.length = 300, .bend = 180},
                            {.length = 100}});
  EXPECT_THAT(texts_of(sketch(shape)), UnorderedElementsAre("400", "600", "300", "100", "45.58°"));
}

TEST(Sketch, StatesTheRadiusOfACurvedLeg) {
  Shape shape = flat({{.kind = Leg::Kind::arc, .radius = 400, .opening = 90, .label = "R400 90°"},
                      {.length = 300}});
  EXPECT_THAT(texts_of(sketch(shape)), UnorderedElementsAre("R400 90°", "300"));
}

TEST(Sketch, ShowsShortLegsBesideLongOnes) {
  const Picture picture =
      sketch(flat({{.length = 50, .bend = 90}, {.length = 12000, .bend = 90}, {.length = 50}}));
  const std::vector<Point> points = flattened(bar_of(picture));
  const Point way = points[1] - points[0];
  EXPECT_GT(std::hypot(way.x, way.y), 3);
}

TEST(Sketch, StaysWithinItsField) {
  for (std::uint32_t seed = 0; seed < 200; ++seed) {
    for (const Stroke& stroke : sketch(random_shape(seed)).strokes) {
      for (const Point point : flattened(stroke)) {
        EXPECT_GE(point.x, 0) << seed;
        EXPECT_GE(point.y, 0) << seed;
        EXPECT_LE(point.x, kWidth) << seed;
        EXPECT_LE(point.y, kHeight) << seed;
      }
    }
  }
}

TEST(Sketch, DrawsACouplerAndAThreadAtTheirEnds) {
  Shape shape = flat({{.length = 1000}});
  const std::size_t plain = sketch(shape).strokes.size();
  shape.start = "coupler";
  const Picture coupled = sketch(shape);
  ASSERT_EQ(coupled.strokes.size(), plain + 1);
  EXPECT_TRUE(coupled.strokes.back().is_filled);
  const double start = flattened(bar_of(coupled)).front().x;
  for (const Point point : flattened(coupled.strokes.back())) EXPECT_NEAR(point.x, start, 2);
  shape.end = "thread";
  EXPECT_EQ(sketch(shape).strokes.size(), plain + 5);
}

TEST(Sketch, DrawsAnyOtherTreatmentAsABox) {
  Shape shape = flat({{.length = 1000}});
  shape.end = "welded";
  const Picture picture = sketch(shape);
  EXPECT_EQ(picture.strokes.back().path.size(), 5U);
  EXPECT_FALSE(picture.strokes.back().is_filled);
}

TEST(Sketch, MovesLegsApartThatLieOnEachOther) {
  const Shape stirrup = flat({{.length = 120, .bend = 90},
                              {.length = 200, .bend = 90},
                              {.length = 400, .bend = 90},
                              {.length = 200, .bend = 90},
                              {.length = 400, .bend = 90},
                              {.length = 120}});
  const std::vector<Point> points = flattened(bar_of(sketch(stirrup)));
  // The first leg and the fifth, which lie on each other in the bar, are horizontal or vertical.
  const Point first = (points[0] + points[1]) * 0.5;
  const std::size_t last = points.size() - 1;
  double least = HUGE_VAL;
  for (std::size_t i = last / 2; i <= last; ++i) {
    least = std::min(least, std::hypot(points[i].x - first.x, points[i].y - first.y));
  }
  EXPECT_GT(least, 1);
}

TEST(Sketch, DrawsASpatialBarWithItsAxesAndLengths) {
  Shape shape;
  shape.kind = Shape::Kind::spatial;
  shape.points = {{0, 0, 0}, {300, 0, 0}, {300, 250, 0}, {300, 250, 400}};
  const Picture picture = sketch(shape);
  EXPECT_THAT(texts_of(picture), UnorderedElementsAre("x", "y", "z", "300", "250", "400"));
  EXPECT_TRUE(covering_texts(picture).empty());
}

TEST(Sketch, StatesHowFarALegAcrossTheAxesGoesAlongEach) {
  Shape shape;
  shape.kind = Shape::Kind::spatial;
  shape.points = {{0, 0, 0}, {300, 0, 0}, {300, 250, 0}, {330, 250, 40}};
  EXPECT_THAT(texts_of(sketch(shape)), Contains("50 (30, 0, 40)"));
}

TEST(Sketch, DrawsAHelixWithItsSectionAndEachPitch) {
  Shape shape = flat({{.kind = Leg::Kind::arc, .radius = 300, .opening = 360, .label = "R300"}});
  shape.kind = Shape::Kind::helix;
  shape.turns = {{6, 100}, {12, 200}};
  EXPECT_THAT(texts_of(sketch(shape)), UnorderedElementsAre("R300", "6 × 100", "12 × 200"));
}

TEST(Sketch, DrawsDimensionsAcrossACrankedBar) {
  Shape shape = flat(
      {{.length = 500, .bend = 30}, {.length = 200, .bend = -30, .label = ""}, {.length = 600}});
  shape.spans.push_back({1, 2, 0, true, "100"});
  const Picture picture = sketch(shape);
  EXPECT_THAT(texts_of(picture), Contains("100"));
  EXPECT_TRUE(covering_texts(picture).empty());
}

TEST(Sketch, IsAnEmptyFrameWithTheCodeOfAnUnknownShape) {
  Shape shape;
  shape.code = "99";
  const Picture picture = sketch(shape);
  EXPECT_THAT(texts_of(picture), ElementsAre("99"));
  ASSERT_EQ(picture.strokes.size(), 1U);
  EXPECT_TRUE(picture.strokes[0].is_dashed);
}

TEST(Sketch, ShortensACodeThatIsNone) {
  Shape shape;
  shape.code = std::string(10'000'000, 'm');
  const Picture picture = sketch(shape);
  EXPECT_THAT(texts_of(picture), ElementsAre(std::string(40, 'm') + "…"));
  EXPECT_TRUE(covering_texts(picture).empty());
}

TEST(Sketch, KeepsASpatialBarInASmallField) {
  Shape shape;
  shape.kind = Shape::Kind::spatial;
  shape.points = {{0, 0, 0}, {300, 0, 0}, {300, 250, 0}, {300, 250, 400}};
  const Point usual = flattened(bar_of(sketch_of(shape, 60, 24))).front();
  const Point usual_end = flattened(bar_of(sketch_of(shape, 60, 24))).back();
  for (const double size : {10.0, 12.0, 17.0, 19.0}) {
    const std::vector<Point> bar = flattened(bar_of(sketch_of(shape, size, size)));
    for (const Point point : bar) {
      EXPECT_TRUE(point.x >= 0 && point.x <= size && point.y >= 0 && point.y <= size) << size;
    }
    // Not turned about.
    EXPECT_EQ(bar.front().x < bar.back().x, usual.x < usual_end.x) << size;
    EXPECT_EQ(bar.front().y < bar.back().y, usual.y < usual_end.y) << size;
  }
}

TEST(Sketch, LabelsEachLegAndBendOfAGreatTangle) {
  std::vector<Leg> legs;
  for (int i = 0; i < 40; ++i) {
    legs.push_back({.kind = Leg::Kind::arc,
                    .radius = 100.0 + 20 * i,
                    .opening = 720,
                    .bend = i % 2 == 0 ? 30.0 : -30.0,
                    .label = "R" + std::to_string(i)});
  }
  EXPECT_EQ(sketch_of(flat(legs), 500, 500).texts.size(), 40U + 39U);
}

TEST(Sketch, SaysHowManyPiecesAreTooMany) {
  EXPECT_THAT(texts_of(sketch(flat(std::vector<Leg>(100'000, Leg{.length = 1, .bend = 10})))),
              ElementsAre("100000 pieces"));
}

TEST(Sketch, IsAnEmptyFrameForTurnsWithoutEnd) {
  Shape shape = flat({{.length = 100, .bend = 1e300}, {.length = 100}});
  shape.code = "11";
  EXPECT_THAT(texts_of(sketch(shape)), ElementsAre("11"));
}

TEST(Sketch, DrawsLengthsFromMicrometresToKilometres) {
  for (const double one : {0.001, 1.0, 1e6, 1e9}) {
    for (const double other : {0.001, 1e9}) {
      const Picture picture = sketch(
          flat({{.length = one, .bend = 90, .label = "a"}, {.length = other, .label = "b"}}));
      for (const Point point : flattened(bar_of(picture))) {
        EXPECT_TRUE(point.x >= 0 && point.x <= kWidth) << one << ' ' << other;
        EXPECT_TRUE(point.y >= 0 && point.y <= kHeight) << one << ' ' << other;
      }
    }
  }
}

TEST(Sketch, IsAnEmptyFrameForSizesThatNoBarHas) {
  for (const double size : {5e-324, 1e-300, 1e300, 1.7e308}) {
    EXPECT_EQ(sketch(flat({{.length = size, .label = "a"}})).texts.size(), 0U) << size;
    Shape spatial;
    spatial.kind = Shape::Kind::spatial;
    spatial.points = {{0, 0, 0}, {size, 1e300, 0}, {0, size, 3}, {1, 1, 1}};
    EXPECT_EQ(sketch(spatial).texts.size(), 0U) << size;
  }
}

TEST(Sketch, IsAnEmptyFrameForAnArcOfNoLength) {
  for (const double opening : {5e-324, -1e-300, 1e-9}) {
    const Leg arc{.kind = Leg::Kind::arc, .radius = 300, .opening = opening, .label = "a"};
    EXPECT_EQ(sketch(flat({arc})).texts.size(), 0U) << opening;
  }
}

TEST(Sketch, IsAnEmptyFrameForPointsOfASpatialBarThatAreOne) {
  Shape shape;
  shape.kind = Shape::Kind::spatial;
  shape.points = {{0, 0, 0}, {300, 0, 0}, {300, 1e-200, 0}, {300, 250, 0}, {300, 250, 400}};
  EXPECT_EQ(sketch(shape).texts.size(), 0U);
}

TEST(Sketch, LetsNoLabelOfTheExamplesCoverALine) {
  const auto shapes = example_shapes();
  ASSERT_EQ(shapes.size(), 39U);
  for (const auto& [line, shape] : shapes) {
    EXPECT_EQ(covering_texts(sketch(shape)).size(), 0U) << line;
  }
}

TEST(Sketch, LetsNoLabelOfTheShapeCodesCoverALine) {
  const auto figures = coded_figures();
  ASSERT_GT(figures.size(), 30U);
  for (const auto& [code, shape] : figures) {
    EXPECT_EQ(covering_texts(sketch(shape)).size(), 0U) << code;
  }
}

TEST(Sketch, DrawsTheHelixAndTheSpatialBarOfTheCodes) {
  model::cad::RebarParams letters;
  letters.a.set(600);
  letters.b.set(100);
  letters.c.set(12);
  EXPECT_THAT(texts_of(sketch(*shape_of_code("77", letters, 10, 40))),
              UnorderedElementsAre("Ø600", "12 × 100"));
  letters.c.set(400);
  letters.d.set(250);
  EXPECT_THAT(texts_of(sketch(*shape_of_code("98", letters, 10, 40))),
              UnorderedElementsAre("x", "y", "z", "400", "100", "600", "100", "250"));
}

TEST(Sketch, HasACodedBarInThePositionOfItsFigure) {
  model::cad::RebarParams letters;
  letters.a.set(400);
  letters.b.set(900);
  letters.c.set(350);
  // A U: down, to the right, up.
  const std::vector<Point> points =
      flattened(bar_of(sketch(*shape_of_code("21", letters, 10, 40))));
  EXPECT_LT(points.front().x, points.back().x);
  EXPECT_LT(points[0].y, points[1].y);
  EXPECT_GT(points[points.size() - 2].y, points.back().y);
}

TEST(Sketch, LetsNoLabelOfAThousandShapesCoverALine) {
  int count = 0;
  for (std::uint32_t seed = 0; seed < 1000; ++seed) {
    const std::size_t covering = covering_texts(sketch(random_shape(seed))).size();
    if (covering != 0) std::cout << "shape " << seed << ": " << covering << '\n';
    count += static_cast<int>(covering);
  }
  EXPECT_EQ(count, 0);
}

}  // namespace
}  // namespace korvane::schedule::drawing
