#include "schedule/new_revisions.h"

#include <algorithm>
#include <exception>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "contracts/encoding/record_codec.h"
#include "schedule/changes.h"
#include "schedule/query.h"
#include "schedule/structure.h"

namespace korvane::schedule {

using namespace model::cad;

namespace {

/// Rows of one statement that inserts several.
constexpr std::size_t kRowsAtATime = 500;

void delete_sheet(Project_Service& project, std::int32_t id) {
  SheetRef ref;
  ref.id = id;
  GenericReply reply;
  project.delete_sheet(std::move(ref), reply);
}

/// Runs a statement that spares many operations, if the project lets it pass.
void try_query(Project_Service& project, const std::string& sql) {
  try {
    execute(project, sql);
  } catch (const std::exception&) {
    // The operations that follow do the same, one by one, and report what fails.
    return;
  }
}

std::string list_of(const std::vector<std::int32_t>& ids) {
  std::string list;
  for (const std::int32_t id : ids) list += (list.empty() ? "(" : ",") + std::to_string(id);
  return list + ")";
}

std::string row_of(const Sheet& sheet) {
  const bond::blob raw = encoding::encode(sheet);
  return "(" + sql_text(sheet.uid) + "," + sql_blob({raw.content(), raw.size()}) + ")";
}

std::string row_of(const Revision& revision) {
  const bond::blob raw = encoding::encode(revision);
  return "(" + std::to_string(revision.sheet_id) + "," + sql_text(revision.uid) + "," +
         sql_blob({raw.content(), raw.size()}) + ")";
}

std::int32_t create(Project_Service& project, const Sheet& sheet) {
  SheetRef ref;
  project.create_sheet(sheet, ref);
  return ref.id.value();
}

std::int32_t create(Project_Service& project, const Revision& revision) {
  RevisionRef ref;
  project.create_revision(revision, ref);
  return ref.id.value();
}

/// The ids of a table's rows by their uids.
std::map<std::string, std::int32_t> ids_by_uid(Project_Service& project, const std::string& table) {
  std::map<std::string, std::int32_t> ids;
  for (const auto& [uid, id] : query<2>(project, "select uid, id from " + table)) {
    if (uid.value_string.empty()) continue;
    ids.emplace(*uid.value_string, static_cast<std::int32_t>(integer_in(id)));
  }
  return ids;
}

/// Makes the rows of records, which have uids, and sets their ids. `columns` are those of `row_of`.
template <class T>
void make_rows(Project_Service& project, const std::string& table, const std::string& columns,
               const std::vector<T*>& records) {
  std::map<std::string, std::int32_t> made;
  if (records.size() > 1) {
    for (std::size_t first = 0; first < records.size(); first += kRowsAtATime) {
      std::string sql = "insert into ";
      sql.append(table).append(" (").append(columns).append(") values ");
      for (std::size_t i = first; i < std::min(records.size(), first + kRowsAtATime); ++i) {
        sql += (i == first ? "" : ",") + row_of(*records[i]);
      }
      try_query(project, sql);
    }
    made = ids_by_uid(project, table);
  }
  for (T* const record : records) {
    const auto found = made.find(record->uid);
    record->id = found != made.end() ? found->second : create(project, *record);
  }
}

}  // namespace

void take_back_new_revisions(Project_Service& project, const ChangeMark& mark) {
  const auto made_revisions = [&] {
    std::vector<std::int32_t> ids;
    Batch<Revision> revisions;
    project.list_revisions({}, revisions);
    for (const Revision& revision : revisions.items) {
      if (mark.made_uids.count(revision.uid) != 0) ids.push_back(revision.id);
    }
    return ids;
  };
  const std::vector<std::int32_t> made = made_revisions();
  if (!made.empty()) {
    // Else each revision that is deleted goes through all rows in search of its own.
    for (const char* const table : {"rebar", "fabric", "mountingpart", "barspacer"}) {
      try_query(project, std::string("delete from ") + table + " where rev_id in " + list_of(made));
    }
  }
  std::set<std::int32_t> with_bar_spacers;
  for (const auto& [rev_id] : query<1>(project, "select distinct rev_id from barspacer")) {
    with_bar_spacers.insert(static_cast<std::int32_t>(integer_in(rev_id)));
  }
  const bool has_bar_spacers = std::any_of(
      made.begin(), made.end(), [&](std::int32_t id) { return with_bar_spacers.count(id) != 0; });
  // Bar spacers do not go with their revision, and cannot be found without it.
  if (!made.empty() && !has_bar_spacers) {
    try_query(project, "delete from revision where id in " + list_of(made));
  }
  for (const std::int32_t id : made_revisions()) {
    GenericReply reply;
    project.delete_revision(revision_ref(id), reply);
    // Not before: it would remove the end treatments that bars share with other revisions'.
    if (with_bar_spacers.count(id) != 0) project.clear_for_revision(revision_ref(id), reply);
  }
  std::set<std::int32_t> in_use;
  for (const auto& [sheet_id] : query<1>(project, "select distinct sheet_id from revision")) {
    in_use.insert(static_cast<std::int32_t>(integer_in(sheet_id)));
  }
  const auto unused_sheets = [&] {
    std::vector<std::int32_t> ids;
    Batch<Sheet> sheets;
    project.list_sheets({}, sheets);
    for (const Sheet& sheet : sheets.items) {
      const bool is_made = mark.made_uids.count(sheet.uid) != 0;
      if (is_made && in_use.count(sheet.id) == 0) ids.push_back(sheet.id);
    }
    return ids;
  };
  const std::vector<std::int32_t> unused = unused_sheets();
  if (!unused.empty()) try_query(project, "delete from sheet where id in " + list_of(unused));
  for (const std::int32_t id : unused_sheets()) delete_sheet(project, id);
  delete_sheet(project, mark.id);
}

NewRevisions::NewRevisions(Project_Service& project) : project_(project) {}

NewRevisions::~NewRevisions() {
  if (is_done_ || mark_.id == 0) return;
  try {
    take_back_new_revisions(project_, mark_);
  } catch (const std::exception&) {
    // The failure that led here is the one to report. The mark stays, for the next change.
    return;
  }
}

void NewRevisions::make(std::vector<NewSheet>& sheets) {
  finish_changes(project_);
  std::vector<Sheet*> new_sheets;
  std::vector<Revision*> new_revisions;
  const auto note = [this](auto& record) {
    if (record.uid.empty()) record.uid = make_uid();
    mark_.made_uids.insert(record.uid);
    return &record;
  };
  for (NewSheet& sheet : sheets) {
    if (sheet.record.id < 0) new_sheets.push_back(note(sheet.record));
    for (Revision& revision : sheet.revisions) new_revisions.push_back(note(revision));
  }

  Sheet marked;
  marked.uid = make_uid();
  mark_.uid = marked.uid;
  mark_.step = ChangeStep::importing;
  own_ = std::make_unique<OwnChange>(mark_);
  write_mark(mark_, marked.properties);
  mark_.id = create(project_, marked);

  make_rows(project_, "sheet", "uid, raw", new_sheets);
  for (NewSheet& sheet : sheets) {
    for (Revision& revision : sheet.revisions) revision.sheet_id = sheet.record.id;
  }
  make_rows(project_, "revision", "sheet_id, uid, raw", new_revisions);
}

void NewRevisions::finish() {
  delete_sheet(project_, mark_.id);
  is_done_ = true;
}

}  // namespace korvane::schedule
