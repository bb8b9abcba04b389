#pragma once

#include <cstdint>
#include <vector>

#include "contracts/common/rgba_color.h"
#include "contracts/geometry/point.h"

namespace korvane::model::geometry {

/// A mesh of faces over shared vertices.
struct Mesh {
  std::vector<std::int32_t> indices;
  std::vector<Point3d> vertices;
  std::vector<RGBA_Color> vertex_colors;
  std::vector<std::int32_t> outlines;
  std::vector<std::int32_t> baryo;
  std::vector<std::int32_t> edge_exclude;
  std::vector<std::int32_t> node_to_vertices;
  std::vector<std::int32_t> edge_exclude_outline;
  std::vector<std::int32_t> inner_edges;

  bool operator==(const Mesh&) const = default;
};

/// A message without fields.
struct Surface {
  bool operator==(const Surface&) const = default;
};

}  // namespace korvane::model::geometry
