#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "contracts/cad/fabric.h"
#include "contracts/cad/rebar.h"
#include "contracts/geometry/point.h"

/// What a bar looks like, from whatever its record says of it. Lengths are those of the record,
/// millimetres by custom; angles are in degrees.
namespace korvane::schedule::drawing {

/// One piece of a bar that lies in a plane, and the bend after it.
struct Leg {
  enum class Kind { straight, arc };

  Kind kind = Kind::straight;
  /// Of a straight leg: from outside to outside of the bends at its ends.
  double length = 0;
  /// Of an arc: the radius of its inner side, and through how many degrees it turns; positive is to
  /// the left, as one goes along the bar.
  double radius = 0;
  double opening = 0;
  /// The bend into the next leg: 0 for none, positive to the left, 180 for one that goes back.
  double bend = 0;
  /// What is printed at it, none where the number follows from others: "400", "R400", "A 400".
  std::optional<std::string> label = {};
  /// What is printed at the bend after it, perhaps nothing; where there is none, angles other than
  /// 90 and 180 are.
  std::optional<std::string> bend_label = {};
};

/// A dimension between two corners of a flat bar, measured in the direction of one of its legs or
/// at right angles to it; the direction of an arc is that in which it starts. Corner 0 is the start
/// of the first leg, corner i the end of leg i-1.
struct Span {
  std::size_t from = 0;
  std::size_t to = 0;
  std::size_t leg = 0;
  bool is_across = false;
  std::string label;
};

/// Turns of a helix with one pitch.
struct Turns {
  double count = 0;
  double pitch = 0;
};

struct Shape {
  enum class Kind {
    /// Nothing is known but perhaps the code.
    unknown,
    /// In a plane, given by legs.
    flat,
    /// In space, given by points.
    spatial,
    /// Turns of the cross-section that the legs are.
    helix,
    /// A flat fabric: one leg along it, then one across.
    sheet,
  };

  Kind kind = Kind::unknown;
  std::vector<Leg> legs;
  std::vector<Span> spans;
  std::vector<model::geometry::Point3d> points;
  std::vector<Turns> turns;
  /// The diameter of the bar, and that of the mandrel it is bent about. 0 if unknown.
  double bar_diameter = 0;
  double bend_diameter = 0;
  /// How the ends are treated: "coupler", "thread", or any other text.
  std::optional<std::string> start;
  std::optional<std::string> end;
  std::string code;
  /// Where the figure that a flat bar is known by has a position: the direction of its first leg, in
  /// degrees counter-clockwise from the right.
  std::optional<double> heading = {};
};

/// The shape of a bar: from its geometry; without one from its shape code and dimensions; else
/// unknown. Never throws for what a record holds: what is not finite or has no length counts as not
/// given.
Shape shape_of(const model::cad::Rebar& bar);

/// The shape of a fabric's bent bars, or the sheet that it is.
Shape shape_of(const model::cad::Fabric& fabric);

}  // namespace korvane::schedule::drawing
