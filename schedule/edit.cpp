#include "schedule/edit.h"

#include <algorithm>
#include <charconv>
#include <set>
#include <string_view>
#include <utility>

#include <nlohmann/json.hpp>

#include "bond/compact_binary.h"
#include "contracts/cad/contracts.describe.h"
#include "contracts/encoding/json.h"
#include "contracts/encoding/json_text.h"
#include "contracts/encoding/record_codec.h"
#include "platform/rpc4/failure.h"
#include "schedule/bvbs/source.h"
#include "schedule/changes.h"
#include "schedule/find_line.h"
#include "schedule/query.h"

namespace korvane::schedule {

using namespace model::cad;
using krv::rpc4::BadRequest;
using krv::rpc4::NotFound;
using Json = nlohmann::ordered_json;

namespace {

constexpr std::size_t kMostElements = 10'000;

[[noreturn]] void refuse_path(const std::string& path) {
  throw BadRequest(encoding::detail::shown(path) + " is not a field: expected a path such as " +
                   "parameters_exact.a or geometry.objects[0].length");
}

/// Where the path leads in `json`, which grows to hold it.
Json& at_path(Json& json, const std::string& path) {
  Json* place = &json;
  std::size_t depth = 0;
  const auto go_down = [&](Json& inner) {
    if (++depth > bond::kMaxDepth) refuse_path(path);
    place = &inner;
  };
  std::string_view rest = path;
  while (true) {
    const std::size_t end = std::min(rest.find_first_of(".["), rest.size());
    if (end == 0 || !(place->is_object() || place->is_null())) refuse_path(path);
    go_down((*place)[std::string(rest.substr(0, end))]);
    rest.remove_prefix(end);
    while (rest.starts_with('[')) {
      std::size_t index = 0;
      const char* const last = rest.data() + rest.size();
      const auto [stop, error] = std::from_chars(rest.data() + 1, last, index);
      if (error != std::errc() || stop == last || *stop != ']' || index >= kMostElements) {
        refuse_path(path);
      }
      if (!(place->is_array() || place->is_null())) refuse_path(path);
      if (place->is_array() && index > place->size()) refuse_path(path);
      go_down((*place)[index]);
      rest.remove_prefix(static_cast<std::size_t>(stop - rest.data()) + 1);
    }
    if (rest.empty()) return *place;
    if (rest.front() != '.') refuse_path(path);
    rest.remove_prefix(1);
  }
}

Json as_json(const Rebar& bar) {
  try {
    return Json::parse(encoding::to_json(bar));
  } catch (const encoding::JsonError& failure) {
    throw BadRequest(std::string("the bar cannot be edited: ") + failure.what());
  }
}

/// The bar with one field changed.
Rebar with_value(const Rebar& bar, const Assignment& assignment) {
  Json json = as_json(bar);
  Json& place = at_path(json, assignment.field);
  const Json literal = Json::parse(assignment.value, nullptr, false);
  const auto read = [&](const Json& value) {
    place = value;
    return encoding::from_json<Rebar>(json.dump());
  };
  try {
    if (literal.is_discarded()) return read(assignment.value);
    try {
      return read(literal);
    } catch (const encoding::JsonError&) {
      // The mark 10 is a text: without quotation marks it reads as a number.
      if (literal.is_string()) throw;
      try {
        return read(assignment.value);
      } catch (const encoding::JsonError&) {
        return read(literal);  // whose refusal says more
      }
    }
  } catch (const encoding::JsonError& failure) {
    throw BadRequest(assignment.field + "=" + assignment.value + ": " + failure.what());
  } catch (const Json::exception&) {
    throw BadRequest(assignment.field + "=" + assignment.value + ": expected text in UTF-8");
  }
}

std::int32_t material_named(const Structure& structure, const std::string& name) {
  for (const auto& [id, material] : structure.materials) {
    if (material.identity.name == name) return id;
  }
  throw NotFound("no material \"" + name + "\" in this project");
}

/// Sets what follows from the counts that were assigned.
void follow_counts(Rebar& bar, const Rebar& before, const std::set<std::string>& assigned) {
  const auto total_of = [](const Rebar& one) {
    return std::int64_t{one.bars_per_member} * one.member_multiplier;
  };
  const bool has_members = total_of(before) == before.total_bars && before.member_multiplier != 0;
  const bool is_total = assigned.count("total_bars") != 0;
  const bool is_per_member =
      assigned.count("bars_per_member") != 0 || assigned.count("member_multiplier") != 0;
  if (has_members && is_per_member && !is_total) {
    if (!std::in_range<std::int32_t>(total_of(bar))) {
      throw BadRequest(std::to_string(total_of(bar)) + " bars are more than a line can have");
    }
    bar.total_bars = static_cast<std::int32_t>(total_of(bar));
  } else if (has_members && is_total && !is_per_member &&
             std::int64_t{bar.total_bars} % bar.member_multiplier == 0) {
    // The least number has no opposite in 32 bits.
    const std::int64_t each = std::int64_t{bar.total_bars} / bar.member_multiplier;
    if (std::in_range<std::int32_t>(each)) bar.bars_per_member = static_cast<std::int32_t>(each);
  }
  if (assigned.count("total_length") == 0 && before.total_bars > 0) {
    bar.total_length = before.total_length / before.total_bars * bar.total_bars;
  }
}

Cell steel_of(const Structure& structure, const Rebar& bar) {
  if (bar.material_id.empty()) return {};
  const auto found = structure.materials.find(*bar.material_id);
  return found == structure.materials.end() ? Cell() : Cell(found->second.identity.name);
}

std::vector<FieldDifference> changes_of(const Structure& structure, const Rebar& before,
                                        const Rebar& after) {
  DifferenceFinder finder;
  finder.compare("", before, after);
  std::vector<FieldDifference> changes = finder.take();
  for (FieldDifference& change : changes) {
    if (change.field != "material_id") continue;
    change = {"steel", steel_of(structure, before), steel_of(structure, after)};
  }
  return changes;
}

std::string shown_mark(const Rebar& bar) {
  return bar.submark.hasvalue() ? bar.mark + "." + *bar.submark : bar.mark;
}

/// How many bars of a revision come before that row.
std::size_t position_of(Project_Service& project, std::int32_t content_id, std::int32_t id) {
  const auto [count] = query_row<1>(
      project, "select count(*) from rebar where rev_id = " + std::to_string(content_id) +
                   " and id < " + std::to_string(id));
  return static_cast<std::size_t>(integer_in(count));
}

std::int32_t id_at(Project_Service& project, std::int32_t content_id, std::size_t position) {
  const auto rows =
      query<1>(project, "select id from rebar where rev_id = " + std::to_string(content_id) +
                            " order by id limit 1 offset " + std::to_string(position));
  return rows.empty() ? 0 : static_cast<std::int32_t>(integer_in(rows.front()[0]));
}

/// Whether they differ in no more than where they are stored.
bool is_same(Rebar a, const Rebar& b) {
  a.id = b.id;
  a.rev_id = b.rev_id;
  a.sheet_id = b.sheet_id;
  // By their bytes: a number that is none differs from itself.
  return encoding::encode(a) == encoding::encode(b);
}

/// Edits the bar at that position of a content.
EditedBar edit_at(Project_Service& project, const Structure& structure,
                  const RevisionEntry& revision, Content& content, std::size_t position,
                  const std::vector<Assignment>& assignments, bool is_trial,
                  const RevisionCheck& check, const std::function<void()>& step) {
  Rebar& bar = content.bars[position];
  EditedBar result{bar, edited(bar, assignments, structure, step), {}, 0, revision};
  result.changes = changes_of(structure, result.before, result.after);
  if (!is_trial && result.after != result.before) {
    bar = result.after;
    replace_content(project, revision.record.id, content, [&] {
      if (check) check(revision);
    });
    result.revision.content_id = revision.record.id;
  }
  result.id = id_at(project, result.revision.content_id, position);
  return result;
}

SelectedRevision revision_of_id(const Structure& structure, std::int32_t id) {
  for (const SheetEntry& sheet : structure.sheets) {
    for (const RevisionEntry& revision : sheet.revisions) {
      if (revision.record.id == id) return {&sheet, &revision};
    }
  }
  throw NotFound("no revision " + std::to_string(id) + " in this project");
}

}  // namespace

Assignment parse_assignment(const std::string& text) {
  const std::size_t sign = text.find('=');
  if (sign == 0 || sign == std::string::npos) {
    throw BadRequest("\"" + text + "\" is not an assignment: expected FIELD=VALUE");
  }
  return {text.substr(0, sign), text.substr(sign + 1)};
}

Rebar edited(const Rebar& bar, const std::vector<Assignment>& assignments,
             const Structure& structure, const std::function<void()>& step) {
  Rebar result = bar;
  std::set<std::string> assigned;
  for (const Assignment& assignment : assignments) {
    if (step) step();
    for (const char* const fixed : {"id", "rev_id", "sheet_id"}) {
      if (assignment.field == fixed) {
        throw BadRequest(assignment.field + " cannot be edited: the store sets it");
      }
    }
    if (!assigned.insert(assignment.field).second) {
      throw BadRequest(assignment.field + " is assigned twice");
    }
    if (assignment.field == "steel") {
      result.material_id.set(material_named(structure, assignment.value));
    } else {
      result = with_value(result, assignment);
    }
  }
  if (result.total_bars != bar.total_bars || result.bars_per_member != bar.bars_per_member ||
      result.member_multiplier != bar.member_multiplier) {
    follow_counts(result, bar, assigned);
  }
  if (result.material_id.empty() ||
      structure.materials.find(*result.material_id) == structure.materials.end()) {
    throw NotFound("no material of the id that the bar would have: expected steel=NAME");
  }
  bvbs::drop_stale_source(result, structure.materials.at(*result.material_id).identity.name);
  return result;
}

EditedBar edit_bar(Project_Service& project, const Selection& selection, const std::string& mark,
                   const std::vector<Assignment>& assignments, bool is_trial) {
  if (!is_trial) finish_changes(project);
  const Structure structure = read_structure(project);
  const SelectedRevision selected = select_one(structure, selection);
  Content content = ContentReader(project).read(selected.revision->content_id);
  std::vector<std::size_t> found;
  for (std::size_t i = 0; i < content.bars.size(); ++i) {
    const Rebar& bar = content.bars[i];
    if (bar.mark == mark || shown_mark(bar) == mark) found.push_back(i);
  }
  const std::string where = "\"" + mark + "\" in " + name_of(selected);
  if (found.empty()) throw NotFound("no bar " + where);
  if (found.size() > 1) {
    throw BadRequest(std::to_string(found.size()) + " bars have the mark " + where);
  }
  return edit_at(project, structure, *selected.revision, content, found[0], assignments, is_trial,
                 {}, {});
}

EditedBar edit_bar(Project_Service& project, std::int32_t id,
                   const std::vector<Assignment>& assignments, bool is_trial,
                   const RevisionCheck& check, const std::function<void()>& step) {
  Structure structure = read_structure(project);
  const FoundLine<Rebar> found = find_line<Rebar>(project, structure, id);
  const std::int32_t revision_id = found.selected.revision->record.id;
  const std::size_t position = position_of(project, found.selected.revision->content_id, id);
  if (!is_trial) {
    // It may give the bar another row.
    finish_changes(project);
    structure = read_structure(project);
  }
  const RevisionEntry& revision = *revision_of_id(structure, revision_id).revision;
  if (check) check(revision);
  Content content = ContentReader(project).read(revision.content_id);
  if (check) check(revision);
  if (position >= content.bars.size() || !is_same(content.bars[position], found.item)) {
    throw BadRequest("the bar with the id " + std::to_string(id) +
                     " is being changed by another program");
  }
  return edit_at(project, structure, revision, content, position, assignments, is_trial, check,
                 step);
}

}  // namespace korvane::schedule
