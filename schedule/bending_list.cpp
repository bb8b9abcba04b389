#include "schedule/bending_list.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstddef>
#include <utility>

#include "schedule/content_tables.h"
#include "schedule/line_text.h"
#include "schedule/table_text.h"
#include "schedule/value_text.h"
#include "schedule/weights.h"

namespace korvane::schedule {

using namespace model::cad;

namespace {

std::optional<double> positive(double number) {
  return std::isfinite(number) && number > 0 ? std::optional(number) : std::nullopt;
}

std::optional<double> positive(const bond::nullable<double>& number) {
  return number.hasvalue() ? positive(*number) : std::nullopt;
}

std::optional<double> metres(double millimetres) {
  return positive(millimetres / kMillimetresPerMetre);
}

std::string text_in(const bond::nullable<std::string>& text) {
  return text.hasvalue() ? *text : std::string();
}

/// Adds "what: text".
void add_remark(BendingLine& line, const char* what, const std::string& text) {
  if (!text.empty()) line.remarks.push_back(std::string(what) + ": " + text);
}

void add_mandrel(BendingLine& line, const char* what, const std::optional<double>& mandrel) {
  if (mandrel) add_remark(line, what, format_number(*mandrel) + " mm");
}

template <class Record>
void add_remark(BendingLine& line, const char* what, const bond::nullable<Record>& record,
                std::string (*text)(const Record&)) {
  if (record.hasvalue()) add_remark(line, what, text(*record));
}

void add_state(BendingLine& line, const bond::nullable<DiffState>& state) {
  if (state.hasvalue()) add_remark(line, "State", diff_state_text(*state));
}

void set_pieces(BendingLine& line, std::int32_t pieces, std::int32_t members = 0,
                std::int32_t per_member = 0) {
  if (pieces != 0) line.pieces = pieces;
  if (members > 1) line.members = std::to_string(members) + " × " + std::to_string(per_member);
}

BendingBar line_of(const Structure& structure, const Rebar& bar) {
  BendingBar line;
  line.mark = label_of(bar);
  if (bar.material_id.hasvalue()) line.steel = steel_name(structure, *bar.material_id);
  set_pieces(line, bar.total_bars, bar.member_multiplier, bar.bars_per_member);
  line.diameter = positive(bar.bar_diameter);
  if (bar.total_bars > 0) line.length = positive(bar.total_length / bar.total_bars);
  line.total_metres = metres(bar.total_length);
  line.mandrel = positive(bar.standard_bend_diameter);
  line.hook_mandrel = positive(bar.hook_bend_diameter);
  if (line.hook_mandrel == line.mandrel) line.hook_mandrel.reset();
  line.mass = mass_of(bar);
  if (!line.mass) line.estimated_mass = known(nominal_mass_of(bar));
  line.shape = drawing::shape_of(bar);
  add_state(line, bar.diff_state);
  add_remark(line, "Member", bar.member);
  add_remark(line, "Shape code", text_in(bar.shape_code));
  add_remark(line, "Hook at start", bar.start_hook, hook_text);
  add_remark(line, "Hook at end", bar.end_hook, hook_text);
  add_remark(line, "Start", bar.end_treatment_start, treatment_text);
  add_remark(line, "End", bar.end_treatment_end, treatment_text);
  add_mandrel(line, "Mandrel out of plane", positive(bar.out_of_plane_bend_diameter));
  add_remark(line, "Comment", bar.comment);
  add_remark(line, "Text", text_in(bar.custom_text));
  add_remark(line, "Text", bar.textblock, textblock_text);
  return line;
}

BendingFabric line_of(const Structure& structure, const Fabric& fabric) {
  BendingFabric line;
  const FabricType type = type_of(structure, fabric);
  line.mark = label_of(fabric);
  line.steel = type.material.identity.name;
  line.type = fabric.type_name.empty() ? type.type_name : fabric.type_name;
  set_pieces(line, fabric.total_fabrics, fabric.member_multiplier, fabric.fabrics_per_member);
  line.length = positive(fabric.length);
  line.width = positive(fabric.width);
  line.mandrel = positive(fabric.standard_bend_diameter);
  line.mass = mass_of(fabric);
  drawing::Shape shape = drawing::shape_of(fabric);
  const std::string code = text_in(fabric.shape_code);
  if (shape.kind != drawing::Shape::Kind::unknown || !code.empty()) line.shape = std::move(shape);
  add_state(line, fabric.diff_state);
  add_remark(line, "Member", fabric.member);
  add_remark(line, "Shape code", code);
  add_remark(line, "Layout", type.list_fabric, list_fabric_text);
  add_remark(line, "Comment", fabric.comment);
  add_remark(line, "Text", fabric.textblock, textblock_text);
  return line;
}

BendingSpacer line_of(const Structure&, const BarSpacer& spacer) {
  BendingSpacer line;
  line.mark = label_of(spacer);
  line.name = spacer.name;
  set_pieces(line, spacer.quantity);
  line.length = positive(spacer.length);
  line.total_metres = metres(spacer.length * spacer.quantity);
  line.mass = mass_of(spacer);
  add_state(line, spacer.diff_state);
  add_remark(line, "Description", spacer.description);
  return line;
}

/// The texts that are not empty, with commas between.
std::string list_of(std::initializer_list<std::string> texts) {
  std::string list;
  for (const std::string& text : texts) list += (list.empty() || text.empty() ? "" : ", ") + text;
  return list;
}

BendingPart line_of(const Structure& structure, const MountingPart& part) {
  BendingPart line;
  line.mark = label_of(part);
  line.steel = steel_name(structure, part.material_id);
  line.name = list_of({text_in(part.family_name), text_in(part.type_name)});
  line.order =
      list_of({text_in(part.manufacturer), text_in(part.model), text_in(part.order_number)});
  set_pieces(line, part.quantity);
  add_state(line, part.diff_state);
  add_remark(line, "Member", text_in(part.member));
  add_remark(line, "Description", text_in(part.description));
  add_remark(line, "Catalogue", text_in(part.catalog));
  add_remark(line, "Comment", text_in(part.comment));
  return line;
}

/// Adds the lines of `part` to those that `sheet` has.
void add_lines(const Structure& structure, const Content& part, BendingSheet& sheet) {
  const auto add = [&](const auto& records, auto& lines) {
    for (const auto& record : records) lines.push_back(line_of(structure, record));
  };
  add(part.bars, sheet.bars);
  add(part.fabrics, sheet.fabrics);
  add(part.bar_spacers, sheet.bar_spacers);
  add(part.mounting_parts, sheet.mounting_parts);
  sheet.totals += totals_of(structure, part);
}

void sort_by_mark(BendingSheet& sheet) {
  const auto sort = [](auto& lines) {
    std::stable_sort(lines.begin(), lines.end(), [](const auto& line, const auto& other) {
      return is_mark_before(line.mark, other.mark);
    });
  };
  sort(sheet.bars);
  sort(sheet.fabrics);
  sort(sheet.bar_spacers);
  sort(sheet.mounting_parts);
}

/// What people read of properties: not what programs keep there under names with a point.
std::string properties_for_people(Properties properties) {
  for (auto each = properties.begin(); each != properties.end();) {
    each = each->first.find('.') == std::string::npos ? std::next(each) : properties.erase(each);
  }
  return properties_text(properties);
}

BendingSheet heading_of(const SelectedRevision& selected) {
  BendingSheet sheet;
  sheet.sheet = selected.sheet->record.name;
  sheet.revision = selected.revision->record.name;
  for (const std::string& text :
       {selected.sheet->record.comment, properties_for_people(selected.sheet->record.properties),
        properties_for_people(selected.revision->record.properties)}) {
    if (!text.empty()) sheet.comment += (sheet.comment.empty() ? "" : "; ") + text;
  }
  return sheet;
}

bool is_digit(char c) { return c >= '0' && c <= '9'; }

/// The digits at `begin`, without zeros before them. Moves `begin` after them.
std::string_view take_number(std::string_view text, std::size_t& begin) {
  while (begin < text.size() && text[begin] == '0') ++begin;
  const std::size_t first = begin;
  while (begin < text.size() && is_digit(text[begin])) ++begin;
  return text.substr(first, begin - first);
}

}  // namespace

BendingSheet bending_sheet(const Structure& structure, const SelectedRevision& selected,
                           const Content& content) {
  BendingSheet sheet = heading_of(selected);
  add_lines(structure, content, sheet);
  sort_by_mark(sheet);
  return sheet;
}

BendingList read_bending_list(Project_Service& project, const Selection& selection) {
  const Structure structure = read_structure(project);
  const std::vector<SelectedRevision> selected = select_revisions(structure, selection);
  const ContentReader reader(project);
  BendingList list;
  const auto name = structure.project.properties.find("project");
  if (name != structure.project.properties.end()) list.project = variant_text(name->second);
  for (const SelectedRevision& each : selected) {
    BendingSheet sheet = heading_of(each);
    reader.read_in_parts(each.revision->content_id,
                         [&](Content&& part) { add_lines(structure, part, sheet); });
    sort_by_mark(sheet);
    list.sheets.push_back(std::move(sheet));
  }
  const std::string note = several_revisions_note(selected);
  if (!note.empty()) list.notes.push_back(note);
  return list;
}

bool is_mark_before(const std::string& mark, const std::string& other) {
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < mark.size() && j < other.size()) {
    if (is_digit(mark[i]) && is_digit(other[j])) {
      const std::string_view number = take_number(mark, i);
      const std::string_view other_number = take_number(other, j);
      if (number.size() != other_number.size()) return number.size() < other_number.size();
      if (number != other_number) return number < other_number;
    } else if (mark[i] != other[j]) {
      return static_cast<unsigned char>(mark[i]) < static_cast<unsigned char>(other[j]);
    } else {
      ++i;
      ++j;
    }
  }
  return mark.size() - i < other.size() - j;
}

}  // namespace korvane::schedule
