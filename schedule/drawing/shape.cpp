#include "schedule/drawing/shape.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

#include "schedule/bvbs/numbers.h"
#include "schedule/drawing/coded_shape.h"
#include "schedule/drawing/numbers.h"
#include "schedule/drawing/one_line.h"
#include "schedule/space.h"
#include "schedule/turns.h"

namespace korvane::schedule::drawing {

using model::cad::EndTreatment;
using model::cad::Fabric;
using model::cad::GeometryLabelType;
using model::cad::GeometryObject;
using model::cad::GeometryObjectType;
using model::cad::Hook;
using model::cad::HookDirection;
using model::cad::Rebar;
using model::cad::RebarGeometry;
using model::cad::RebarParams;

namespace {

constexpr double kDegrees = 180.0 / std::numbers::pi;

bool is_length(const bond::nullable<double>& number) {
  return number && std::isfinite(*number) && *number > 0;
}

double angle_of(const GeometryObject& piece) {
  return piece.angle && std::isfinite(*piece.angle) ? *piece.angle : 0;
}

/// Clients label pieces as they like; a sketch has room for a few words.
std::optional<std::string> label_of(const GeometryObject& piece, GeometryLabelType type) {
  constexpr std::size_t kLongest = 40;
  for (const auto& label : piece.labels) {
    if (label.type == type && !label.text.empty()) return short_line(label.text, kLongest);
  }
  return std::nullopt;
}

std::optional<Leg> straight_leg(const GeometryObject& piece) {
  const bond::nullable<double>& length =
      is_length(piece.length) ? piece.length : piece.display_length;
  if (!is_length(length)) return std::nullopt;
  const double shown = is_length(piece.display_length) ? *piece.display_length : *length;
  Leg leg;
  leg.length = *length;
  leg.bend = angle_of(piece);
  leg.label = label_of(piece, GeometryLabelType::Length).value_or(short_number(shown));
  leg.bend_label = label_of(piece, GeometryLabelType::Angle);
  return leg;
}

std::optional<Leg> curved_leg(const GeometryObject& piece) {
  const double opening = angle_of(piece);
  if (!is_length(piece.radius) || opening == 0) return std::nullopt;
  Leg leg;
  leg.kind = Leg::Kind::arc;
  leg.radius = *piece.radius;
  leg.opening = opening;
  const std::string radius =
      label_of(piece, GeometryLabelType::Radius).value_or("R" + short_number(leg.radius));
  const std::string turn =
      label_of(piece, GeometryLabelType::Angle).value_or(short_number(std::abs(opening)) + "°");
  leg.label = std::abs(opening) == 360 ? radius : radius + " " + turn;
  return leg;
}

/// A kink is the bend between the pieces beside it.
std::vector<Leg> legs_of(const std::vector<GeometryObject>& pieces) {
  std::vector<Leg> legs;
  for (const GeometryObject& piece : pieces) {
    if (piece.type == GeometryObjectType::kKink) {
      if (legs.empty()) continue;
      legs.back().bend += angle_of(piece);
      const auto label = label_of(piece, GeometryLabelType::Angle);
      if (label) legs.back().bend_label = label;
      continue;
    }
    std::optional<Leg> leg =
        piece.type == GeometryObjectType::kArc ? curved_leg(piece) : straight_leg(piece);
    if (leg) legs.push_back(std::move(*leg));
  }
  if (!legs.empty()) legs.back().bend = 0;
  return legs;
}

/// Without points that lie where the one before lies.
std::vector<Point3d> distinct(const std::vector<Point3d>& points) {
  constexpr double kNear = 1e-3;
  std::vector<Point3d> result;
  for (const Point3d& point : points) {
    if (!std::isfinite(point.x) || !std::isfinite(point.y) || !std::isfinite(point.z)) return {};
    const bool is_other = result.empty() || length(difference(point, result.back())) >= kNear;
    if (is_other) result.push_back(point);
  }
  return result;
}

/// Of points that lie in a plane, which is looked at from the side that its largest coordinate
/// points to.
std::vector<Leg> legs_of(const std::vector<Point3d>& points) {
  Point3d normal = normal_of(points);
  double largest = 0;
  for (const double each : {normal.x, normal.y, normal.z}) {
    if (std::abs(each) > std::abs(largest) * 1.001) largest = each;
  }
  if (largest < 0) normal = difference({}, normal);
  std::vector<Leg> legs;
  for (std::size_t i = 1; i < points.size(); ++i) {
    const Point3d way = difference(points[i], points[i - 1]);
    Leg& leg = legs.emplace_back();
    leg.length = length(way);
    leg.label = short_number(leg.length);
    if (i + 1 == points.size()) break;
    const Point3d next = difference(points[i + 1], points[i]);
    const Point3d turn = cross(way, next);
    const double angle = std::atan2(length(turn), dot(way, next)) * kDegrees;
    // Coordinates are rounded, so angles are too.
    leg.bend = std::round(std::copysign(angle, dot(turn, normal)) * 100) / 100;
  }
  return legs;
}

std::vector<Turns> turns_of(const Rebar& bar) {
  const auto found = bar.properties.find("pitch");
  if (found == bar.properties.end() || !found->second.value_string) return {};
  std::vector<Turns> turns;
  for (const TurnsText& part : turns_in(*found->second.value_string)) {
    const auto count = bvbs::parse_number(part.count);
    const auto pitch = bvbs::parse_number(part.pitch);
    if (!count || !pitch || !(*count > 0) || !(*pitch > 0)) return {};
    turns.push_back({*count, *pitch});
  }
  return turns;
}

Shape shape_of(const RebarGeometry& geometry) {
  Shape shape;
  shape.legs = legs_of(geometry.objects);
  std::vector<Point3d> points = distinct(geometry.polyline);
  const bool is_spatial = points.size() > 1 && !is_flat(points);
  if (is_spatial) {
    shape.legs.clear();
    shape.points = std::move(points);
    shape.kind = Shape::Kind::spatial;
    return shape;
  }
  if (shape.legs.empty() && points.size() > 1) shape.legs = legs_of(points);
  if (!shape.legs.empty()) shape.kind = Shape::Kind::flat;
  return shape;
}

/// Whether the shape has the hook as its last leg already, or `bend` degrees after its first one.
bool is_part_of_shape(const Hook& hook, const Leg& outer, double bend) {
  constexpr double kTolerance = 0.5;
  const auto is_near = [](double a, double b) { return std::abs(a - b) <= kTolerance; };
  return outer.kind == Leg::Kind::straight && is_near(std::abs(bend), std::abs(hook.angle)) &&
         (is_near(outer.length, hook.length) || is_near(outer.length, hook.total_length));
}

std::optional<Leg> leg_of(const Hook& hook) {
  const double length = hook.length > 0 ? hook.length : hook.total_length;
  const bool is_usable = std::isfinite(length) && length > 0 && std::isfinite(hook.angle);
  if (!is_usable || hook.angle == 0) return std::nullopt;
  Leg leg;
  leg.length = length;
  leg.label = short_number(length);
  return leg;
}

/// To the left of the bar is to the left at either end: a bar with two such hooks is a U.
double bend_of(const Hook& hook) {
  const double angle = std::abs(hook.angle);
  return hook.direction == HookDirection::kRight ? -angle : angle;
}

void add_start_hook(const Hook& hook, Shape& shape) {
  std::vector<Leg>& legs = shape.legs;
  if (legs.size() > 1 && is_part_of_shape(hook, legs.front(), legs.front().bend)) return;
  std::optional<Leg> leg = leg_of(hook);
  if (!leg) return;
  leg->bend = bend_of(hook);
  if (shape.heading) *shape.heading -= leg->bend;
  legs.insert(legs.begin(), std::move(*leg));
  for (Span& span : shape.spans) {
    ++span.from;
    ++span.to;
    ++span.leg;
  }
}

void add_end_hook(const Hook& hook, Shape& shape) {
  std::vector<Leg>& legs = shape.legs;
  if (legs.size() > 1 && is_part_of_shape(hook, legs.back(), legs[legs.size() - 2].bend)) return;
  std::optional<Leg> leg = leg_of(hook);
  if (!leg) return;
  legs.back().bend = bend_of(hook);
  legs.push_back(std::move(*leg));
}

std::optional<std::string> end_of(const bond::nullable<EndTreatment>& treatment) {
  return treatment ? std::optional(treatment->type) : std::nullopt;
}

/// The letters as they are printed, which are the rounded ones where there are some.
RebarParams letters_of(const RebarParams& exact, const RebarParams& rounded) {
  return rounded == RebarParams{} ? exact : rounded;
}

double known_or_zero(double number) { return std::isfinite(number) && number > 0 ? number : 0; }

/// From the geometry or, where it says nothing, from the code.
template <class Record>
Shape shape_of(const Record& record, const RebarGeometry& geometry, double bar_diameter) {
  const std::string code = record.shape_code.hasvalue() ? *record.shape_code : "";
  const double bend_diameter = known_or_zero(record.standard_bend_diameter);
  Shape shape = shape_of(geometry);
  if (shape.kind == Shape::Kind::unknown && !code.empty()) {
    const RebarParams letters = letters_of(record.parameters_exact, record.parameters_rounded);
    shape = shape_of_code(code, letters, bar_diameter, bend_diameter).value_or(Shape{});
  }
  shape.bar_diameter = bar_diameter;
  shape.bend_diameter = bend_diameter;
  shape.code = code;
  return shape;
}

}  // namespace

Shape shape_of(const Rebar& bar) {
  Shape shape = shape_of(bar, bar.geometry, known_or_zero(bar.bar_diameter));
  shape.start = end_of(bar.end_treatment_start);
  shape.end = end_of(bar.end_treatment_end);
  std::vector<Turns> turns = turns_of(bar);
  if (shape.kind == Shape::Kind::flat && !turns.empty()) {
    shape.kind = Shape::Kind::helix;
    shape.turns = std::move(turns);
  }
  if (shape.kind == Shape::Kind::flat) {
    if (bar.start_hook) add_start_hook(*bar.start_hook, shape);
    if (bar.end_hook) add_end_hook(*bar.end_hook, shape);
  }
  return shape;
}

Shape shape_of(const Fabric& fabric) {
  const RebarGeometry none;
  Shape shape = shape_of(fabric, fabric.geometry ? *fabric.geometry : none, 0);
  if (shape.kind != Shape::Kind::unknown || !shape.code.empty()) return shape;
  const double length = known_or_zero(fabric.length);
  const double width = known_or_zero(fabric.width);
  if (length == 0 || width == 0) return shape;
  shape.kind = Shape::Kind::sheet;
  shape.legs = {{.length = length, .bend = 90, .label = short_number(length)},
                {.length = width, .label = short_number(width)}};
  return shape;
}

}  // namespace korvane::schedule::drawing
