#include "schedule/bvbs/write_schedule.h"

#include <cstdint>
#include <iterator>
#include <utility>

#include "schedule/bvbs/write.h"

namespace korvane::schedule::bvbs {

namespace {

using model::cad::BarSpacer;
using model::cad::Fabric;
using model::cad::MountingPart;
using model::cad::Rebar;

std::string text_of(const Properties& properties, const char* key) {
  const auto found = properties.find(key);
  if (found == properties.end() || !found->second.value_string) return {};
  return *found->second.value_string;
}

std::string material_name(const Structure& structure, std::int32_t id) {
  const auto found = structure.materials.find(id);
  return found == structure.materials.end() ? std::string() : found->second.identity.name;
}

void take(std::ostream& output, WrittenLine line, WrittenSchedule& schedule) {
  schedule.remarks.insert(schedule.remarks.end(), std::make_move_iterator(line.remarks.begin()),
                          std::make_move_iterator(line.remarks.end()));
  if (!line.refusal.empty()) {
    schedule.refusals.push_back(std::move(line.refusal));
    return;
  }
  output << line.line << "\r\n";
  ++schedule.lines;
}

}  // namespace

Drawing drawing_of(const Structure& structure, const SelectedRevision& selected) {
  const model::cad::Sheet& sheet = selected.sheet->record;
  const bool has_number =
      sheet.name.empty() || text_of(sheet.properties, kNameInsteadProperty) != sheet.name;
  return {text_of(structure.project.properties, "project"), has_number ? sheet.name : "",
          selected.revision->record.name, "", !has_number};
}

std::string steel_of(const Structure& structure, const Rebar& bar) {
  return bar.material_id ? material_name(structure, *bar.material_id) : std::string();
}

std::string steel_of(const Structure& structure, const Fabric& fabric) {
  const auto type = structure.fabric_types.find(fabric.fabric_type.id);
  const model::cad::FabricType& known =
      type == structure.fabric_types.end() ? fabric.fabric_type : type->second;
  return material_name(structure, known.material.id);
}

WrittenSchedule write_schedule(std::ostream& output, const Structure& structure,
                               const SelectedRevision& selected, const Content& content) {
  WrittenSchedule schedule;
  Drawing drawing = drawing_of(structure, selected);
  for (const Rebar& bar : content.bars) {
    drawing.steel = steel_of(structure, bar);
    take(output, write_bar(bar, drawing), schedule);
  }
  for (const Fabric& fabric : content.fabrics) {
    drawing.steel = steel_of(structure, fabric);
    take(output, write_fabric(fabric, drawing), schedule);
  }
  for (const BarSpacer& spacer : content.bar_spacers) {
    take(output, write_bar_spacer(spacer, drawing), schedule);
  }
  for (const MountingPart& part : content.mounting_parts) {
    schedule.refusals.push_back("mark " + part.mark +
                                ": a mounting part, and the format has no record for one");
  }
  return schedule;
}

}  // namespace korvane::schedule::bvbs
