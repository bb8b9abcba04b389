#include "schedule/drawing/figure.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "schedule/angles.h"

namespace korvane::schedule::drawing {

namespace {

// In millimetres on paper.
constexpr double kLeastLeg = 6;
constexpr double kLeastBendRadius = 0.9;
constexpr double kGreatestBendRadius = 6;
constexpr double kApart = 1.6;

/// Powers of the lengths' ratios, from true to scale to nearly equal.
constexpr double kExponents[] = {1, 0.85, 0.7, 0.55, 0.4, 0.3};

using Crossings = std::set<std::pair<std::size_t, std::size_t>>;

double side_of(Point from, Point to, Point point) {
  const Point way = to - from;
  const Point other = point - from;
  return way.x * other.y - way.y * other.x;
}

double distance(Point one, Point other) { return std::hypot(one.x - other.x, one.y - other.y); }

/// Whether the two pass through each other, by more than a touch.
bool do_cross(const TrackPiece& one, const TrackPiece& other) {
  constexpr double kTouch = 1e-3;
  const auto is_between = [](const TrackPiece& line, const TrackPiece& ends) {
    const double a = side_of(line.from, line.to, ends.from);
    const double b = side_of(line.from, line.to, ends.to);
    const double touch =
        kTouch * distance(line.from, line.to) * std::max(distance(ends.from, ends.to), 1e-12);
    return (a > touch && b < -touch) || (a < -touch && b > touch);
  };
  return is_between(one, other) && is_between(other, one);
}

std::vector<const TrackPiece*> straight_pieces(const std::vector<TrackPiece>& track) {
  std::vector<const TrackPiece*> pieces;
  for (const TrackPiece& piece : track) {
    if (!piece.is_arc) pieces.push_back(&piece);
  }
  return pieces;
}

/// How far apart two parallel pieces lie that run beside each other; nothing for others.
std::optional<double> gap_between(const TrackPiece& one, const TrackPiece& other) {
  constexpr double kParallel = 0.03;
  constexpr double kLeastOverlap = 0.5;
  const double length = distance(one.from, one.to);
  const Point along = (one.to - one.from) * (1 / length);
  const Point way = other.to - other.from;
  const double turn = along.x * way.y - along.y * way.x;
  if (std::abs(turn) > kParallel * distance(other.from, other.to)) return std::nullopt;
  const auto position = [&](Point point) {
    return (point.x - one.from.x) * along.x + (point.y - one.from.y) * along.y;
  };
  const auto [low, high] = std::minmax({position(other.from), position(other.to)});
  if (std::min(high, length) - std::max(low, 0.0) < kLeastOverlap) return std::nullopt;
  return std::abs(side_of(one.from, one.to, other.from)) / length;
}

/// Finds sizes on paper for a shape and a field.
class Fitting {
 public:
  Fitting(const Shape& shape, double width, double height)
      : legs_(shape.legs),
        heading_(shape.heading),
        true_(true_sizes(shape)),
        width_(width),
        height_(height) {
    if (true_.bend_radius == 0) true_.bend_radius = longest() / 50;
    crossings_ = crossings_of(track_of(legs_, true_));
  }

  std::vector<TrackPiece> best() {
    std::optional<TrackSizes> chosen;
    for (const double exponent : kExponents) {
      const TrackSizes sizes = fitted(exponent);
      const std::vector<TrackPiece> track = track_of(legs_, sizes);
      if (chosen && crossings_of(track) != crossings_) continue;
      chosen = sizes;
      if (shortest(sizes) >= kLeastLeg) break;
    }
    move_apart(*chosen);
    return placed(*chosen);
  }

 private:
  /// A leg's extent: an arc is seen by its chord, or by its diameter.
  double extent(std::size_t leg) const {
    if (legs_[leg].kind == Leg::Kind::straight) return true_.legs[leg];
    const double half = std::min(std::abs(legs_[leg].opening) / 2, 90.0);
    return 2 * true_.legs[leg] * std::sin(half * kRadiansPerDegree);
  }

  double longest() const {
    double result = 0;
    for (std::size_t i = 0; i < legs_.size(); ++i) result = std::max(result, extent(i));
    return result;
  }

  double shortest(const TrackSizes& sizes) const {
    double result = HUGE_VAL;
    for (std::size_t i = 0; i < legs_.size(); ++i) {
      if (legs_[i].kind == Leg::Kind::straight) result = std::min(result, sizes.legs[i]);
    }
    return result;
  }

  /// Of the longest straight leg as the track goes.
  double heading() const {
    double heading = 0;
    double result = 0;
    double length = 0;
    for (std::size_t i = 0; i < legs_.size(); ++i) {
      const bool is_straight = legs_[i].kind == Leg::Kind::straight;
      if (is_straight && true_.legs[i] > length * 1.001) {
        length = true_.legs[i];
        result = heading;
      }
      heading += (is_straight ? 0 : legs_[i].opening) + legs_[i].bend;
    }
    return result;
  }

  /// The turn that brings the bar into its known position; else the longest leg to the horizontal,
  /// and lets what is open be open upwards: most of the bar lies low then.
  double turn(const TrackSizes& sizes) const {
    if (heading_) return *heading_;
    const double lying = -heading();
    const std::vector<TrackPiece> track = transformed(track_of(legs_, sizes), lying, 1, {0, 0});
    const Box box = box_of(points_of(track));
    double moment = 0;
    for (const TrackPiece& piece : track) {
      const double length = piece.is_arc ? std::abs(piece.sweep) * kRadiansPerDegree * piece.radius
                                         : distance(piece.from, piece.to);
      moment += length * (piece.at(0.5).y - (box.least.y + box.greatest.y) / 2);
    }
    return moment > 1e-6 * box.height() * box.width() ? lying + 180 : lying;
  }

