#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "contracts/cad/rebar_params.h"
#include "contracts/geometry/point.h"
#include "schedule/drawing/shape.h"

namespace korvane::schedule::drawing {

/// A bar that is put together from the letters of its shape code, piece by piece from one end to the
/// other. A letter that is missing, is not finite or has no length counts as not given. What cannot
/// be refuses the whole, and then `shape` has none; the calls after that do no harm.
///
/// Lengths are those of the figures: outer dimensions, of lines without thickness. Letters are
/// 'A' to 'F' and 'R'.
class CodedBar {
 public:
  CodedBar(const model::cad::RebarParams& letters, double bar_diameter, double bend_diameter);

  bool has(char letter) const { return (*this)[letter] > 0; }
  /// 0 where it is not given.
  double operator[](char letter) const;
  double bar_diameter() const { return shape_.bar_diameter; }
  bool is_refused() const { return is_refused_; }
  void refuse() { is_refused_ = true; }

  /// Whether two lengths of one thing are the same for people who measure one to the outside of the
  /// bar and the other in its middle.
  bool agree(double given, double derived) const;

  /// The angle of a sloping leg, in degrees, from how far it rises. Refuses a leg that is shorter.
  double slope(char length, char rise);
  /// The same from how far it rises or how far it runs, of which one may be missing. Refuses two that
  /// contradict each other.
  double slope(char length, char rise, char run);

  /// How long a hook of a link is: as given, or as its twin at the other end, or else so long as
  /// such hooks are at least. Refuses one that is longer than `limit`, the side that it lies along.
  double hook(char letter, char twin, double limit);

  /// The direction of the first leg in the figure.
  CodedBar& heading(double degrees);
  /// A straight leg of the letter's length, or of another: the number is printed either way, once
  /// for each letter.
  CodedBar& leg(char letter) { return leg(letter, (*this)[letter]); }
  CodedBar& leg(char letter, double length);
  /// The bend after the last leg; positive is to the left.
  CodedBar& bend(double degrees);
  /// A bend whose angle follows from lengths: the figures do not dimension it, so nothing is printed.
  CodedBar& turn(double degrees);
  /// An arc with the radius of its inner side.
  CodedBar& arc(double radius, double opening, std::optional<std::string> label = {});
  /// A semicircle with this letter as its outer diameter, which is dimensioned across the legs.
  CodedBar& semicircle(char diameter, double opening);
  /// Dimensions in the direction of a leg, and at right angles to it. Nothing where the letter is not
  /// given.
  CodedBar& along(std::size_t from, std::size_t to, std::size_t leg, char letter);
  CodedBar& across(std::size_t from, std::size_t to, std::size_t leg, char letter);
  /// Straight legs between points in space, instead of legs in a plane.
  CodedBar& through(std::vector<model::geometry::Point3d> points);
  /// So many turns of the legs.
  CodedBar& coil(double turns, double pitch);

  /// The number as it is printed: not finer than thousandths.
  std::string text(char letter) const;

  /// The whole bar. None if it was refused.
  std::optional<Shape> shape() const;

 private:
  void add(Leg leg);
  CodedBar& span(Span span, char letter);

  /// A to F, then R.
  std::array<double, 7> lengths_{};
  std::string printed_;
  bool is_refused_ = false;
  Shape shape_;
};

}  // namespace korvane::schedule::drawing
