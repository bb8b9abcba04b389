#include "schedule/drawing/picture.h"

#include <utility>

namespace korvane::schedule::drawing {

void add(Picture& picture, const Picture& part, Point corner) {
  for (Stroke stroke : part.strokes) {
    for (PathStep& step : stroke.path) {
      step.to = step.to + corner;
      step.first_control = step.first_control + corner;
      step.second_control = step.second_control + corner;
    }
    picture.strokes.push_back(std::move(stroke));
  }
  for (Text text : part.texts) {
    text.at = text.at + corner;
    picture.texts.push_back(std::move(text));
  }
}

std::vector<PathStep> path_through(const std::vector<Point>& points) {
  std::vector<PathStep> path;
  for (const Point point : points) {
    path.push_back({path.empty() ? PathStep::Kind::move : PathStep::Kind::line, point});
  }
  return path;
}

std::vector<PathStep> rectangle(Point corner, double width, double height) {
  std::vector<PathStep> path = path_through({corner,
                                             {corner.x + width, corner.y},
                                             {corner.x + width, corner.y + height},
                                             {corner.x, corner.y + height}});
  path.push_back({PathStep::Kind::close, {}});
  return path;
}

}  // namespace korvane::schedule::drawing
