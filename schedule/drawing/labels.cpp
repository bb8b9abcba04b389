#include "schedule/drawing/labels.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "schedule/drawing/fonts.h"

namespace korvane::schedule::drawing {

namespace {

/// Millimetres around a text.
constexpr double kSpace = 0.3;
constexpr double kLeaderWidth = 0.12;
/// A label is seldom in more than three of these cells.
constexpr double kCellSize = 5;

/// Whether any part of the segment is within the box, which is grown by `margin`.
bool do_meet(Point from, Point to, const Box& box, double margin) {
  double begin = 0;
  double end = 1;
  const auto clip = [&](double start, double way, double least, double greatest) {
    if (std::abs(way) < 1e-12) return start >= least && start <= greatest;
    const auto [first, last] = std::minmax({(least - start) / way, (greatest - start) / way});
    begin = std::max(begin, first);
    end = std::min(end, last);
    return begin <= end;
  };
  return clip(from.x, to.x - from.x, box.least.x - margin, box.greatest.x + margin) &&
         clip(from.y, to.y - from.y, box.least.y - margin, box.greatest.y + margin);
}

bool do_meet(const Box& one, const Box& other) {
  return one.least.x < other.greatest.x && other.least.x < one.greatest.x &&
         one.least.y < other.greatest.y && other.least.y < one.greatest.y;
}

Point nearest(const Box& box, Point point) {
  return {std::clamp(point.x, box.least.x, box.greatest.x),
          std::clamp(point.y, box.least.y, box.greatest.y)};
}

}  // namespace

LabelField::LabelField(double width, double height)
    : width_(width),
      height_(height),
      columns_(static_cast<std::size_t>(width / kCellSize) + 1),
      rows_(static_cast<std::size_t>(height / kCellSize) + 1),
      segments_of_cells_(columns_ * rows_) {}

LabelField::Cells LabelField::cells_of(const Box& box) const {
  const auto index = [](double position, std::size_t count) {
    const double last = static_cast<double>(count - 1);
    const double cell = position / kCellSize;
    // Also for what is not a number.
    return cell > 0 ? static_cast<std::size_t>(std::min(cell, last)) : 0;
  };
  return {index(box.least.x, columns_), index(box.least.y, rows_), index(box.greatest.x, columns_),
          index(box.greatest.y, rows_)};
}

void LabelField::add_segment(const Segment& segment) {
  const Point margin{segment.half_width, segment.half_width};
  const Box box = box_of({segment.from, segment.to});
  const Cells cells = cells_of({box.least - margin, box.greatest + margin});
  for (std::size_t row = cells.top; row <= cells.bottom; ++row) {
    for (std::size_t column = cells.left; column <= cells.right; ++column) {
      segments_of_cells_[row * columns_ + column].push_back(segments_.size());
    }
  }
  segments_.push_back(segment);
}

void LabelField::add_line(const std::vector<Point>& points, double width) {
  for (std::size_t i = 1; i < points.size(); ++i) {
    add_segment({points[i - 1], points[i], width / 2});
  }
}

Point LabelField::half_size(const std::string& text) {
  return {text_width(text, kLabelSize) / 2 + kSpace, kLabelSize * kCapitalHeight / 2 + kSpace};
}

bool LabelField::is_within(const Box& box) const {
  return box.least.x >= 0 && box.least.y >= 0 && box.greatest.x <= width_ &&
         box.greatest.y <= height_;
}

bool LabelField::is_over_line(const Box& box) const {
  const Cells cells = cells_of(box);
  for (std::size_t row = cells.top; row <= cells.bottom; ++row) {
    for (std::size_t column = cells.left; column <= cells.right; ++column) {
      for (const std::size_t segment : segments_of_cells_[row * columns_ + column]) {
        if (covers(box, segments_[segment])) return true;
      }
    }
  }
  return false;
}

bool LabelField::is_free(const Box& box) const {
  return is_within(box) &&
         std::none_of(labels_.begin(), labels_.end(),
                      [&](const Label& label) { return do_meet(label.box, box); }) &&
         !is_over_line(box);
}

bool LabelField::covers(const Box& box, const Segment& segment) {
  const auto [left, right] = std::minmax(segment.from.x, segment.to.x);
  const auto [top, bottom] = std::minmax(segment.from.y, segment.to.y);
  if (left - segment.half_width > box.greatest.x || right + segment.half_width < box.least.x ||
      top - segment.half_width > box.greatest.y || bottom + segment.half_width < box.least.y) {
    return false;
  }
  return do_meet(segment.from, segment.to, box, segment.half_width);
}

double LabelField::conflicts(const Box& box, double most) const {
  constexpr double kOutside = 10;
  double count = is_within(box) ? 0 : kOutside;
  for (const Label& label : labels_) count += do_meet(label.box, box) ? 1 : 0;
  for (const Segment& segment : segments_) {
    if (count >= most) break;
    count += covers(box, segment) ? 1 : 0;
  }
  return count;
}

void LabelField::put(const std::string& text, const Box& box) {
  labels_.push_back({text, (box.least + box.greatest) * 0.5, box});
}

void LabelField::add_label_at(const std::string& text, Point middle) {
  const Point half = half_size(text);
  put(text, {middle - half, middle + half});
}

void LabelField::add_label(const std::string& text, const std::vector<LabelPlace>& places,
                           Point target) {
  if (text.empty()) return;
  std::vector<LabelPlace> sorted = places;
  std::stable_sort(
      sorted.begin(), sorted.end(),
      [](const LabelPlace& one, const LabelPlace& other) { return one.cost < other.cost; });
  const Point half = half_size(text);
  const auto box_at = [half](Point middle) { return Box{middle - half, middle + half}; };
  for (const LabelPlace& place : sorted) {
    if (is_free(box_at(place.middle))) return put(text, box_at(place.middle));
  }
  if (put_apart(text, half, target)) return;
  Point best = target;
  double least = HUGE_VAL;
  for (const LabelPlace& place : sorted) {
    const double count = conflicts(box_at(place.middle), least);
    if (count >= least) continue;
    least = count;
    best = place.middle;
  }
  put(text, box_at(best));
}

bool LabelField::put_apart(const std::string& text, Point half, Point target) {
  constexpr double kLeastStep = 1.5;
  constexpr double kMostPlaces = 4000;
  const double step = std::max(kLeastStep, std::sqrt(width_ * height_ / kMostPlaces));
  Box found{};
  double least = HUGE_VAL;
  for (double y = half.y; y <= height_ - half.y; y += step) {
    for (double x = half.x; x <= width_ - half.x; x += step) {
      const double way = std::hypot(x - target.x, y - target.y);
      const Box box{Point{x, y} - half, Point{x, y} + half};
      if (way >= least || !is_free(box)) continue;
      const Point end = nearest(box, target);
      const bool is_clear = std::none_of(labels_.begin(), labels_.end(), [&](const Label& label) {
        return do_meet(end, target, label.box, kLeaderWidth);
      });
      if (!is_clear) continue;
      least = way;
      found = box;
    }
  }
  if (least == HUGE_VAL) return false;
  put(text, found);
  const Point start = nearest(found, target);
  leaders_.push_back({start, target});
  // Later labels leave the leader free; its own touches it.
  add_segment({start + (target - start) * 0.05, target, kLeaderWidth / 2});
  return true;
}

void LabelField::draw(Picture& picture) const {
  for (const std::vector<Point>& leader : leaders_) {
    picture.strokes.push_back({path_through(leader), kLeaderWidth, Ink::grey});
  }
  for (const Label& label : labels_) {
    const Point at{label.middle.x, label.middle.y + kLabelSize * kCapitalHeight / 2};
    picture.texts.push_back({at, label.text, kLabelSize, Align::centre});
  }
}

}  // namespace korvane::schedule::drawing
