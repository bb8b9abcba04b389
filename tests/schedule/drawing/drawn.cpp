#include "tests/schedule/drawing/drawn.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>

#include "schedule/drawing/fonts.h"
#include "schedule/drawing/strokes.h"

namespace korvane::schedule::drawing {

namespace {

struct Rectangle {
  double left, top, right, bottom;
};

Rectangle rectangle_of(const Text& text) {
  const double width = text_width(text.text, text.size, text.is_bold);
  const double left = text.align == Align::left    ? text.at.x
                      : text.align == Align::right ? text.at.x - width
                                                   : text.at.x - width / 2;
  return {left, text.at.y - text.size * kCapitalHeight, left + width, text.at.y};
}

bool is_inside(const Rectangle& box, Point point, double margin) {
  return point.x > box.left - margin && point.x < box.right + margin &&
         point.y > box.top - margin && point.y < box.bottom + margin;
}

/// Looks at points of the line that are closer to each other than any text is small.
bool does_touch(const Rectangle& box, const std::vector<Point>& line, double width) {
  constexpr double kStep = 0.1;
  for (std::size_t i = 1; i < line.size(); ++i) {
    const Point way = line[i] - line[i - 1];
    const int steps = 1 + static_cast<int>(std::hypot(way.x, way.y) / kStep);
    for (int step = 0; step <= steps; ++step) {
      if (is_inside(box, line[i - 1] + way * (static_cast<double>(step) / steps), width / 2)) {
        return true;
      }
    }
  }
  return false;
}

}  // namespace

std::vector<Point> flattened(const Stroke& stroke) {
  constexpr int kParts = 16;
  std::vector<Point> points;
  for (const PathStep& step : stroke.path) {
    if (step.kind == PathStep::Kind::close) {
      points.push_back(points.front());
    } else if (step.kind == PathStep::Kind::curve) {
      const Point from = points.back();
      for (int part = 1; part <= kParts; ++part) {
        const double t = static_cast<double>(part) / kParts;
        const double u = 1 - t;
        points.push_back(from * (u * u * u) + step.first_control * (3 * u * u * t) +
                         step.second_control * (3 * u * t * t) + step.to * (t * t * t));
      }
    } else {
      points.push_back(step.to);
    }
  }
  return points;
}

std::vector<Text> covering_texts(const Picture& picture) {
  std::vector<Text> covering;
  for (std::size_t i = 0; i < picture.texts.size(); ++i) {
    const Rectangle box = rectangle_of(picture.texts[i]);
    bool covers =
        box.left < 0 || box.top < 0 || box.right > picture.width || box.bottom > picture.height;
    for (const Stroke& stroke : picture.strokes) {
      covers = covers || does_touch(box, flattened(stroke), stroke.width);
    }
    for (std::size_t j = 0; j < i; ++j) {
      const Rectangle other = rectangle_of(picture.texts[j]);
      covers = covers || (box.left < other.right && other.left < box.right &&
                          box.top < other.bottom && other.top < box.bottom);
    }
    if (covers) covering.push_back(picture.texts[i]);
  }
  return covering;
}

const Stroke& bar_of(const Picture& picture) {
  for (const Stroke& stroke : picture.strokes) {
    if (stroke.width == kBarWidth) return stroke;
  }
  throw std::runtime_error("no bar is drawn");
}

std::vector<double> drawn_bends(const Stroke& bar) {
  std::vector<double> bends;
  Point at;
  Point heading;
  double turned = 0;
  const auto turn_to = [&](Point direction) {
    if (heading != Point{}) {
      const double cross = heading.x * direction.y - heading.y * direction.x;
      const double dot = heading.x * direction.x + heading.y * direction.y;
      // y grows downwards, so that a turn to the left is negative.
      turned -= std::atan2(cross, dot) * 180 / std::numbers::pi;
    }
    heading = direction;
  };
  const auto end_bend = [&] {
    if (std::abs(turned) > 0.01) bends.push_back(turned);
    turned = 0;
  };
  for (const PathStep& step : bar.path) {
    if (step.kind == PathStep::Kind::line) {
      turn_to(step.to - at);
      end_bend();
    } else if (step.kind == PathStep::Kind::curve) {
      turn_to(step.first_control - at);
      turn_to(step.to - step.second_control);
    }
    at = step.to;
  }
  end_bend();
  return bends;
}

}  // namespace korvane::schedule::drawing
