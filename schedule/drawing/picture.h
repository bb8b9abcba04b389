#pragma once

#include <string>
#include <vector>

/// What is drawn, before anything is decided of how it leaves: as PDF, as SVG, on a page.
namespace korvane::schedule::drawing {

/// Millimetres on paper, or of a bar where a comment says so.
struct Point {
  double x = 0;
  double y = 0;

  bool operator==(const Point&) const = default;
  Point operator+(Point other) const { return {x + other.x, y + other.y}; }
  Point operator-(Point other) const { return {x - other.x, y - other.y}; }
  Point operator*(double factor) const { return {x * factor, y * factor}; }
};

/// What a stroke or a text is for: a renderer gives each its colour.
enum class Ink {
  /// What is built, and what people read.
  black,
  /// Dimension lines, leaders and rules.
  grey,
  /// The ground of a heading: light enough for black text, also in print.
  light,
};

struct PathStep {
  enum class Kind { move, line, curve, close };

  Kind kind = Kind::move;
  /// Where it ends. Of no meaning for `close`.
  Point to;
  /// Of a curve: the control points of a cubic Bézier curve.
  Point first_control = {};
  Point second_control = {};
};

struct Stroke {
  std::vector<PathStep> path;
  /// Of the line, in millimetres. 0 for none, with `is_filled`.
  double width = 0;
  Ink ink = Ink::black;
  bool is_filled = false;
  bool is_dashed = false;
};

enum class Align { left, centre, right };

/// One line of text.
struct Text {
  /// On the baseline: the left end, the middle or the right end, after `align`.
  Point at;
  /// UTF-8.
  std::string text;
  /// The size of the font in millimetres.
  double size = 0;
  Align align = Align::left;
  bool is_bold = false;
  /// Counter-clockwise about `at`, in degrees.
  double rotation = 0;
  Ink ink = Ink::black;
};

/// A drawing or a page. x grows to the right and y down, both from 0 at the upper left.
struct Picture {
  /// Millimetres.
  double width = 0;
  double height = 0;
  std::vector<Stroke> strokes;
  std::vector<Text> texts;
};

/// Adds `part` with its upper left corner at `corner`.
void add(Picture& picture, const Picture& part, Point corner);

/// The path through the points, open.
std::vector<PathStep> path_through(const std::vector<Point>& points);

/// The four sides of a rectangle, closed.
std::vector<PathStep> rectangle(Point corner, double width, double height);

}  // namespace korvane::schedule::drawing
