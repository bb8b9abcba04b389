#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

#include "schedule/bvbs/lines.h"

namespace korvane::test {

/// Makes records of every kind that the exchange format has, with hostile texts and numbers, and
/// some that it cannot say. The same seed makes the same records.
class RandomLines {
 public:
  explicit RandomLines(std::uint32_t seed) : engine_(seed) {}

  model::cad::Rebar bar();
  model::cad::Fabric fabric();
  model::cad::BarSpacer bar_spacer();
  schedule::bvbs::Drawing drawing();

 private:
  std::size_t below(std::size_t limit) { return engine_() % limit; }
  bool one_in(std::size_t count) { return below(count) == 0; }
  std::int32_t pieces();
  double number();
  double positive();
  std::string text();
  std::vector<model::cad::GeometryObject> legs();
  std::vector<model::geometry::Point3d> points();
  bond::nullable<model::cad::EndTreatment> treatment();
  void keep(Properties& properties, const char* key, const std::string& value);

  std::mt19937 engine_;
};

}  // namespace korvane::test
