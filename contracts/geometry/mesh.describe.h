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
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::indices>{"indices"});
    visit(Field<1, &T::vertices>{"vertices"});
    visit(Field<2, &T::vertex_colors>{"vertex_colors"});
    visit(Field<3, &T::outlines>{"outlines"});
    visit(Field<4, &T::baryo>{"baryo"});
    visit(Field<5, &T::edge_exclude>{"edge_exclude"});
    visit(Field<6, &T::node_to_vertices>{"node_to_vertices"});
    visit(Field<7, &T::edge_exclude_outline>{"edge_exclude_outline"});
    visit(Field<8, &T::inner_edges>{"inner_edges"});
  }
};

template <>
struct bond::Describe<korvane::model::geometry::Surface> {
  using T = korvane::model::geometry::Surface;
  static constexpr std::string_view qualified_name = "korvane.model.geometry.Surface";
  static constexpr void fields(auto&&) {}
};
