#include "tools/korvane/print_project.h"

#include <cmath>
#include <map>
#include <stdexcept>
#include <utility>

#include "tools/korvane/revision_ref.h"
#include "tools/korvane/text_table.h"

namespace korvane::tools {

namespace table = model::table;

using namespace model::cad;

namespace {

using Align = TextTable::Align;

/// The legs in order with the bend after each: "400 (90°) 600", a curved leg as "R400 (45°)". A
/// spatial bar has the distances between its vertices: "3D 294 288 294".
std::string shape_legs(const RebarGeometry& geometry) {
  std::string text;
  const auto append = [&](const std::string& piece) { text += (text.empty() ? "" : " ") + piece; };
  for (const GeometryObject& piece : geometry.objects) {
    if (piece.length.hasvalue()) append(format_number(*piece.length));
    if (piece.radius.hasvalue()) append("R" + format_number(*piece.radius));
    if (piece.angle.hasvalue() && *piece.angle != 0) {
      append("(" + format_number(*piece.angle) + "°)");
    }
  }
  const auto& points = geometry.polyline;
  if (!points.empty()) append("3D");
  for (std::size_t i = 1; i < points.size(); ++i) {
    append(format_number(std::hypot(points[i].x - points[i - 1].x, points[i].y - points[i - 1].y,
                                    points[i].z - points[i - 1].z)));
  }
  return text;
}

std::string property_text(const Properties& properties, const char* key) {
  const auto found = properties.find(key);
  if (found == properties.end() || found->second.value_string.empty()) return {};
  return *found->second.value_string;
}

std::string bar_shape(const Rebar& bar) {
  const std::string pitch = property_text(bar.properties, "pitch");
  return shape_legs(bar.geometry) + (pitch.empty() ? "" : ", turns " + pitch);
}

std::string treatment_text(const char* end, const bond::nullable<EndTreatment>& treatment) {
  if (treatment.empty()) return {};
  std::string text = end;
  for (const std::string* part : {&treatment->type, &treatment->manufacturer, &treatment->model}) {
    if (!part->empty()) text += " " + *part;
  }
  return text;
}

std::string treatments_text(const Rebar& bar) {
  const std::string start = treatment_text("start:", bar.end_treatment_start);
  const std::string end = treatment_text("end:", bar.end_treatment_end);
  return start.empty() || end.empty() ? start + end : start + ", " + end;
}

std::string mark_text(const Rebar& bar) {
  return bar.submark.hasvalue() ? bar.mark + "." + *bar.submark : bar.mark;
}

std::map<std::int32_t, std::string> material_names(Project_Service& project) {
  Batch<Material> materials;
  project.list_materials({}, materials);
  std::map<std::int32_t, std::string> names;
  for (const Material& material : materials.items) names[material.id] = material.identity.name;
  return names;
}

std::string cell_text(const Variant& cell) {
  if (cell.value_int32.hasvalue()) return std::to_string(*cell.value_int32);
  if (cell.value_double.hasvalue()) return format_number(*cell.value_double);
  if (cell.value_string.hasvalue()) return *cell.value_string;
  return {};
}

/// Aligns all columns as numbers: those of expressions come as text from the database.
void print_query(Project_Service& project, const std::string& sql, std::ostream& output) {
  table::GET_TABLE request;
  request.kind = "sql:raw";
  request.params["query"].value_string.set(sql);
  table::TABLE result;
  project.query_table(std::move(request), result);
  std::vector<TextTable::Column> columns;
  for (const table::TableColumn& column : result.columns) {
    columns.push_back({column.name, Align::right});
  }
  TextTable text(std::move(columns));
  for (const auto& row : result.rows) {
    std::vector<std::string> cells;
    for (const Variant& cell : row) cells.push_back(cell_text(cell));
    text.add_row(std::move(cells));
  }
  text.print(output);
}

void print_steel_by_diameter(Project_Service& project, std::int32_t rev_id, std::ostream& output) {
  output << "\nSteel by diameter:\n\n";
  print_query(project,
              "select bar_diameter as diameter, sum(total_bars) as bars, "
              "round(sum(total_length) / 1000, 2) as metres, "
              "round(sum(total_length * bartype_mass_per_length) / 1000, 2) as kilograms "
              "from rebar where rev_id = " +
                  std::to_string(rev_id) + " group by bar_diameter order by bar_diameter",
              output);
}

void print_bars(Project_Service& project, std::int32_t rev_id, std::ostream& output) {
  Batch<Rebar> bars;
  project.get_rebars(revision_ref(rev_id), bars);
  if (bars.items.empty()) return;
  const std::map<std::int32_t, std::string> steel = material_names(project);
  output << '\n' << format_count(bars.items.size(), "bar mark") << ":\n\n";
  TextTable schedule({{"mark", Align::left},
                      {"count", Align::right},
                      {"diameter", Align::right},
                      {"length", Align::right},
                      {"shape legs", Align::left},
                      {"steel", Align::left},
                      {"treatments", Align::left}});
  for (const Rebar& bar : bars.items) {
    const double pieces = bar.total_bars == 0 ? 1 : bar.total_bars;
    const auto material = bar.material_id.hasvalue() ? steel.find(*bar.material_id) : steel.end();
    schedule.add_row({mark_text(bar), std::to_string(bar.total_bars),
                      format_number(bar.bar_diameter), format_number(bar.total_length / pieces),
                      bar_shape(bar), material == steel.end() ? "" : material->second,
                      treatments_text(bar)});
  }
  schedule.print(output);
  print_steel_by_diameter(project, rev_id, output);
}

void print_fabrics(Project_Service& project, std::int32_t rev_id, std::ostream& output) {
  FabricRef ref;
  ref.rev_id = rev_id;
  Fabrics fabrics;
  project.get_all_fabrics_for_revision(std::move(ref), fabrics);
  if (fabrics.fabrics.empty()) return;
  output << '\n' << format_count(fabrics.fabrics.size(), "fabric mark") << ":\n\n";
  TextTable schedule({{"mark", Align::left},
                      {"count", Align::right},
                      {"type", Align::left},
                      {"length", Align::right},
                      {"width", Align::right},
                      {"weight", Align::right},
                      {"shape legs", Align::left},
                      {"steel", Align::left}});
  for (const Fabric& fabric : fabrics.fabrics) {
    schedule.add_row({fabric.mark, std::to_string(fabric.total_fabrics), fabric.type_name,
                      format_number(fabric.length), format_number(fabric.width),
                      format_number(fabric.fabric_weight),
                      fabric.geometry.hasvalue() ? shape_legs(*fabric.geometry) : "",
                      fabric.fabric_type.material.identity.name});
  }
  schedule.print(output);
}

void print_bar_spacers(Project_Service& project, std::int32_t rev_id, std::ostream& output) {
  BarSpacers spacers;
  project.get_all_barspacers_for_revision(revision_ref(rev_id), spacers);
  if (spacers.barspacers.empty()) return;
  output << '\n' << format_count(spacers.barspacers.size(), "bar spacer mark") << ":\n\n";
  TextTable schedule({{"mark", Align::left},
                      {"count", Align::right},
                      {"name", Align::left},
                      {"length", Align::right},
                      {"height", Align::right},
                      {"weight", Align::right}});
  for (const BarSpacer& spacer : spacers.barspacers) {
    schedule.add_row({spacer.mark, std::to_string(spacer.quantity), spacer.name,
                      format_number(spacer.length), property_text(spacer.properties, "height"),
                      format_number(spacer.weight_per_piece)});
  }
  schedule.print(output);
}

}  // namespace

void print_revision(Project_Service& project, std::int32_t rev_id, std::ostream& output) {
  Revision revision;
  project.get_revision(revision_ref(rev_id), revision);
  SheetRef sheet_ref;
  sheet_ref.id = revision.sheet_id;
  Sheet sheet;
  project.get_sheet(std::move(sheet_ref), sheet);
  output << "Sheet " << printable(sheet.name) << ", revision "
         << (revision.name.empty() ? "(unnamed)" : printable(revision.name)) << '\n';
  print_bars(project, rev_id, output);
  print_fabrics(project, rev_id, output);
  print_bar_spacers(project, rev_id, output);
}

void print_project(Project_Service& project, const std::optional<std::string>& revision,
                   std::ostream& output) {
  Batch<Revision> revisions;
  project.list_revisions({}, revisions);
  bool is_first = true;
  for (const Revision& candidate : revisions.items) {
    if (revision && candidate.name != *revision) continue;
    if (!is_first) output << '\n';
    is_first = false;
    print_revision(project, candidate.id, output);
  }
  if (!is_first) return;
  if (revision) {
    throw std::runtime_error("no revision \"" + *revision + "\" in this project");
  }
  output << "This project has no revisions.\n";
}

}  // namespace korvane::tools