  TrackSizes sized(double exponent, double scale) const {
    const double largest = longest();
    TrackSizes sizes;
    for (std::size_t i = 0; i < legs_.size(); ++i) {
      const double part = extent(i) / largest;
      sizes.legs.push_back(true_.legs[i] * (std::pow(part, exponent) / part) * scale);
    }
    sizes.bend_radius =
        std::clamp(true_.bend_radius * scale, kLeastBendRadius, kGreatestBendRadius);
    return sizes;
  }

  double room(const TrackSizes& sizes) const {
    const Box box = box_of(points_of(transformed(track_of(legs_, sizes), turn(sizes), 1, {0, 0})));
    return std::min(width_ / std::max(box.width(), 1e-9), height_ / std::max(box.height(), 1e-9));
  }

  /// Bends keep their size on paper, so the scale is found step by step.
  TrackSizes fitted(double exponent) const {
    constexpr int kSteps = 8;
    double scale = width_ / longest();
    for (int step = 0; step < kSteps; ++step) {
      const double factor = room(sized(exponent, scale));
      if (std::abs(factor - 1) < 0.01) break;
      scale *= factor;
    }
    return sized(exponent, scale);
  }

  /// How much is wrong: legs that lie on each other, and crossings that the bar does not have.
  int faults(const TrackSizes& sizes) const {
    const std::vector<TrackPiece> track = track_of(legs_, sizes);
    int count = 0;
    const auto pieces = straight_pieces(track);
    for (std::size_t i = 0; i < pieces.size(); ++i) {
      for (std::size_t j = i + 1; j < pieces.size(); ++j) {
        const auto gap = gap_between(*pieces[i], *pieces[j]);
        if (pieces[j]->leg > pieces[i]->leg + 1 && gap && *gap < kApart * 0.9) ++count;
      }
    }
    for (const auto& crossing : crossings_of(track)) {
      if (!crossings_.contains(crossing)) ++count;
    }
    return count;
  }

  /// A leg that is drawn a little longer or shorter.
  struct Change {
    std::size_t leg = 0;
    double length = 0;
  };

  /// A leg at an end moves nothing by its length.
  std::vector<Change> possible_changes() const {
    std::vector<Change> changes;
    for (std::size_t leg = 1; leg + 1 < legs_.size(); ++leg) {
      if (legs_[leg].kind == Leg::Kind::arc) continue;
      for (const double length : {-kApart, kApart, -2 * kApart, 2 * kApart}) {
        changes.push_back({leg, length});
      }
    }
    return changes;
  }

  static void apply(const Change& change, TrackSizes& sizes) {
    sizes.legs[change.leg] = std::max(sizes.legs[change.leg] + change.length, kApart);
  }

  /// Laps and closed stirrups: legs that lie on each other are moved apart by changes of the legs
  /// between them, one or two at a time.
  void move_apart(TrackSizes& sizes) const {
    constexpr std::size_t kMostLegs = 24;
    constexpr std::size_t kMostLegsForPairs = 9;
    if (legs_.size() > kMostLegs) return;
    const std::vector<Change> changes = possible_changes();
    for (std::size_t round = 0; round < legs_.size(); ++round) {
      const int before = faults(sizes);
      if (before == 0) return;
      int least = before;
      TrackSizes better = sizes;
      const auto consider = [&](const TrackSizes& changed) {
        const int after = faults(changed);
        if (after >= least) return;
        least = after;
        better = changed;
      };
      for (std::size_t i = 0; i < changes.size(); ++i) {
        TrackSizes changed = sizes;
        apply(changes[i], changed);
        consider(changed);
        if (legs_.size() > kMostLegsForPairs) continue;
        for (std::size_t j = i + 1; j < changes.size(); ++j) {
          TrackSizes twice = changed;
          apply(changes[j], twice);
          consider(twice);
        }
      }
      if (least == before) return;
      sizes = better;
    }
  }

  std::vector<TrackPiece> placed(const TrackSizes& sizes) const {
    std::vector<TrackPiece> track = transformed(track_of(legs_, sizes), turn(sizes), 1, {0, 0});
    const double scale = std::min(1.0, room(sizes));
    const Box box = box_of(points_of(track));
    const Point middle = (box.least + box.greatest) * (scale / 2);
    return transformed(std::move(track), 0, scale, Point{width_ / 2, height_ / 2} - middle);
  }

  const std::vector<Leg>& legs_;
  std::optional<double> heading_;
  TrackSizes true_;
  double width_;
  double height_;
  Crossings crossings_;
};

}  // namespace

std::vector<TrackPiece> figure_of(const Shape& shape, double width, double height) {
  if (shape.legs.empty()) return {};
  return Fitting(shape, width, height).best();
}

Crossings crossings_of(const std::vector<TrackPiece>& track) {
  Crossings crossings;
  const auto pieces = straight_pieces(track);
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    for (std::size_t j = i + 1; j < pieces.size(); ++j) {
      if (do_cross(*pieces[i], *pieces[j])) crossings.emplace(pieces[i]->leg, pieces[j]->leg);
    }
  }
  return crossings;
}

}  // namespace korvane::schedule::drawing
