#pragma once

#include <cstdint>
#include <string>

namespace korvane::model::cad {

/// The kinds of end treatment. No field has this type: `EndTreatment::type` is a text.
enum class EndTreatmentType : std::int32_t {
  kCollar = 0,
  kThread = 1,
  kAnchorNut = 2,
  kUnknown = 3,
};

/// The treatment of one end of a bar, with the manufacturer's data.
struct EndTreatment {
  std::string type;
  std::string manufacturer;
  std::string model;
  double diameter = 0.0;
  std::string comment;
  bool draw_pointer = false;
  std::string type_description;

  bool operator==(const EndTreatment&) const = default;
};

}  // namespace korvane::model::cad
