#include "schedule/drawing/strokes.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <numbers>
#include <string>
#include <string_view>

#include "schedule/angles.h"
#include "schedule/drawing/fonts.h"

namespace korvane::schedule::drawing {

namespace {

/// An arc as curves of at most a quarter of a circle.
void add_arc(const TrackPiece& arc, double height, std::vector<PathStep>& path) {
  const int parts = std::max(1, static_cast<int>(std::ceil(std::abs(arc.sweep) / 90)));
  const double step = arc.sweep / parts * kRadiansPerDegree;
  const double handle = 4.0 / 3.0 * std::tan(step / 4) * arc.radius;
  for (int part = 0; part < parts; ++part) {
    const double begin = arc.start_angle * kRadiansPerDegree + part * step;
    const double end = begin + step;
    const Point first = arc.at(static_cast<double>(part) / parts);
    const Point last = arc.at(static_cast<double>(part + 1) / parts);
    const Point leaving{-std::sin(begin), std::cos(begin)};
    const Point arriving{-std::sin(end), std::cos(end)};
    path.push_back({PathStep::Kind::curve, flipped(last, height),
                    flipped(first + leaving * handle, height),
                    flipped(last - arriving * handle, height)});
  }
}

Stroke thin_line(const std::vector<Point>& points) {
  return {path_through(points), kThinWidth, Ink::grey};
}

bool says(const std::string& text, std::string_view word) {
  const auto found = std::search(text.begin(), text.end(), word.begin(), word.end(),
                                 [](unsigned char a, char b) { return std::tolower(a) == b; });
  return found != text.end();
}

/// The four corners of a box that lies along a bar.
std::vector<Point> box_along(Point start, Point along, double length, double width) {
  const Point across = Point{-along.y, along.x} * (width / 2);
  const Point stop = start + along * length;
  return {start + across, stop + across, stop - across, start - across};
}

}  // namespace

Point unit(Point vector) {
  const double length = std::hypot(vector.x, vector.y);
  return length > 0 ? vector * (1 / length) : Point{1, 0};
}

std::vector<PathStep> path_of(const std::vector<TrackPiece>& track, double height) {
  std::vector<PathStep> path;
  for (const TrackPiece& piece : track) {
    if (path.empty()) path.push_back({PathStep::Kind::move, flipped(piece.from, height)});
    if (piece.is_arc) {
      add_arc(piece, height, path);
    } else {
      path.push_back({PathStep::Kind::line, flipped(piece.to, height)});
    }
  }
  return path;
}

std::vector<LabelPlace> places_beside(Point from, Point to, Point centre, const std::string& text) {
  const Point way = to - from;
  const Point normal = unit({-way.y, way.x});
  const Point half = LabelField::half_size(text);
  const double reach = std::abs(normal.x) * half.x + std::abs(normal.y) * half.y;
  const Point middle = (from + to) * 0.5;
  const Point outwards = middle - centre;
  const double outer = normal.x * outwards.x + normal.y * outwards.y >= 0 ? 1 : -1;
  std::vector<LabelPlace> places;
  for (const double fraction : {0.5, 0.38, 0.62, 0.25, 0.75, 0.12, 0.88, 0.0, 1.0}) {
    for (const double side : {1.0, -1.0}) {
      for (int ring = 0; ring < 4; ++ring) {
        const double offset = reach + kBarWidth / 2 + 0.15 + ring * 0.9;
        places.push_back({from + way * fraction + normal * (side * outer * offset),
                          std::abs(fraction - 0.5) * 3 + (side < 0 ? 0.5 : 0) + ring});
      }
    }
  }
  return places;
}

std::vector<LabelPlace> places_around(Point point, Point outwards, const std::string& text) {
  constexpr int kDirections = 24;
  const Point half = LabelField::half_size(text);
  const Point best = unit(outwards);
  std::vector<LabelPlace> places;
  for (int i = 0; i < kDirections; ++i) {
    const double angle = i * 2 * std::numbers::pi / kDirections;
    const Point direction{std::cos(angle), std::sin(angle)};
    const double reach = std::abs(direction.x) * half.x + std::abs(direction.y) * half.y;
    const double turn = 1 - (direction.x * best.x + direction.y * best.y);
    for (int ring = 0; ring < 4; ++ring) {
      places.push_back({point + direction * (reach + 0.6 + ring * 0.9), turn * 1.5 + ring});
    }
  }
  return places;
}

void draw_end(const std::string& treatment, Point point, Point along, Picture& picture,
              LabelField& labels) {
  constexpr double kCouplerLength = 3;
  constexpr double kCouplerWidth = 1.7;
  constexpr double kPlate = 3.2;
  const Point across{-along.y, along.x};
  const auto add_closed = [&](std::vector<Point> points, bool is_filled) {
    Stroke stroke{path_through(points), kThinWidth * 2, Ink::black, is_filled};
    stroke.path.push_back({PathStep::Kind::close, {}});
    picture.strokes.push_back(std::move(stroke));
    points.push_back(points.front());
    labels.add_line(points, kThinWidth * 2);
  };
  if (says(treatment, "coupler") || says(treatment, "sleeve")) {
    add_closed(
        box_along(point - along * (kCouplerLength / 2), along, kCouplerLength, kCouplerWidth),
        true);
  } else if (says(treatment, "thread")) {
    for (int i = 0; i < 4; ++i) {
      const Point middle = point - along * (0.3 + 0.7 * i);
      const std::vector<Point> tick{middle + across * 0.8 + along * 0.25,
                                    middle - across * 0.8 - along * 0.25};
      picture.strokes.push_back({path_through(tick), kThinWidth * 2, Ink::black});
      labels.add_line(tick, kThinWidth * 2);
    }
  } else if (says(treatment, "collar") || says(treatment, "nut") || says(treatment, "anchor") ||
             says(treatment, "plate") || says(treatment, "head")) {
    const std::vector<Point> plate{point + across * (kPlate / 2), point - across * (kPlate / 2)};
    picture.strokes.push_back({path_through(plate), kBarWidth * 1.7, Ink::black});
    labels.add_line(plate, kBarWidth * 1.7);
  } else {
    add_closed(box_along(point, along, 1.6, 1.6), false);
  }
}

void draw_dimension(Point from, Point to, Point direction, double offset, const std::string& text,
                    Picture& picture, LabelField& labels) {
  constexpr double kGap = 0.7;
  constexpr double kTick = 0.6;
  const Point away{-direction.y, direction.x};
  const Point way = to - from;
  const double level = offset - (way.x * away.x + way.y * away.y);
  const Point first = from + away * offset;
  const Point last = to + away * level;
  const auto line = [&](const std::vector<Point>& points) {
    picture.strokes.push_back(thin_line(points));
    labels.add_line(points, kThinWidth);
  };
  const auto helper = [&](Point point, Point end, double length) {
    if (std::abs(length) <= kGap) return;
    const Point ahead = away * (length > 0 ? 1.0 : -1.0);
    line({point + ahead * kGap, end + ahead * kTick});
  };
  line({first, last});
  helper(from, first, offset);
  helper(to, last, level);
  for (const Point end : {first, last}) {
    const Point tick = (direction + away) * (kTick / std::numbers::sqrt2);
    line({end - tick, end + tick});
  }
  const Point middle = (first + last) * 0.5;
  const double side = offset >= 0 ? 1 : -1;
  std::vector<LabelPlace> places = places_beside(first, last, middle - away * side, text);
  labels.add_label(text, places, middle);
}

}  // namespace korvane::schedule::drawing
