#include "schedule/bvbs/shape_text.h"

#include <cmath>
#include <cstddef>
#include <string_view>
#include <vector>

#include "schedule/bvbs/draft.h"
#include "schedule/bvbs/numbers.h"
#include "schedule/space.h"
#include "schedule/turns.h"

namespace korvane::schedule::bvbs {

namespace {

using model::cad::GeometryObject;
using model::cad::GeometryObjectType;
using model::cad::RebarGeometry;

/// Writes the legs of a flat shape, each with the bend after it.
class FlatShapeWriter {
 public:
  explicit FlatShapeWriter(const std::vector<GeometryObject>& pieces) : pieces_(pieces) {}

  std::string write() {
    while (next_ < pieces_.size()) {
      const GeometryObject& piece = pieces_[next_++];
      switch (piece.type) {
        case GeometryObjectType::kLine:
          write_leg(piece);
          break;
        case GeometryObjectType::kArc:
          write_curved_leg(piece);
          break;
        case GeometryObjectType::kKink:
          refuse("a kink");
        default:
          refuse("of a kind");
      }
    }
    return std::move(text_);
  }

 private:
  /// The bend may stand in the leg itself or in a kink after it.
  void write_leg(const GeometryObject& leg) {
    add('l', leg.length, "length");
    if ((!leg.angle || *leg.angle == 0) && is_kink_next()) {
      ++next_;
      add('w', pieces_[next_ - 1].angle, "angle");
    } else if (leg.angle) {
      add('w', leg.angle, "angle");
    } else {
      text_ += "w0@";
    }
  }

  /// The bend into the next leg is a second angle, 0 for none.
  void write_curved_leg(const GeometryObject& leg) {
    add('r', leg.radius, "radius");
    add('w', leg.angle, "angle");
    if (is_kink_next()) {
      ++next_;
      add('w', pieces_[next_ - 1].angle, "angle");
    } else if (next_ < pieces_.size()) {
      text_ += "w0@";
    }
  }

  bool is_kink_next() const {
    return next_ < pieces_.size() && pieces_[next_].type == GeometryObjectType::kKink;
  }

  [[noreturn]] void refuse(const char* what) const {
    throw CannotSay(piece_name() + " is " + what + " for which the format has no place");
  }

  /// Of the piece that was taken last.
  std::string piece_name() const { return "piece " + std::to_string(next_); }

  void add(char letter, const bond::nullable<double>& number, const char* what) {
    if (!number) throw CannotSay(piece_name() + " has no " + what);
    if (!std::isfinite(*number)) {
      throw CannotSay("the " + std::string(what) + " of " + piece_name() +
                      " is not a finite number");
    }
    text_ += letter;
    text_ += number_text(*number) + '@';
  }

  const std::vector<GeometryObject>& pieces_;
  std::size_t next_ = 0;
  std::string text_;
};

/// The offsets from point to point. Whoever adds them up again rounds at each step, so every offset
/// is the one that leads to its point from where the sum stands.
std::string offsets(const std::vector<Point3d>& points) {
  std::string text;
  Point3d sum;
  const auto add = [&](char letter, double Point3d::*coordinate, const Point3d& point) {
    const double from = sum.*coordinate;
    const double target = point.*coordinate - points.front().*coordinate;
    const double way = target - from;
    const std::string offset =
        std::isfinite(way)
            ? number_text_that(way, [&](double step) { return from + step == target; })
            : std::string();
    sum.*coordinate = from + parse_number(offset).value_or(way);
    if (!std::isfinite(sum.*coordinate)) {
      throw CannotSay("its points are not finite numbers, or too far apart");
    }
    text += letter;
    text += offset + '@';
  };
  for (std::size_t i = 1; i < points.size(); ++i) {
    add('x', &Point3d::x, points[i]);
    add('y', &Point3d::y, points[i]);
    add('z', &Point3d::z, points[i]);
  }
  return text;
}

/// "n6@g100@n12@g200@" from "6 x 100, 12 x 200".
std::string turns_of(std::string_view pitch) {
  std::string text;
  for (const TurnsText& part : turns_in(pitch)) {
    if (!parse_number(part.count) || !parse_number(part.pitch)) {
      throw CannotSay("its property \"pitch\" is not turns and pitches such as 6 x 100, 12 x 200");
    }
    text += "n" + std::string(part.count) + "@g" + std::string(part.pitch) + "@";
  }
  return text;
}

}  // namespace

BarShape bar_shape(const RebarGeometry& geometry, const std::string& pitch) {
  const bool has_legs = !geometry.objects.empty();
  const bool has_points = geometry.polyline.size() > 1;
  if (!pitch.empty()) {
    if (!has_legs) throw CannotSay("turns and pitches without the legs of their cross-section");
    return {"BFWE", "G" + FlatShapeWriter(geometry.objects).write() + turns_of(pitch)};
  }
  if (has_points && (!has_legs || !is_flat(geometry.polyline))) {
    return {"BF3D", "G" + offsets(geometry.polyline)};
  }
  if (!has_legs) return {"BF2D", ""};
  return {"BF2D", "G" + FlatShapeWriter(geometry.objects).write()};
}

std::string bent_fabric_block(const RebarGeometry& geometry, const std::string& bent_bars) {
  if (geometry.objects.empty()) {
    if (geometry.polyline.empty()) return {};
    throw CannotSay("its shape is given by points alone, and the format needs legs");
  }
  if (!bent_bars.empty() && bent_bars != "x" && bent_bars != "y") {
    throw CannotSay("its property \"bent_bars\" is \"" + bent_bars + "\", expected x or y");
  }
  return "G" + bent_bars + FlatShapeWriter(geometry.objects).write();
}

}  // namespace korvane::schedule::bvbs
