#pragma once

#include <cstdint>
#include <string>

namespace korvane::model::cad {

/// How a dimension is written on the image of a bar.
enum class DimTextStyle : std::int32_t {
  UseText = 0,
  UseFormattedValue = 1,
};

/// Options for an image of a bar. No operation takes it. `width` has no stated unit.
struct CreateImageOptions {
  double width = 0.04;
  double dpi = 300.0;
  DimTextStyle dim_text_style = DimTextStyle::UseText;
  std::string image_format;
  bool noshape_autogenerate_angle_dimensions_at_kink = true;
  bool show_coordinate_system = false;

  bool operator==(const CreateImageOptions&) const = default;
};

}  // namespace korvane::model::cad
