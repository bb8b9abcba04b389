#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include "schedule/drawing/numbers.h"
#include "schedule/drawing/sketch.h"
#include "schedule/drawing/sketch_kinds.h"
#include "schedule/drawing/strokes.h"

namespace korvane::schedule::drawing {

namespace {

/// Turns that are drawn of each pitch, at most.
constexpr int kMostTurns = 3;
/// Zones of different pitch that are drawn; the others are in the text.
constexpr std::size_t kMostZones = 6;
constexpr double kTurnWidth = 0.4;
/// How far below the turns their dimension lines are.
constexpr double kBelow = 1.6;

/// One zone as it is drawn.
struct Zone {
  int turns;
  double pitch;
  std::string text;
};

std::vector<Zone> zones_of(const Shape& shape) {
  double largest = 0;
  for (const Turns& turns : shape.turns) largest = std::max(largest, turns.pitch);
  std::vector<Zone> zones;
  for (const Turns& turns : shape.turns) {
    const double count = std::clamp(std::round(turns.count), 1.0, double{kMostTurns});
    // Close turns are seen to be closer, but stay apart.
    const double pitch = 0.35 + 0.65 * turns.pitch / largest;
    zones.push_back({static_cast<int>(count), pitch,
                     short_number(turns.count) + " × " + short_number(turns.pitch)});
    if (zones.size() == kMostZones) break;
  }
  return zones;
}

/// The turns from the side: what is in front thick, what is at the back thin.
void draw_turns(const std::vector<Zone>& zones, Point corner, double width, double height,
                Picture& picture, LabelField& labels) {
  double sum = 0;
  for (const Zone& zone : zones) sum += zone.turns * zone.pitch;
  const double scale = width / sum;
  double x = corner.x;
  bool is_upper_row = true;
  for (const Zone& zone : zones) {
    const double begin = x;
    for (int turn = 0; turn < zone.turns; ++turn) {
      const double step = zone.pitch * scale;
      const Point low{x, corner.y + height};
      const Point high{x + step / 2, corner.y};
      const Point next{x + step, corner.y + height};
      picture.strokes.push_back({path_through({low, high}), kTurnWidth});
      picture.strokes.push_back({path_through({high, next}), kThinWidth * 2, Ink::grey});
      labels.add_line({low, high, next}, kTurnWidth);
      x = next.x;
    }
    const double level = corner.y + height;
    draw_dimension({begin, level}, {x, level}, {1, 0}, kBelow, "", picture, labels);
    // Neighbours stand in two rows, as they are wider than a zone may be.
    const double row = is_upper_row ? 0.9 : 2.1;
    labels.add_label_at(zone.text, {(begin + x) / 2, level + kBelow + row * kLabelSize});
    is_upper_row = !is_upper_row;
  }
}

}  // namespace

Picture helix_sketch(const Shape& shape, double width, double height) {
  Shape section = shape;
  section.kind = Shape::Kind::flat;
  section.turns.clear();
  const double section_width = width * 0.42;
  Picture picture = sketch_of(section, section_width, height);
  picture.width = width;
  LabelField labels(width, height);
  const double top = 2.5;
  const double left = section_width + 2;
  draw_turns(zones_of(shape), {left, top}, width - left - 3, height - top - kBelow - 3 * kLabelSize,
             picture, labels);
  labels.draw(picture);
  return picture;
}

}  // namespace korvane::schedule::drawing
