#include "schedule/drawing/sketch.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include "schedule/drawing/figure.h"
#include "schedule/drawing/fonts.h"
#include "schedule/drawing/numbers.h"
#include "schedule/drawing/one_line.h"
#include "schedule/drawing/sketch_kinds.h"
#include "schedule/drawing/strokes.h"
#include "schedule/space.h"

namespace korvane::schedule::drawing {

namespace {

/// A sketch of more is a tangle, and takes its time.
constexpr std::size_t kMostPieces = 40;
constexpr double kMostDegrees = 720;

/// Draws a flat bar.
class FlatSketch {
 public:
  FlatSketch(const Shape& shape, double width, double height)
      : shape_(shape), picture_{width, height, {}, {}}, labels_(width, height) {
    const Point margin = margins();
    track_ = figure_of(shape, std::max(width - 2 * margin.x, width / 3),
                       std::max(height - 2 * margin.y, height / 3));
    const Point corner{std::min(margin.x, width / 3), std::min(margin.y, height / 3)};
    track_ = transformed(std::move(track_), 0, 1, corner);
    const Box box = box_of(in_picture(points_of(track_)));
    centre_ = (box.least + box.greatest) * 0.5;
  }

  Picture draw() {
    picture_.strokes.push_back({path_of(track_, picture_.height), kBarWidth});
    labels_.add_line(in_picture(points_of(track_)), kBarWidth);
    draw_ends();
    draw_joints();
    draw_spans();
    label_legs();
    label_bends();
    labels_.draw(picture_);
    return std::move(picture_);
  }

 private:
  Point margins() const {
    double widest = 4;
    for (const Leg& leg : shape_.legs) {
      if (leg.label) widest = std::max(widest, text_width(*leg.label, kLabelSize));
    }
    const double for_spans = shape_.spans.empty() ? 0 : 2.5;
    return {std::min(widest, 14.0) + 1.5 + for_spans, 3.2 + for_spans};
  }

  Point in_picture(Point point) const { return flipped(point, picture_.height); }
  std::vector<Point> in_picture(std::vector<Point> points) const {
    for (Point& point : points) point = in_picture(point);
    return points;
  }

  void draw_ends() {
    const auto way = [&](const TrackPiece& piece, double from, double to) {
      return unit(in_picture(piece.at(to)) - in_picture(piece.at(from)));
    };
    if (shape_.start) {
      const TrackPiece& first = track_.front();
      draw_end(*shape_.start, in_picture(first.from), way(first, 0.1, 0), picture_, labels_);
    }
    if (shape_.end) {
      const TrackPiece& last = track_.back();
      draw_end(*shape_.end, in_picture(last.to), way(last, 0.9, 1), picture_, labels_);
    }
  }

  /// Where one leg goes on straight as the next, a tick shows where.
  void draw_joints() {
    for (std::size_t i = 1; i < track_.size(); ++i) {
      if (track_[i].is_bend || track_[i - 1].is_bend) continue;
      const Point along = unit(in_picture(track_[i].at(0.05)) - in_picture(track_[i].at(0)));
      const Point across = Point{-along.y, along.x} * 0.9;
      const Point middle = in_picture(track_[i].from);
      const std::vector<Point> tick{middle + across, middle - across};
      picture_.strokes.push_back({path_through(tick), kThinWidth, Ink::grey});
      labels_.add_line(tick, kThinWidth);
    }
  }

  /// The piece of a leg itself, not of the bend after it.
  const TrackPiece& piece_of(std::size_t leg) const {
    return *std::find_if(track_.begin(), track_.end(), [leg](const TrackPiece& piece) {
      return piece.leg == leg && !piece.is_bend;
    });
  }

  void draw_spans() {
    const std::vector<Point> corners = in_picture(corners_of(track_));
    const std::vector<Point> points = in_picture(points_of(track_));
    double levels[2] = {2.6, 2.6};
    for (const Span& span : shape_.spans) {
      if (span.from >= corners.size() || span.to >= corners.size() ||
          span.leg >= shape_.legs.size()) {
        continue;
      }
      const TrackPiece& piece = piece_of(span.leg);
      Point direction = unit(in_picture(piece.at(0.001)) - in_picture(piece.at(0)));
      if (span.is_across) direction = {-direction.y, direction.x};
      const Point from = corners[span.from];
      const Point to = corners[span.to];
      const Point away{-direction.y, direction.x};
      const auto height_of = [&](Point point) { return point.x * away.x + point.y * away.y; };
      const auto [low, high] = std::minmax_element(
          points.begin(), points.end(),
          [&](Point one, Point other) { return height_of(one) < height_of(other); });
      const double above = height_of(*high) - std::max(height_of(from), height_of(to));
      const double below = std::min(height_of(from), height_of(to)) - height_of(*low);
      const bool is_above = above <= below;
      const double level = is_above ? height_of(*high) + levels[1] : height_of(*low) - levels[0];
      levels[is_above ? 1 : 0] += 3.2;
      draw_dimension(from, to, direction, level - height_of(from), span.label, picture_, labels_);
    }
  }

  /// Short legs first, as they have the fewest places.
  void label_legs() {
    std::vector<const TrackPiece*> pieces;
    for (const TrackPiece& piece : track_) {
      if (!piece.is_bend && shape_.legs[piece.leg].label) pieces.push_back(&piece);
    }
    const auto length = [](const TrackPiece* piece) {
      return piece->is_arc ? piece->radius
                           : std::hypot(piece->to.x - piece->from.x, piece->to.y - piece->from.y);
    };
    std::stable_sort(pieces.begin(), pieces.end(),
                     [&](const TrackPiece* one, const TrackPiece* other) {
                       return length(one) < length(other);
                     });
    for (const TrackPiece* const piece : pieces) {
      const std::string& text = *shape_.legs[piece->leg].label;
      const Point middle = in_picture(piece->at(0.5));
      if (piece->is_arc) {
        labels_.add_label(text, places_around(middle, middle - in_picture(piece->centre), text),
                          middle);
      } else {
        labels_.add_label(
            text, places_beside(in_picture(piece->from), in_picture(piece->to), centre_, text),
            middle);
      }
    }
  }

