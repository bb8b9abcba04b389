#include "schedule/drawing/find_shape.h"

#include <cstddef>
#include <cstdint>

#include "platform/rpc4/failure.h"
#include "schedule/line_text.h"
#include "schedule/query.h"
#include "schedule/stored_line.h"
#include "schedule/xlsx_text.h"

namespace korvane::schedule::drawing {

using namespace model::cad;

namespace {

constexpr std::size_t kLongestDescription = 300;

/// The condition of rows with a mark, alone or with all that stands around it.
std::string has_mark(const LineName& name) {
  const std::string mark = sql_text(name.mark);
  std::string label = "coalesce(mark_prefix, '') || mark || coalesce(mark_suffix, '')";
  if (!name.is_fabric) label += " || coalesce('.' || submark, '')";
  return "(mark = " + mark + " or " + label + " = " + mark + ")";
}

/// A condition and the order of rows that it takes.
struct Place {
  std::string condition;
  std::string text;
};

Place place_of(Project_Service& project, const LineName& name) {
  const std::string kind = name.is_fabric ? "fabric" : "bar";
  if (name.id) {
    const std::string id = std::to_string(*name.id);
    return {"id = " + id, "no " + kind + " with the id " + id + " in this project"};
  }
  const Structure structure = read_structure(project);
  const SelectedRevision selected = select_one(structure, name.selection);
  std::string text = "no " + kind + " of mark \"" + name.mark + "\" in " + name_of(selected);
  if (name.position > 1) text += " at position " + std::to_string(name.position);
  return {"rev_id = " + std::to_string(selected.revision->content_id) + " and " + has_mark(name) +
              " order by id limit 1 offset " + std::to_string(name.position - 1),
          text};
}

template <class T>
FoundShape found(const T& line, const std::string& legs) {
  std::string text = "Mark " + label_of(line);
  if (!legs.empty()) text += ": " + legs;
  return {shape_of(line), first_characters(text, kLongestDescription)};
}

}  // namespace

FoundShape find_shape(Project_Service& project, const LineName& name) {
  const Place place = place_of(project, name);
  const auto rows =
      query<2>(project, std::string("select id, raw from ") +
                            (name.is_fabric ? "fabric" : "rebar") + " where " + place.condition);
  if (rows.empty()) throw krv::rpc4::NotFound(place.text);
  const auto& [cell, raw] = rows.front();
  const std::int64_t id = integer_in(cell);
  if (name.is_fabric) return found_shape(stored_line<Fabric>(id, raw));
  return found_shape(stored_line<Rebar>(id, raw));
}

FoundShape found_shape(const Rebar& bar) { return found(bar, legs_text(bar.geometry)); }

FoundShape found_shape(const Fabric& fabric) {
  return found(fabric, fabric.geometry.hasvalue() ? legs_text(*fabric.geometry) : "");
}

}  // namespace korvane::schedule::drawing
