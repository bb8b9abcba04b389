#include "schedule/changes.h"

#include <exception>
#include <map>
#include <new>
#include <optional>
#include <set>
#include <utility>

#include "contracts/encoding/record_codec.h"
#include "platform/rpc4/failure.h"
#include "schedule/change_mark.h"
#include "schedule/new_revisions.h"
#include "schedule/query.h"
#include "schedule/structure.h"

namespace korvane::schedule {

using namespace model::cad;

namespace {

SheetRef sheet_ref(std::int32_t id) {
  SheetRef ref;
  ref.id = id;
  return ref;
}

void delete_revision(Project_Service& project, std::int32_t id) {
  GenericReply reply;
  project.delete_revision(revision_ref(id), reply);
}

void delete_sheet(Project_Service& project, std::int32_t id) {
  GenericReply reply;
  project.delete_sheet(sheet_ref(id), reply);
}

/// Removes the bar spacers of a revision whose bars are gone. With bars it would remove their end
/// treatments too, also from the bars of other revisions.
void clear_bar_spacers(Project_Service& project, std::int32_t rev_id) {
  // There are few of them, and many bars, all of which the operation would look at.
  const auto found = query<1>(
      project, "select 1 from barspacer where rev_id = " + std::to_string(rev_id) + " limit 1");
  if (found.empty()) return;
  GenericReply reply;
  project.clear_for_revision(revision_ref(rev_id), reply);
}

/// Removes all lines of a revision. Its row is replaced by itself, so that what refers to it goes
/// as if it was deleted.
void empty_revision(Project_Service& project, std::int32_t rev_id) {
  execute(project,
          "replace into revision (id, uid, sheet_id, raw) "
          "select id, uid, sheet_id, raw from revision where id = " +
              std::to_string(rev_id));
  clear_bar_spacers(project, rev_id);
}

bool has_lines(Project_Service& project, std::int32_t rev_id) {
  const std::string where = " where rev_id = " + std::to_string(rev_id) + ")";
  const auto [exists] = query_row<1>(project, "select exists (select 1 from rebar" + where +
                                                  " or exists (select 1 from fabric" + where +
                                                  " or exists (select 1 from barspacer" + where +
                                                  " or exists (select 1 from mountingpart" + where);
  return integer_in(exists) != 0;
}

/// Fails where the project lets no statement pass that writes, before anything has begun that would
/// need one.
void require_sql(Project_Service& project) { execute(project, "delete from rebar where 0"); }

/// The records of a table that bear a mark, by id. The database searches their bytes for the name of
/// the property, so that a change costs no reading of all other revisions.
template <class T>
std::map<std::int32_t, T> marked(Project_Service& project, const std::string& table) {
  std::map<std::int32_t, T> records;
  for (const auto& [id, uid, bytes] :
       query<3>(project, "select id, uid, raw from " + table + " where instr(raw, " +
                             sql_blob(kChangeProperty) + ")")) {
    if (bytes.value_string.empty()) continue;
    const std::string& raw = *bytes.value_string;
    T record = encoding::decode<T>(raw.data(), static_cast<std::uint32_t>(raw.size()));
    record.id = static_cast<std::int32_t>(integer_in(id));
    if (uid.value_string.hasvalue()) record.uid = *uid.value_string;
    records.emplace(record.id, std::move(record));
  }
  return records;
}

std::vector<ChangeMark> marks_of(Project_Service& project) {
  std::vector<ChangeMark> marks;
  const auto add = [&](const auto& records) {
    for (const auto& [id, record] : records) {
      if (std::optional<ChangeMark> mark = mark_of(record)) marks.push_back(*std::move(mark));
    }
  };
  add(marked<Revision>(project, "revision"));
  add(marked<Sheet>(project, "sheet"));
  return marks;
}

std::int32_t sheet_of(Project_Service& project, std::int32_t rev_id) {
  const auto rows = query<1>(project,
                             "select sheet_id from revision where sheet_id is not null "
                             "and id = " +
                                 std::to_string(rev_id));
  if (rows.empty()) {
    throw krv::rpc4::NotFound("no revision " + std::to_string(rev_id) + " in this project");
  }
  return static_cast<std::int32_t>(integer_in(rows.front()[0]));
}

void note(Project_Service& project, const ChangeMark& mark, Revision record) {
  write_mark(mark, record.properties);
  record.id = mark.id;
  GenericReply reply;
  project.update_revision(std::move(record), reply);
}

/// From a whole new content in the marked revision to its end in the changed one.
void place(Project_Service& project, ChangeMark mark, const Revision& record,
           const Content& content) {
  const std::int32_t sheet_id = sheet_of(project, mark.changed_revision);
  if (has_lines(project, mark.changed_revision)) empty_revision(project, mark.changed_revision);
  add_content(project, sheet_id, mark.changed_revision, content);
  mark.step = ChangeStep::placed;
  note(project, mark, record);
}

void drop(Project_Service& project, const ChangeMark& mark) {
  try {
    empty_revision(project, mark.id);
  } catch (const std::exception&) {
    // Without SQL that writes its bar spacers go last: whoever is killed just there leaves them.
    delete_revision(project, mark.id);
    return clear_bar_spacers(project, mark.id);
  }
  delete_revision(project, mark.id);
}

void finish_removing(Project_Service& project, const ChangeMark& mark) {
  delete_revision(project, mark.changed_revision);
  clear_bar_spacers(project, mark.changed_revision);
  delete_revision(project, mark.id);
}

/// Finishes the change or takes it back, whichever it can.
void finish(Project_Service& project, const ChangeMark& mark) {
  switch (mark.step) {
    case ChangeStep::filling:
    case ChangeStep::placed:
      drop(project, mark);
      break;
    case ChangeStep::whole: {
      OptionalValue<Revision> bearer;
      project.try_get_revision(revision_ref(mark.id), bearer);
      if (!bearer.value) return;
      OptionalValue<Revision> changed;
      project.try_get_revision(revision_ref(mark.changed_revision), changed);
      if (changed.value) {
        place(project, mark, bearer.value.value(), ContentReader(project).read(mark.id));
      }
      drop(project, mark);
      break;
    }
    case ChangeStep::removing:
      finish_removing(project, mark);
      break;
    case ChangeStep::importing:
      take_back_new_revisions(project, mark);
      break;
  }
}

[[noreturn]] void refuse_second_change(std::int32_t rev_id) {
  throw krv::rpc4::BadRequest("revision " + std::to_string(rev_id) +
                              " is being changed by another program");
}

/// A change of one revision that has begun. Takes itself back, or leaves that to others if it cannot.
class OpenChange {
 public:
  OpenChange(Project_Service& project, std::int32_t rev_id, ChangeStep step) : project_(project) {
    finish_changes(project);
    record_.sheet_id = sheet_of(project, rev_id);
    Revision changed;
    project.get_revision(revision_ref(rev_id), changed);
    record_.name = changed.name;
    record_.uid = make_uid();
    mark_.uid = record_.uid;
    mark_.step = step;
    mark_.changed_revision = rev_id;
    own_.emplace(mark_);
    Revision record = record_;
    write_mark(mark_, record.properties);
    RevisionRef ref;
    project.create_revision(std::move(record), ref);
    mark_.id = ref.id.value();
    // Of two changes that begin at once the one with the lower id goes on.
    for (const ChangeMark& other : marks_of(project)) {
      if (other.step == ChangeStep::importing || other.changed_revision != rev_id) continue;
      if (other.id >= mark_.id) continue;
      delete_revision(project_, mark_.id);
      refuse_second_change(rev_id);
    }
  }

