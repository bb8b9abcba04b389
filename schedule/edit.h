#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "contracts/cad/rebar.h"
#include "platform/project_rpc/project_service.h"
#include "schedule/field_differences.h"
#include "schedule/structure.h"

namespace korvane::schedule {

/// A new value for a field of a bar.
struct Assignment {
  /// Its path in the JSON of the record: "total_bars", "parameters_exact.a",
  /// "geometry.objects[0].length"; or "steel", for the material of that name.
  std::string field;
  /// JSON, or text that is taken as it stands. "null" takes the value away.
  std::string value;
};

/// Takes "total_bars=12" apart. Throws krv::rpc4::BadRequest "\"<text>\" is not an assignment:
/// expected FIELD=VALUE".
Assignment parse_assignment(const std::string& text);

/// The bar with the new values. What follows from them follows, unless it is assigned as well: the
/// total length keeps the length of one piece when the number of pieces changes; the number of
/// pieces is that of a member times the members. The source line in `properties["bvbs"]` goes when
/// it states another value.
///
/// Throws krv::rpc4::BadRequest for a field that there is not or that cannot be edited (`id`,
/// `rev_id`, `sheet_id`) and for a value that is not of the field's type, and krv::rpc4::NotFound
/// "no material \"<name>\" in this project".
///
/// Each assignment costs a reading of the whole bar: `step`, which may be empty, is called before each,
/// and what it throws passes.
model::cad::Rebar edited(const model::cad::Rebar& bar, const std::vector<Assignment>& assignments,
                         const Structure& structure, const std::function<void()>& step = {});

struct EditedBar {
  model::cad::Rebar before;
  model::cad::Rebar after;
  /// Those of fields that were assigned, and of fields that follow. The steel is a name in "steel".
  std::vector<FieldDifference> changes;
  /// Of its row, now: an edit gives all rows of a revision new ids.
  std::int32_t id = 0;
  /// That the bar is in, as it is now.
  RevisionEntry revision;
};

/// Edits the one bar of the revision whose mark is `mark`, or "<mark>.<submark>". With `is_trial`
/// nothing is stored. Throws what `edited` and `replace_content` throw, krv::rpc4::NotFound
/// "no bar \"<mark>\" in sheet …, revision …" and krv::rpc4::BadRequest "<n> bars have the mark
/// \"<mark>\" in sheet …, revision …".
EditedBar edit_bar(model::cad::Project_Service& project, const Selection& selection,
                   const std::string& mark, const std::vector<Assignment>& assignments,
                   bool is_trial);

/// Looks at a revision that is to be edited, and throws if it must not be.
using RevisionCheck = std::function<void(const RevisionEntry& revision)>;

/// The same for the bar whose row has that id. `check` is asked what it thinks of the content that the
/// edit starts from, and again just before that is replaced; what it throws passes, and nothing has
/// changed. `step` is that of `edited`. Throws as above, krv::rpc4::NotFound "no bar with the id 7 in this project", and
/// krv::rpc4::BadRequest "the bar with the id 7 is being changed by another program".
EditedBar edit_bar(model::cad::Project_Service& project, std::int32_t id,
                   const std::vector<Assignment>& assignments, bool is_trial,
                   const RevisionCheck& check = {}, const std::function<void()>& step = {});

}  // namespace korvane::schedule
