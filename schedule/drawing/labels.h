#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "schedule/drawing/picture.h"
#include "schedule/drawing/track.h"

/// Finds places for texts where they cover nothing.
namespace korvane::schedule::drawing {

/// A place where a label may stand, and how good it is as such.
struct LabelPlace {
  /// The middle of its text.
  Point middle;
  /// 0 for the best.
  double cost = 0;
};

/// The size of labels in sketches, in millimetres.
inline constexpr double kLabelSize = 2.5;

/// Labels of one picture, and what they must not cover. Coordinates are those of a picture.
class LabelField {
 public:
  LabelField(double width, double height);

  /// Lines that no label may cover, through these points; `width` is that of the pen.
  void add_line(const std::vector<Point>& points, double width);

  /// Half the width and height of a text as a label, with the space around it.
  static Point half_size(const std::string& text);

  /// Puts the text to the cheapest place at which it covers nothing and stays in the field. If there
  /// is none, anywhere in the field with a line to `target`; and if there is no room at all, to the
  /// place where it covers least.
  void add_label(const std::string& text, const std::vector<LabelPlace>& places, Point target);

  /// A label whose place is given.
  void add_label_at(const std::string& text, Point middle);

  /// Draws the labels and the lines to those that stand apart.
  void draw(Picture& picture) const;

 private:
  struct Segment {
    Point from;
    Point to;
    double half_width;
  };
  struct Label {
    std::string text;
    Point middle;
    Box box;
  };

  /// Cells of the field, by their indexes: columns from `left` to `right`, rows from `top` to
  /// `bottom`.
  struct Cells {
    std::size_t left;
    std::size_t top;
    std::size_t right;
    std::size_t bottom;
  };

  /// Those that the box touches; those at the edge for what lies outside.
  Cells cells_of(const Box& box) const;
  void add_segment(const Segment& segment);
  bool is_within(const Box& box) const;
  /// Whether the box covers nothing and is in the field.
  bool is_free(const Box& box) const;
  bool is_over_line(const Box& box) const;
  static bool covers(const Box& box, const Segment& segment);
  /// How many lines and labels the box covers, and more if it leaves the field; `most` or more if
  /// they are so many.
  double conflicts(const Box& box, double most) const;
  void put(const std::string& text, const Box& box);
  bool put_apart(const std::string& text, Point half, Point target);

  double width_;
  double height_;
  std::size_t columns_;
  std::size_t rows_;
  std::vector<Segment> segments_;
  /// The segments that come near each cell, row by row: tangles have thousands.
  std::vector<std::vector<std::size_t>> segments_of_cells_;
  std::vector<Label> labels_;
  std::vector<std::vector<Point>> leaders_;
};

}  // namespace korvane::schedule::drawing