  ~OpenChange() {
    if (is_done_) return;
    try {
      if (mark_.step == ChangeStep::filling) drop(project_, mark_);
    } catch (const std::exception&) {
      // The failure that led here is the one to report. The mark stays, for the next change.
      return;
    }
  }
  OpenChange(const OpenChange&) = delete;
  OpenChange& operator=(const OpenChange&) = delete;

  const ChangeMark& mark() const { return mark_; }
  const Revision& record() const { return record_; }

  void set(ChangeStep step) {
    ChangeMark next = mark_;
    next.step = step;
    note(project_, next, record_);
    mark_ = next;
  }

  void done() { is_done_ = true; }

 private:
  Project_Service& project_;
  Revision record_;
  ChangeMark mark_;
  std::optional<OwnChange> own_;
  bool is_done_ = false;
};

}  // namespace

void finish_changes(Project_Service& project) {
  for (const ChangeMark& mark : marks_of(project)) {
    if (may_be_at_work(mark)) continue;
    try {
      finish(project, mark);
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception&) {
      // Its revision stays as readers see it and cannot be changed; all others can. Anyone may
      // write a mark that cannot be finished.
      continue;
    }
  }
}

void replace_content(Project_Service& project, std::int32_t rev_id, const Content& content,
                     const std::function<void()>& last_check) {
  finish_changes(project);  // which may give the revision lines
  if (has_lines(project, rev_id)) require_sql(project);
  OpenChange change(project, rev_id, ChangeStep::filling);
  add_content(project, change.record().sheet_id, change.mark().id, content);
  if (last_check) last_check();
  change.set(ChangeStep::whole);
  place(project, change.mark(), change.record(), content);
  change.done();
  drop(project, change.mark());
}

void remove_revision(Project_Service& project, std::int32_t rev_id) {
  OpenChange change(project, rev_id, ChangeStep::removing);
  change.done();
  finish_removing(project, change.mark());
}

void remove_sheet(Project_Service& project, std::int32_t sheet_id) {
  finish_changes(project);
  std::set<std::int32_t> revisions;
  for (const auto& [id] :
       query<1>(project, "select id from revision where sheet_id = " + std::to_string(sheet_id))) {
    revisions.insert(static_cast<std::int32_t>(integer_in(id)));
  }
  for (const ChangeMark& mark : marks_of(project)) {
    const bool is_here = mark.step != ChangeStep::importing && revisions.count(mark.id) != 0;
    if (is_here && may_be_at_work(mark)) refuse_second_change(mark.changed_revision);
  }
  for (const std::int32_t revision : revisions) remove_revision(project, revision);
  delete_sheet(project, sheet_id);
}

}  // namespace korvane::schedule
