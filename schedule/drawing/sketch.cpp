#include "schedule/drawing/sketch.h"

namespace korvane::schedule::drawing {

Picture sketch_of(const Shape& shape, double width, double height) {
  Picture picture{width, height, {}, {}};
  picture.strokes.push_back({rectangle({0.5, 0.5}, width - 1, height - 1), 0.1, Ink::grey});
  picture.texts.push_back({{width / 2, height / 2}, shape.code, 2.5, Align::centre});
  return picture;
}

}  // namespace korvane::schedule::drawing
