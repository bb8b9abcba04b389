#include "schedule/totals.h"

#include <cmath>
#include <functional>
#include <optional>

#include "schedule/content_tables.h"
#include "schedule/query.h"
#include "schedule/weights.h"

namespace korvane::schedule {

using namespace model::cad;

namespace {

/// The file has NULL for what is not a number, which no sum counts; and no map could order it.
double number_or_zero(double number) { return std::isnan(number) ? 0 : number; }

/// A sum of one line.
Sum line_sum(std::int32_t pieces, double millimetres, const std::optional<double>& mass) {
  Sum sum;
  sum.lines = 1;
  sum.pieces = pieces;
  sum.metres = number_or_zero(millimetres / kMillimetresPerMetre);
  sum.mass = mass.value_or(0);
  sum.lines_without_mass = mass ? 0 : 1;
  return sum;
}

std::string part_name(const std::string& family, const std::string& type) {
  return family.empty() || type.empty() ? family + type : family + ", " + type;
}

std::string text_in(const Variant& cell) {
  return cell.value_string.hasvalue() ? *cell.value_string : std::string();
}

/// The sums of groups of rows, as `select` computes them: the id of the revision, `keys` columns,
/// then the number of rows, of pieces, of millimetres, kilograms, rows without a weight, and what
/// the estimated weight is by.
void for_each_group(
    Project_Service& project, const std::map<std::int32_t, std::int32_t>& shown_by_content,
    const std::string& select, std::size_t keys,
    const std::function<void(std::int32_t, const std::vector<Variant>&, const Sum&)>& visit) {
  constexpr std::size_t kSums = 6;
  for (const auto& row : query(project, select, 1 + keys + kSums)) {
    const auto shown = shown_by_content.find(static_cast<std::int32_t>(integer_in(row[0])));
    if (shown == shown_by_content.end()) continue;
    const std::size_t first = 1 + keys;
    Sum sum;
    sum.lines = integer_in(row[first]);
    sum.pieces = integer_in(row[first + 1]);
    sum.metres = number_in(row[first + 2]) / kMillimetresPerMetre;
    sum.mass = number_in(row[first + 3]);
    sum.lines_without_mass = integer_in(row[first + 4]);
    sum.estimated_mass = number_in(row[first + 5]);
    visit(shown->second, row, sum);
  }
}

/// The columns of sums of a table. A weight that is not a number is NULL, and one that is no finite
/// one or 0 is unknown, as in weights.h.
std::string sums(const std::string& pieces, const std::string& millimetres,
                 const std::string& product, const std::string& estimate) {
  const std::string mass =
      "(case when abs(" + product + ") <= 1.7976931348623157e308 then " + product + " end)";
  const std::string is_unknown = "coalesce(" + mass + ", 0) = 0";
  return "count(*), sum(" + pieces + "), sum(" + millimetres + "), sum(" + mass + "), sum(" +
         is_unknown + "), sum(case when " + is_unknown + " then " + estimate + " else 0 end)";
}

}  // namespace

Sum& Sum::operator+=(const Sum& other) {
  lines += other.lines;
  pieces += other.pieces;
  metres += other.metres;
  mass += other.mass;
  lines_without_mass += other.lines_without_mass;
  estimated_mass += other.estimated_mass;
  return *this;
}

Totals& Totals::operator+=(const Totals& other) {
  const auto add = [](auto& groups, const auto& others) {
    for (const auto& [key, sum] : others) groups[key] += sum;
  };
  add(bars, other.bars);
  add(fabrics, other.fabrics);
  add(bar_spacers, other.bar_spacers);
  add(mounting_parts, other.mounting_parts);
  return *this;
}

Sum sum_of(const Totals& totals) {
  Sum sum = sum_of(totals.bars);
  const double metres = sum.metres;
  sum += sum_of(totals.fabrics);
  sum += sum_of(totals.bar_spacers);
  sum += sum_of(totals.mounting_parts);
  sum.metres = metres;
  return sum;
}

Totals totals_of(const Structure& structure, const Content& content) {
  Totals totals;
  for (const Rebar& bar : content.bars) {
    Sum sum = line_sum(bar.total_bars, bar.total_length, mass_of(bar));
    if (sum.lines_without_mass != 0) sum.estimated_mass = number_or_zero(nominal_mass_of(bar));
    const std::string steel =
        bar.material_id.hasvalue() ? steel_name(structure, *bar.material_id) : std::string();
    totals.bars[{number_or_zero(bar.bar_diameter), steel}] += sum;
  }
  for (const Fabric& fabric : content.fabrics) {
    const FabricType type = type_of(structure, fabric);
    totals.fabrics[{type.type_name, type.material.identity.name}] +=
        line_sum(fabric.total_fabrics, 0, mass_of(fabric));
  }
  for (const BarSpacer& spacer : content.bar_spacers) {
    totals.bar_spacers[spacer.name] +=
        line_sum(spacer.quantity, spacer.length * spacer.quantity, mass_of(spacer));
  }
  for (const MountingPart& part : content.mounting_parts) {
    Sum sum = line_sum(part.quantity, 0, std::nullopt);
    sum.lines_without_mass = 0;
    totals.mounting_parts[part_name(part.family_name.hasvalue() ? *part.family_name : "",
                                    part.type_name.hasvalue() ? *part.type_name : "")] += sum;
  }
  return totals;
}

std::map<std::int32_t, Totals> totals_by_revision(Project_Service& project,
                                                  const Structure& structure) {
  std::map<std::int32_t, std::int32_t> shown_by_content;
  for (const SheetEntry& sheet : structure.sheets) {
    for (const RevisionEntry& revision : sheet.revisions) {
      shown_by_content[revision.content_id] = revision.record.id;
    }
  }
  std::map<std::int32_t, Totals> totals;
  using Row = std::vector<Variant>;
  for_each_group(
      project, shown_by_content,
      "select rev_id, bar_diameter, material_id, " +
          sums("total_bars", "total_length", "bartype_mass_per_length * total_length / 1000",
               "total_length * bar_diameter * bar_diameter") +
          " from rebar group by rev_id, bar_diameter, material_id",
      2, [&](std::int32_t rev_id, const Row& row, Sum sum) {
        sum.estimated_mass *= kMassOfUnitBar / kMillimetresPerMetre;
        const auto material = static_cast<std::int32_t>(integer_in(row[2]));
        totals[rev_id].bars[{number_in(row[1]), steel_name(structure, material)}] += sum;
      });
  for_each_group(project, shown_by_content,
                 "select rev_id, fabric_type_id, " +
                     sums("total_fabrics", "0", "fabric_weight * total_fabrics", "0") +
                     " from fabric group by rev_id, fabric_type_id",
                 1, [&](std::int32_t rev_id, const Row& row, const Sum& sum) {
                   Fabric fabric;
                   fabric.fabric_type.id = static_cast<std::int32_t>(integer_in(row[1]));
                   const FabricType type = type_of(structure, fabric);
                   totals[rev_id].fabrics[{type.type_name, type.material.identity.name}] += sum;
                 });
  for_each_group(project, shown_by_content,
                 "select rev_id, name, " +
                     sums("quantity", "length * quantity", "weight_per_piece * quantity", "0") +
                     " from barspacer group by rev_id, name",
                 1, [&](std::int32_t rev_id, const Row& row, const Sum& sum) {
                   totals[rev_id].bar_spacers[text_in(row[1])] += sum;
                 });
  for_each_group(project, shown_by_content,
                 "select rev_id, family_name, type_name, " + sums("quantity", "0", "1", "0") +
                     " from mountingpart group by rev_id, family_name, type_name",
                 2, [&](std::int32_t rev_id, const Row& row, Sum sum) {
                   sum.mass = 0;
                   totals[rev_id].mounting_parts[part_name(text_in(row[1]), text_in(row[2]))] +=
                       sum;
                 });
  return totals;
}

}  // namespace korvane::schedule
