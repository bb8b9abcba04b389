#include "schedule/find_line.h"

#include "platform/rpc4/failure.h"
#include "schedule/line_kind.h"
#include "schedule/query.h"
#include "schedule/stored_line.h"

namespace korvane::schedule {

using namespace model::cad;

namespace {

std::optional<SelectedRevision> revision_with_content(const Structure& structure,
                                                      std::int32_t content_id) {
  for (const SheetEntry& sheet : structure.sheets) {
    for (const RevisionEntry& revision : sheet.revisions) {
      if (revision.content_id == content_id) return SelectedRevision{&sheet, &revision};
    }
  }
  return std::nullopt;
}

}  // namespace

template <class T>
std::string no_line_text(std::int32_t id) {
  return std::string("no ") + LineKind<T>::kOne + " with the id " + std::to_string(id) +
         " in this project";
}

template <class T>
FoundLine<T> find_line(Project_Service& project, const Structure& structure, std::int32_t id) {
  const auto rows =
      query<2>(project, std::string("select rev_id, raw from ") + LineKind<T>::kTable +
                            " where rev_id is not null and id = " + std::to_string(id));
  if (rows.empty()) throw krv::rpc4::NotFound(no_line_text<T>(id));
  const auto& [rev_id, raw] = rows.front();
  const std::optional<SelectedRevision> selected =
      revision_with_content(structure, static_cast<std::int32_t>(integer_in(rev_id)));
  if (!selected) throw krv::rpc4::NotFound(no_line_text<T>(id));
  FoundLine<T> found{stored_line<T>(id, raw), *selected};
  if constexpr (requires { found.item.id; }) found.item.id = id;
  return found;
}

template <class T>
std::vector<std::pair<std::int32_t, T>> read_lines(Project_Service& project,
                                                   const std::vector<std::int32_t>& ids) {
  std::vector<std::pair<std::int32_t, T>> lines;
  if (ids.empty()) return lines;
  std::string list;
  for (const std::int32_t id : ids) list += (list.empty() ? "" : ",") + std::to_string(id);
  for (const auto& [cell, raw] :
       query<2>(project, std::string("select id, raw from ") + LineKind<T>::kTable +
                             " where id in (" + list + ") order by id")) {
    const auto id = static_cast<std::int32_t>(integer_in(cell));
    lines.emplace_back(id, stored_line<T>(id, raw));
  }
  return lines;
}

template std::string no_line_text<Rebar>(std::int32_t);
template std::string no_line_text<Fabric>(std::int32_t);
template FoundLine<Rebar> find_line(Project_Service&, const Structure&, std::int32_t);
template FoundLine<Fabric> find_line(Project_Service&, const Structure&, std::int32_t);
template FoundLine<BarSpacer> find_line(Project_Service&, const Structure&, std::int32_t);
template FoundLine<MountingPart> find_line(Project_Service&, const Structure&, std::int32_t);
template std::vector<std::pair<std::int32_t, Rebar>> read_lines(Project_Service&,
                                                                const std::vector<std::int32_t>&);
template std::vector<std::pair<std::int32_t, Fabric>> read_lines(Project_Service&,
                                                                 const std::vector<std::int32_t>&);

}  // namespace korvane::schedule
