#include "schedule/line_text.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <variant>

#include "bond/describe.h"
#include "contracts/cad/diff_state.describe.h"
#include "contracts/cad/fabric_type.describe.h"
#include "contracts/cad/hook.describe.h"
#include "schedule/table_text.h"
#include "schedule/value_text.h"

namespace korvane::schedule {

using namespace model::cad;

namespace {

/// Pieces of text with a separator between those that are not empty.
class Joined {
 public:
  explicit Joined(std::string separator) : separator_(std::move(separator)) {}

  void add(const std::string& piece) {
    if (piece.empty()) return;
    if (!text_.empty()) text_ += separator_;
    text_ += piece;
  }
  std::string take() { return std::move(text_); }

 private:
  std::string separator_;
  std::string text_;
};

std::string millimetres(double value) {
  return value == 0 ? std::string() : format_number(value) + " mm";
}

std::string leg_text(const GeometryObject& piece) {
  Joined text(" ");
  if (piece.length.hasvalue()) text.add(format_number(*piece.length));
  if (piece.radius.hasvalue()) text.add("R" + format_number(*piece.radius));
  if (piece.display_length.hasvalue() && piece.display_length != piece.length) {
    text.add("[" + format_number(*piece.display_length) + "]");
  }
  if (piece.angle.hasvalue() && *piece.angle != 0) {
    text.add("(" + format_number(*piece.angle) + "°)");
  }
  return text.take();
}

}  // namespace

std::string legs_text(const RebarGeometry& geometry) {
  Joined text(" ");
  for (const GeometryObject& piece : geometry.objects) text.add(leg_text(piece));
  const auto& points = geometry.polyline;
  if (!points.empty()) text.add("3D");
  for (std::size_t i = 1; i < points.size(); ++i) {
    text.add(format_number(std::hypot(points[i].x - points[i - 1].x, points[i].y - points[i - 1].y,
                                      points[i].z - points[i - 1].z)));
  }
  return text.take();
}

std::string labels_text(const RebarGeometry& geometry) {
  Joined text("; ");
  for (const GeometryObject& piece : geometry.objects) {
    for (const GeometryLabel& label : piece.labels) text.add(label.text);
  }
  return text.take();
}

std::string vertices_text(const RebarGeometry& geometry) {
  Joined text("; ");
  for (const auto& point : geometry.polyline) {
    text.add(format_number(point.x) + " " + format_number(point.y) + " " + format_number(point.z));
  }
  return text.take();
}

std::string hook_text(const Hook& hook) {
  Joined text(" ");
  text.add(hook.type);
  if (hook.angle != 0) text.add(format_number(hook.angle) + "°");
  text.add(millimetres(hook.length));
  text.add(direction_text(hook.direction));
  return text.take() +
         (hook.total_length == 0 ? "" : ", " + millimetres(hook.total_length) + " in all");
}

std::string direction_text(HookDirection direction) { return enumerator_text(direction); }

std::string treatment_text(const EndTreatment& treatment) {
  Joined text(" ");
  for (const std::string* part :
       {&treatment.type, &treatment.type_description, &treatment.manufacturer, &treatment.model}) {
    text.add(*part);
  }
  if (treatment.diameter != 0) text.add("ø" + format_number(treatment.diameter));
  return text.take() + (treatment.comment.empty() ? "" : ", " + treatment.comment);
}

std::string list_fabric_text(const ListenMatten& layout) {
  Joined text(", ");
  bond::for_each_field<ListenMatten>([&](const auto& field) {
    const double value = layout.*field.member;
    if (value == 0) return;
    std::string name(field.name);
    std::replace(name.begin(), name.end(), '_', ' ');
    text.add(name + " " + format_number(value));
  });
  return text.take();
}

std::string diff_state_text(DiffState state) { return enumerator_text(state); }

std::string textblock_text(const Textblock& textblock) {
  std::string text;
  for (const TextblockRow& row : textblock.items.rows) {
    if (&row != &textblock.items.rows.front()) text += " / ";
    for (const auto& cell : row.cells) {
      if (&cell != &row.cells.front()) text += " | ";
      text += variant_text(cell.value);
    }
  }
  return text;
}

std::string properties_text(const Properties& properties) {
  Joined text("; ");
  for (const auto& [key, value] : properties) {
    if (key != "bvbs") text.add(key + ": " + variant_text(value));
  }
  return text.take();
}

Cell variant_cell(const Variant& value) {
  Variant others = value;
  others.value_int32.reset();
  if (value.value_int32.hasvalue() && others == Variant{}) return std::int64_t{*value.value_int32};
  others = value;
  others.value_double.reset();
  if (value.value_double.hasvalue() && others == Variant{}) return *value.value_double;
  return variant_text(value);
}

std::string cell_text(const Cell& cell) {
  if (const auto* const text = std::get_if<std::string>(&cell)) return *text;
  if (const auto* const count = std::get_if<std::int64_t>(&cell)) return std::to_string(*count);
  const auto* const number = std::get_if<double>(&cell);
  return number == nullptr ? std::string() : format_number(*number, 6);
}

std::string variant_text(const Variant& value) {
  Joined text(" ");
  if (value.value_int32.hasvalue()) text.add(std::to_string(*value.value_int32));
  if (value.value_double.hasvalue()) text.add(format_number(*value.value_double, 6));
  if (value.value_string.hasvalue()) text.add(*value.value_string);
  if (value.value_blob.hasvalue()) {
    text.add(
        encoding::detail::base64_text({value.value_blob->content(), value.value_blob->size()}));
  }
  if (value.bool_.hasvalue()) text.add(*value.bool_ ? "true" : "false");
  return text.take();
}

}  // namespace korvane::schedule
