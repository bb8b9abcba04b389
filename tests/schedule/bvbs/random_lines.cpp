#include "tests/schedule/bvbs/random_lines.h"

#include <array>
#include <cmath>
#include <limits>
#include <string_view>

namespace korvane::test {

using namespace model::cad;
using model::geometry::Point3d;

std::int32_t RandomLines::pieces() {
  if (one_in(60)) return 0;
  if (one_in(60)) return std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(1 + below(400));
}

/// As people write them, as computing leaves them, and the ends of the range.
double RandomLines::number() {
  using Limits = std::numeric_limits<double>;
  constexpr std::array kSpecial = {0.0,  -0.0,  0.1,     1e-7, 1e15,
                                   1e22, 180.0, -123.45, 0.3,  9007199254740993.0};
  if (one_in(300)) return one_in(2) ? Limits::quiet_NaN() : Limits::infinity();
  if (one_in(300)) return one_in(2) ? Limits::max() : Limits::denorm_min();
  if (one_in(20)) return kSpecial[below(kSpecial.size())];
  const double any = static_cast<double>(engine_()) / 1e6;
  if (one_in(5)) return any / 3;
  return std::round(any * 10) / 10 * (one_in(4) ? -1 : 1);
}

double RandomLines::positive() { return one_in(200) ? 0.0 : std::abs(number()); }

std::string RandomLines::text() {
  constexpr std::array<std::string_view, 16> kPieces = {
      "7",  "A",  "g", " ",    "Stütze", "€",  "/", ";",
      "\"", "\\", ",", "BF2D", "C72",    "w0", "-", "\u0160"};
  constexpr std::array<std::string_view, 8> kHostile = {"@",  "@C65@", "\r\n",   "\t",
                                                        "漢", "\xFF",  "\uFFFD", "."};
  std::string result;
  for (std::size_t count = below(4); count != 0; --count) result += kPieces[below(kPieces.size())];
  if (one_in(40)) result += kHostile[below(kHostile.size())];
  return result;
}

std::vector<GeometryObject> RandomLines::legs() {
  std::vector<GeometryObject> pieces;
  for (std::size_t count = 1 + below(6); count != 0; --count) {
    GeometryObject& piece = pieces.emplace_back();
    if (one_in(5)) {
      piece.type = GeometryObjectType::kArc;
      piece.radius.set(number());
      piece.angle.set(number());
    } else {
      piece.length.set(number());
      if (!one_in(8)) piece.angle.set(number());
    }
    if (one_in(60)) piece.length.reset();
    const bool takes_kink = piece.type == GeometryObjectType::kArc || !piece.angle || one_in(60);
    if (takes_kink && one_in(2)) {
      GeometryObject& kink = pieces.emplace_back();
      kink.type = GeometryObjectType::kKink;
      kink.angle.set(number());
    }
  }
  return pieces;
}

std::vector<Point3d> RandomLines::points() {
  std::vector<Point3d> points;
  for (std::size_t count = 2 + below(5); count != 0; --count) {
    points.push_back({number(), number(), number()});
  }
  return points;
}

bond::nullable<EndTreatment> RandomLines::treatment() {
  if (!one_in(3)) return {};
  constexpr std::array<std::string_view, 4> kTypes = {"coupler", "thread", "collar", ""};
  EndTreatment treatment;
  treatment.type = kTypes[below(kTypes.size())];
  treatment.manufacturer = text();
  treatment.model = text();
  return bond::nullable<EndTreatment>(treatment);
}

void RandomLines::keep(Properties& properties, const char* key, const std::string& value) {
  if (one_in(3) && !value.empty()) properties[key].value_string.set(value);
}

Rebar RandomLines::bar() {
  Rebar bar;
  bar.mark = text();
  bar.total_bars = pieces();
  bar.member_multiplier = 1;
  bar.bars_per_member = bar.total_bars;
  // As lines give it, and as any program may.
  bar.total_length = one_in(10) ? positive() : positive() * bar.total_bars;
  bar.bar_diameter = positive();
  bar.standard_bend_diameter = one_in(3) ? 0 : positive();
  bar.bar_type_mass_per_length = one_in(4) ? 0 : positive() / 1000;
  keep(bar.properties, "layer", text());
  keep(bar.properties, "stagger_step", text());
  if (one_in(4)) bar.submark.set(text());
  if (one_in(4)) bar.properties["stagger_group"].value_string.set("g" + text());
  const std::size_t kind = below(20);
  if (kind < 8) {
    bar.geometry.objects = legs();
  } else if (kind < 13) {
    bar.geometry.polyline = points();
  } else if (kind < 19) {
    bar.geometry.objects = legs();
    bar.properties["pitch"].value_string.set(one_in(20)  ? "close"
                                             : one_in(2) ? "6 x 100, 12 x 200.5"
                                                         : "3.5 x 80");
  }
  bar.end_treatment_start = treatment();
  bar.end_treatment_end = treatment();
  return bar;
}

Fabric RandomLines::fabric() {
  Fabric fabric;
  fabric.mark = text();
  fabric.type_name = text();
  fabric.length = positive();
  fabric.width = positive();
  fabric.total_fabrics = pieces();
  fabric.member_multiplier = 1;
  fabric.fabrics_per_member = fabric.total_fabrics;
  fabric.fabric_weight = one_in(4) ? 0 : positive();
  fabric.standard_bend_diameter = one_in(3) ? 0 : positive();
  fabric.fabric_type.type_name = fabric.type_name;
  fabric.fabric_type.overall_length = fabric.length;
  fabric.fabric_type.overall_width = fabric.width;
  fabric.fabric_type.sheet_mass = fabric.fabric_weight;
  keep(fabric.properties, "layer", text());
  if (one_in(2)) {
    fabric.geometry.set().objects = legs();
    if (!one_in(5)) {
      fabric.properties["bent_bars"].value_string.set(one_in(20) ? "both" : one_in(2) ? "x" : "y");
    }
  }
  return fabric;
}

BarSpacer RandomLines::bar_spacer() {
  BarSpacer spacer;
  spacer.mark = text();
  spacer.name = text();
  spacer.length = positive();
  spacer.quantity = pieces();
  spacer.weight_per_piece = one_in(4) ? 0 : positive();
  keep(spacer.properties, "layer", text());
  keep(spacer.properties, "height", text());
  return spacer;
}

schedule::bvbs::Drawing RandomLines::drawing() { return {text(), text(), text(), text()}; }

}  // namespace korvane::test
