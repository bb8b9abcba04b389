#include "schedule/drawing/path.h"

#include <cmath>
#include <vector>

#include <gtest/gtest.h>

namespace korvane::schedule::drawing {
namespace {

using model::geometry::Point3d;

void expect_near(const Point3d& point, const Point3d& expected) {
  EXPECT_NEAR(point.x, expected.x, 1e-6);
  EXPECT_NEAR(point.y, expected.y, 1e-6);
  EXPECT_NEAR(point.z, expected.z, 1e-6);
}

Shape flat_bar(std::vector<Leg> legs) {
  Shape shape;
  shape.kind = Shape::Kind::flat;
  shape.bar_diameter = 10;
  shape.bend_diameter = 40;
  shape.legs = std::move(legs);
  return shape;
}

/// Rings with an inner radius of 95 of a bar 10 thick.
Shape helix(std::vector<Turns> turns) {
  Shape shape = flat_bar({{.kind = Leg::Kind::arc, .radius = 95, .opening = 360}});
  shape.kind = Shape::Kind::helix;
  shape.turns = std::move(turns);
  return shape;
}

TEST(Path, FollowsAFlatBarWithItsBends) {
  const std::vector<Point3d> path =
      path_of(flat_bar({{.length = 400, .bend = 90}, {.length = 600}}));
  expect_near(path.front(), {0, 0, 0});
  expect_near(path.back(), {400, 600, 0});
  ASSERT_GT(path.size(), 5U);
  // The bend about a mandrel of 40 has a radius of 25 in the middle of the bar.
  expect_near(path[1], {375, 0, 0});
  for (std::size_t i = 2; i + 1 < path.size(); ++i) {
    EXPECT_NEAR(std::hypot(path[i].x - 375, path[i].y - 25), 25, 1e-6);
  }
}

TEST(Path, HasTheVerticesOfASpatialBar) {
  Shape shape;
  shape.kind = Shape::Kind::spatial;
  shape.points = {{0, 0, 0}, {100, 0, 0}, {100, 100, 50}};
  EXPECT_EQ(path_of(shape), shape.points);
}

TEST(Path, RisesAlongTheTurnsOfAHelix) {
  const std::vector<Point3d> path = path_of(helix({{2, 50}, {1.5, 100}}));
  double level = -1;
  for (const Point3d& point : path) {
    EXPECT_NEAR(std::hypot(point.x, point.y - 100), 100, 1e-6);
    EXPECT_GE(point.z, level);
    level = point.z;
  }
  EXPECT_EQ(path.front().z, 0);
  // A turn has steps of 7.5 degrees: half of one is 24 of them.
  EXPECT_NEAR(path.back().z, 2 * 50 + 1.5 * 100, 1e-6);
  EXPECT_EQ(path.size(), 1 + 2 * 48 + 48 + 24U);
}

TEST(Path, IsTheOutlineOfAFlatFabric) {
  Shape shape;
  shape.kind = Shape::Kind::sheet;
  shape.legs = {{.length = 5000, .bend = 90}, {.length = 2000}};
  const std::vector<Point3d> path = path_of(shape);
  ASSERT_EQ(path.size(), 5U);
  expect_near(path[2], {5000, 2000, 0});
  expect_near(path[4], path[0]);
}

TEST(Path, IsEmptyForWhatCannotBeDrawn) {
  EXPECT_TRUE(path_of(Shape()).empty());
  EXPECT_TRUE(path_of(flat_bar({{.kind = Leg::Kind::arc, .radius = 10, .opening = 1e12}})).empty());
  EXPECT_TRUE(
      path_of(flat_bar(std::vector<Leg>(kMostPathPoints, {.length = 10, .bend = 90}))).empty());
  EXPECT_TRUE(path_of(flat_bar({{.length = 1e308}, {.length = 1e308}, {.length = 1e308}})).empty());
}

TEST(Path, OfAHelixThatNeverEndsEnds) {
  EXPECT_EQ(path_of(helix({{1e300, 10}})).size(), kMostPathPoints);
}

}  // namespace
}  // namespace korvane::schedule::drawing
