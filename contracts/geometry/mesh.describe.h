#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "contracts/common/rgba_color.describe.h"
#include "contracts/geometry/mesh.h"
#include "contracts/geometry/point.describe.h"

template <>
struct bond::Describe<korvane::model::geometry::Mesh> {
  using T = korvane::model::geometry::Mesh;
  static constexpr std::string_view qualified_name = "korvane.model.geometry.Mesh";
  static constexpr auto fields(auto&& list) {
    return list(Field<0, &T::indices>{"indices"}, Field<1, &T::vertices>{"vertices"},
                Field<2, &T::vertex_colors>{"vertex_colors"}, Field<3, &T::outlines>{"outlines"},
                Field<4, &T::baryo>{"baryo"}, Field<5, &T::edge_exclude>{"edge_exclude"},
                Field<6, &T::node_to_vertices>{"node_to_vertices"},
                Field<7, &T::edge_exclude_outline>{"edge_exclude_outline"},
                Field<8, &T::inner_edges>{"inner_edges"});
  }
};

template <>
struct bond::Describe<korvane::model::geometry::Surface> {
  using T = korvane::model::geometry::Surface;
  static constexpr std::string_view qualified_name = "korvane.model.geometry.Surface";
  static constexpr auto fields(auto&& list) { return list(); }
};
