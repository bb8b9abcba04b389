#include "schedule/drawing/track.h"

#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "schedule/drawing/figure.h"
#include "tests/schedule/drawing/random_shapes.h"

namespace korvane::schedule::drawing {
namespace {

void expect_near(Point point, Point expected, double tolerance = 1e-6) {
  EXPECT_NEAR(point.x, expected.x, tolerance);
  EXPECT_NEAR(point.y, expected.y, tolerance);
}

Shape angle_bar(double first, double bend, double second) {
  Shape shape;
  shape.kind = Shape::Kind::flat;
  shape.bar_diameter = 12;
  shape.bend_diameter = 48;
  shape.legs = {{.length = first, .bend = bend}, {.length = second}};
  return shape;
}

std::vector<TrackPiece> true_track(const Shape& shape) {
  return track_of(shape.legs, true_sizes(shape));
}

TEST(Track, EndsWhereTheLegsLead) {
  const auto track = true_track(angle_bar(400, 90, 600));
  expect_near(track.front().from, {0, 0});
  expect_near(track.back().to, {400, 600});
}

TEST(Track, TurnsRightForANegativeBend) {
  expect_near(true_track(angle_bar(400, -90, 600)).back().to, {400, -600});
}

TEST(Track, LeadsAwayUnderTheAngleOfTheBend) {
  const auto track = true_track(angle_bar(400, 45, 600));
  expect_near(track.back().to, {400 + 600 * std::sqrt(0.5), 600 * std::sqrt(0.5)});
}

TEST(Track, GoesBackBesideItselfAfterABendOf180) {
  const auto track = true_track(angle_bar(600, 180, 100));
  // The bar's middle lines lie as far apart as the mandrel and the bar are thick; both legs reach
  // to where the bend begins.
  expect_near(track.back().to, {600 - 100, 60});
}

TEST(Track, HasItsCornersWhereTheLegsMeet) {
  const std::vector<Point> corners = corners_of(true_track(angle_bar(400, 90, 600)));
  ASSERT_EQ(corners.size(), 3U);
  expect_near(corners[1], {400, 0});
}

TEST(Track, FollowsAnArcOfTheMiddleOfTheBar) {
  Shape shape = angle_bar(100, 0, 200);
  shape.legs.insert(shape.legs.begin() + 1, {.kind = Leg::Kind::arc, .radius = 394, .opening = 90});
  const auto track = true_track(shape);
  expect_near(track[1].to, {100 + 400, 400});
  expect_near(track.back().to, {100 + 400, 400 + 200});
}

TEST(Figure, KeepsTheOrderOfLengths) {
  Shape shape = angle_bar(50, 90, 6000);
  shape.legs.back().bend = 90;
  shape.legs.push_back({.length = 51});
  const auto figure = figure_of(shape, 50, 18);
  std::vector<double> lengths;
  for (const TrackPiece& piece : figure) {
    if (!piece.is_arc) {
      lengths.push_back(std::hypot(piece.to.x - piece.from.x, piece.to.y - piece.from.y));
    }
  }
  ASSERT_EQ(lengths.size(), 3U);
  EXPECT_LT(lengths[0], lengths[2]);
  EXPECT_LT(lengths[2], lengths[1]);
}

TEST(Figure, HasTheLongestLegLyingAndIsOpenUpwards) {
  const auto figure = figure_of(angle_bar(400, 90, 1000), 50, 18);
  EXPECT_NEAR(figure.back().from.y, figure.back().to.y, 1e-9);
  EXPECT_GT(figure.front().from.y, figure.back().to.y);
}

TEST(Figure, CrossesItselfAsTheBarDoesInNearlyAllShapes) {
  int with_crossings = 0;
  int other = 0;
  for (std::uint32_t seed = 0; seed < 1000; ++seed) {
    const Shape shape = random_shape(seed);
    const auto crossings = crossings_of(true_track(shape));
    with_crossings += crossings.empty() ? 0 : 1;
    other += crossings_of(figure_of(shape, 45, 18)) == crossings ? 0 : 1;
  }
  EXPECT_GT(with_crossings, 50);
  // Bends that are larger on paper than on the bar can move a leg over another one.
  EXPECT_LE(other, 10);
}

}  // namespace
}  // namespace korvane::schedule::drawing
