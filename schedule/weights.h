#pragma once

#include <cmath>
#include <optional>

#include "contracts/cad/bar_spacer.h"
#include "contracts/cad/fabric.h"
#include "contracts/cad/rebar.h"

/// Kilograms of whole lines. A weight of 0 is one that nobody stated: there is none then.
namespace korvane::schedule {

inline constexpr double kMillimetresPerMetre = 1000.0;

/// Kilograms per metre of a round bar one millimetre thick, of steel with 7850 kg/m³.
inline constexpr double kMassOfUnitBar = 7850.0 * 3.14159265358979323846 / 4.0 * 1e-6;

/// Kilograms per metre that follow from the diameter in millimetres alone. Steel that is sold under
/// a nominal diameter weighs a little more or less, by country.
inline double nominal_mass_per_length(double diameter) {
  return kMassOfUnitBar * diameter * diameter;
}

inline std::optional<double> known(double weight) {
  return weight == 0 || !std::isfinite(weight) ? std::nullopt : std::optional(weight);
}

inline std::optional<double> mass_of(const model::cad::Rebar& bar) {
  return known(bar.bar_type_mass_per_length * bar.total_length / kMillimetresPerMetre);
}

/// An estimate of what mass_of does not know.
inline double nominal_mass_of(const model::cad::Rebar& bar) {
  return nominal_mass_per_length(bar.bar_diameter) * bar.total_length / kMillimetresPerMetre;
}

inline std::optional<double> mass_of(const model::cad::Fabric& fabric) {
  return known(fabric.fabric_weight * fabric.total_fabrics);
}

inline std::optional<double> mass_of(const model::cad::BarSpacer& spacer) {
  return known(spacer.weight_per_piece * spacer.quantity);
}

}  // namespace korvane::schedule
