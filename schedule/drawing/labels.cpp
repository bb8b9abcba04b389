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

/// Whether any part of the segment is within the box, which is grown by `margin`.
bool do_meet(Point from, Point to, const Box& box, double margin) {
  double begin = 0;
  double end = 1;
  const auto clip = [&](double start, double way, double least, double greatest) {
    if (std::abs(way) < 1e-12) return start >= least && start <= greatest;
    const auto [first, last] = std::minmax((least - start) / way, (greatest - start) / way);
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

Box without_space(const Box& box) {
  const Point space{kSpace, kSpace};
  return {box.least + space, box.greatest - space};
}

Point nearest(const Box& box, Point point) {
  return {std::clamp(point.x, box.least.x, box.greatest.x),
          std::clamp(point.y, box.least.y, box.greatest.y)};
}

}  // namespace

void LabelField::add_line(const std::vector<Point>& points, double width) {
  for (std::size_t i = 1; i < points.size(); ++i) {
    segments_.push_back({points[i - 1], points[i], width / 2});
  }
}

Box LabelField::box_of_label(const std::string& text, Point middle) {
  const Point half{text_width(text, kLabelSize) / 2 + kSpace,
                   kLabelSize * kCapitalHeight / 2 + kSpace};
  return {middle - half, middle + half};
}

double LabelField::conflicts(const Box& box) const {
  constexpr double kOutside = 10;
  double count = 0;
  if (box.least.x < 0 || box.least.y < 0 || box.greatest.x > width_ || box.greatest.y > height_) {
    count += kOutside;
  }
  for (const Segment& segment : segments_) {
    if (do_meet(segment.from, segment.to, box, segment.half_width)) ++count;
  }
  for (const Label& label : labels_) {
    if (do_meet(label.box, box)) ++count;
  }
  return count;
}

void LabelField::put(const std::string& text, Point middle) {
  labels_.push_back({text, middle, box_of_label(text, middle)});
}

void LabelField::add_label_at(const std::string& text, Point middle) { put(text, middle); }

void LabelField::add_label(const std::string& text, const std::vector<LabelPlace>& places,
                           Point target) {
  std::vector<LabelPlace> sorted = places;
  std::stable_sort(
      sorted.begin(), sorted.end(),
      [](const LabelPlace& one, const LabelPlace& other) { return one.cost < other.cost; });
  const LabelPlace* best = nullptr;
  double least = HUGE_VAL;
  for (const LabelPlace& place : sorted) {
    const double count = conflicts(box_of_label(text, place.middle));
    if (count == 0) return put(text, place.middle);
    if (count >= least) continue;
    least = count;
    best = &place;
  }
  if (put_apart(text, target)) return;
  put(text, best == nullptr ? target : best->middle);
}

bool LabelField::put_apart(const std::string& text, Point target) {
  constexpr double kStep = 1.5;
  Point found;
  double least = HUGE_VAL;
  for (double y = 0; y <= height_; y += kStep) {
    for (double x = 0; x <= width_; x += kStep) {
      const double way = std::hypot(x - target.x, y - target.y);
      const Box box = box_of_label(text, {x, y});
      if (way >= least || conflicts(box) != 0) continue;
      const Point end = nearest(box, target);
      const bool is_free = std::none_of(labels_.begin(), labels_.end(), [&](const Label& label) {
        return do_meet(end, target, label.box, kLeaderWidth);
      });
      if (!is_free) continue;
      least = way;
      found = {x, y};
    }
  }
  if (least == HUGE_VAL) return false;
  put(text, found);
  leaders_.push_back({nearest(labels_.back().box, target), target});
  // Later labels leave the leader free; its own touches it.
  const Point start = leaders_.back().front();
  segments_.push_back({start + (target - start) * 0.05, target, kLeaderWidth / 2});
  return true;
}

int LabelField::overlaps() const {
  int count = 0;
  for (std::size_t i = 0; i < labels_.size(); ++i) {
    const Box text = without_space(labels_[i].box);
    const auto earlier = labels_.begin() + static_cast<std::ptrdiff_t>(i);
    const bool is_over_line =
        std::any_of(segments_.begin(), segments_.end(), [&](const Segment& segment) {
          return do_meet(segment.from, segment.to, text, segment.half_width);
        });
    const bool is_over_label = std::any_of(labels_.begin(), earlier, [&](const Label& label) {
      return do_meet(without_space(label.box), text);
    });
    if (is_over_line || is_over_label) ++count;
  }
  return count;
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
