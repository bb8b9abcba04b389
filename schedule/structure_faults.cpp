#include "schedule/structure_faults.h"

#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <type_traits>
#include <utility>

#include "schedule/change_mark.h"

namespace korvane::schedule {

namespace {

using model::cad::Revision;
using model::cad::Sheet;
using FaultKind = StructureFault::Kind;

std::string_view words_of(ChangeStep step) {
  switch (step) {
    case ChangeStep::filling:
      return "new lines were being stored; it still has the old ones";
    case ChangeStep::whole:
      return "its new lines are whole, and were being put in their place";
    case ChangeStep::placed:
      return "it has its new lines; their first copy is left";
    case ChangeStep::removing:
      return "it was being removed";
    default:
      return "";
  }
}

StructureFault fault_of(const ChangeMark& mark, bool is_sheet) {
  StructureFault fault;
  fault.is_sheet = is_sheet;
  fault.id = mark.id;
  const bool is_at_work = may_be_at_work(mark);
  fault.kind = is_at_work ? FaultKind::change_at_work : FaultKind::unfinished_change;
  if (is_sheet) {
    fault.text = "sheet " + std::to_string(mark.id) + ": an import " +
                 (is_at_work ? "is at work" : "was broken off") + "; what it made is not shown";
  } else {
    fault.text = "revision " + std::to_string(mark.id) + ": a change of revision " +
                 std::to_string(mark.changed_revision) +
                 (is_at_work ? " is at work" : " was broken off") + ": " +
                 std::string(words_of(mark.step));
  }
  return fault;
}

/// Adds a fault for each name that several bear.
template <class Key>
void add_equal_names(const std::map<Key, std::vector<std::int32_t>>& ids, FaultKind kind,
                     std::vector<StructureFault>& faults) {
  for (const auto& [key, all] : ids) {
    if (all.size() < 2) continue;
    StructureFault fault;
    fault.kind = kind;
    fault.is_sheet = kind == FaultKind::sheet_name;
    fault.id = all.front();
    std::string list;
    for (const std::int32_t id : all) {
      if (!list.empty()) list += ", ";
      list += std::to_string(id);
    }
    if constexpr (std::is_same_v<Key, std::string>) {
      fault.text = "the sheets " + list + " are all named \"" + key + "\"";
    } else {
      fault.text = "the revisions " + list + " of sheet " + std::to_string(key.first) +
                   " are all named \"" + key.second + "\"";
    }
    faults.push_back(std::move(fault));
  }
}

}  // namespace

std::vector<StructureFault> structure_faults(const std::vector<Sheet>& sheets,
                                             const std::vector<Revision>& revisions) {
  std::vector<StructureFault> faults;
  std::map<std::string, std::vector<std::int32_t>> sheet_names;
  std::map<std::pair<std::int32_t, std::string>, std::vector<std::int32_t>> revision_names;
  // What a change has made bears the names that it will have.
  std::set<std::string> hidden;
  for (const Sheet& sheet : sheets) {
    if (const std::optional<ChangeMark> mark = mark_of(sheet)) {
      faults.push_back(fault_of(*mark, true));
      hidden.insert(mark->made_uids.begin(), mark->made_uids.end());
      hidden.insert(sheet.uid);
    }
  }
  for (const Sheet& sheet : sheets) {
    if (sheet.name.empty() || hidden.count(sheet.uid) != 0) continue;
    sheet_names[sheet.name].push_back(sheet.id);
  }
  for (const Revision& revision : revisions) {
    if (const std::optional<ChangeMark> mark = mark_of(revision)) {
      faults.push_back(fault_of(*mark, false));
    } else if (!revision.name.empty() && hidden.count(revision.uid) == 0) {
      revision_names[{revision.sheet_id, revision.name}].push_back(revision.id);
    }
  }
  add_equal_names(sheet_names, FaultKind::sheet_name, faults);
  add_equal_names(revision_names, FaultKind::revision_name, faults);
  return faults;
}

}  // namespace korvane::schedule