  void label_bends() {
    for (const TrackPiece& piece : track_) {
      if (!piece.is_bend) continue;
      const Leg& leg = shape_.legs[piece.leg];
      const double angle = std::abs(leg.bend);
      if (!leg.bend_label && (angle == 90 || angle == 180)) continue;
      const std::string text = leg.bend_label.value_or(short_number(angle) + "°");
      const Point middle = in_picture(piece.at(0.5));
      labels_.add_label(text, places_around(middle, middle - in_picture(piece.centre), text),
                        middle);
    }
  }

  const Shape& shape_;
  Picture picture_;
  LabelField labels_;
  std::vector<TrackPiece> track_;
  Point centre_;
};

/// What stands for a shape that is not drawn.
Picture empty_frame(const std::string& code, double width, double height) {
  constexpr double kMargin = 1;
  constexpr std::size_t kLongest = 40;
  const std::string text = short_line(code, kLongest);
  Picture picture{width, height, {}, {}};
  picture.strokes.push_back(
      {rectangle({kMargin, kMargin}, width - 2 * kMargin, height - 2 * kMargin), kThinWidth,
       Ink::grey, false, true});
  if (text.empty()) return picture;
  const double available = width - 4 * kMargin;
  const double size =
      std::min(kLabelSize * 1.3, kLabelSize * available / text_width(text, kLabelSize));
  picture.texts.push_back(
      {{width / 2, height / 2 + size * kCapitalHeight / 2}, text, size, Align::centre});
  return picture;
}

/// A rectangle with a diagonal, as fabrics are drawn.
Picture sheet_sketch(const Shape& shape, double width, double height) {
  constexpr double kMostRatio = 3;
  Picture picture{width, height, {}, {}};
  LabelField labels(width, height);
  const Leg& along = shape.legs[0];
  const Leg& across = shape.legs[1];
  const double ratio = std::clamp(across.length / along.length, 1 / kMostRatio, kMostRatio);
  const double side = text_width(*across.label, kLabelSize) + 2;
  const Point room{std::max(width - 2 * side, width / 3), height - 7};
  const double length = std::min(room.x, room.y / ratio);
  const Point low{(width + length) / 2, (height + length * ratio) / 2 - 1.2};
  const Point high = low - Point{length, length * ratio};
  std::vector<Point> outline{high, {low.x, high.y}, low, {high.x, low.y}, high};
  picture.strokes.push_back({path_through(outline), kBarWidth / 2});
  picture.strokes.push_back({path_through({outline[3], outline[1]}), kThinWidth, Ink::grey});
  labels.add_line(outline, kBarWidth / 2);
  labels.add_line({outline[3], outline[1]}, kThinWidth);
  const Point centre = (low + high) * 0.5;
  labels.add_label(*along.label, places_beside(outline[2], outline[3], centre, *along.label),
                   centre);
  labels.add_label(*across.label, places_beside(outline[1], outline[2], centre, *across.label),
                   centre);
  labels.draw(picture);
  return picture;
}

std::size_t pieces_of(const Shape& shape) { return shape.legs.size() + shape.points.size(); }

/// Whether each point lies apart from the one before.
bool are_apart(const std::vector<model::geometry::Point3d>& points, double least) {
  for (std::size_t i = 1; i < points.size(); ++i) {
    if (length(difference(points[i], points[i - 1])) < least) return false;
  }
  return true;
}

/// What no bar measures is not drawn: it would leave nothing of the rest to see.
bool is_bar_like(const Shape& shape) {
  constexpr double kLeast = 1e-3;
  constexpr double kGreatest = 1e9;
  const auto is_size = [](double size) { return size >= kLeast && size <= kGreatest; };
  const auto is_turn = [](double degrees) { return std::abs(degrees) <= kMostDegrees; };
  return are_apart(shape.points, kLeast) && shape.bar_diameter <= kGreatest &&
         shape.bend_diameter <= kGreatest &&
         std::all_of(shape.legs.begin(), shape.legs.end(),
                     [&](const Leg& leg) {
                       if (!is_turn(leg.bend)) return false;
                       if (leg.kind == Leg::Kind::straight) return is_size(leg.length);
                       return is_size(leg.radius) && is_turn(leg.opening) &&
                              std::abs(leg.opening) >= kLeast;
                     }) &&
         std::all_of(shape.points.begin(), shape.points.end(), [](const auto& point) {
           return std::abs(point.x) <= kGreatest && std::abs(point.y) <= kGreatest &&
                  std::abs(point.z) <= kGreatest;
         });
}

}  // namespace

Picture sketch_of(const Shape& shape, double width, double height) {
  if (pieces_of(shape) > kMostPieces) {
    return empty_frame(std::to_string(pieces_of(shape)) + " pieces", width, height);
  }
  if (shape.kind == Shape::Kind::unknown || !is_bar_like(shape)) {
    return empty_frame(shape.code, width, height);
  }
  if (shape.kind == Shape::Kind::spatial) return spatial_sketch(shape, width, height);
  if (shape.kind == Shape::Kind::sheet) return sheet_sketch(shape, width, height);
  if (shape.kind == Shape::Kind::helix) return helix_sketch(shape, width, height);
  return FlatSketch(shape, width, height).draw();
}

}  // namespace korvane::schedule::drawing
