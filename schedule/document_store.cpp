#include "schedule/document_store.h"

#include <exception>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "schedule/changes.h"
#include "schedule/content.h"
#include "schedule/document_catalogue.h"
#include "schedule/document_names.h"
#include "schedule/new_revisions.h"
#include "schedule/structure.h"
#include "schedule/undo.h"

namespace korvane::schedule {

using namespace model::cad;

namespace {

/// Which of the project's entries the document's stand for. None of those it lacks.
struct Match {
  std::vector<const SheetEntry*> sheets;
  /// By sheet.
  std::vector<std::vector<const RevisionEntry*>> revisions;
};

Match match(const DocumentIndex& index, const Structure& structure) {
  Match match;
  ByName<SheetEntry> sheets(structure.sheets, [](const auto& entry) { return entry.record.name; });
  for (const DocumentIndex::Sheet& sheet : index.sheets) {
    const SheetEntry* const found = sheets.take(sheet.record.name);
    match.sheets.push_back(found);
    auto& revisions = match.revisions.emplace_back();
    const std::vector<RevisionEntry> none;
    ByName<RevisionEntry> known(found != nullptr ? found->revisions : none,
                                [](const auto& entry) { return entry.record.name; });
    for (const DocumentIndex::Revision& revision : sheet.revisions) {
      revisions.push_back(known.take(revision.record.name));
    }
  }
  return match;
}

std::size_t lines_of(const DocumentIndex::Revision& revision) {
  std::size_t lines = 0;
  for (const std::size_t size : revision.sizes) lines += size;
  return lines;
}

/// The uids of a table, also those of entries that are not shown.
template <class T>
std::set<std::string> uids_of(const Batch<T>& batch) {
  std::set<std::string> uids;
  for (const T& record : batch.items) uids.insert(record.uid);
  return uids;
}

/// Takes a new record's uid away if it may not keep it. The mark of the import names sheets and
/// revisions alike by their uids, one a line: those that are there already must not be among them.
template <class T>
void require_own_uid(T& record, std::set<std::string>& uids_of_table,
                     const std::set<std::string>& uids_there) {
  const bool is_own = uids_of_table.insert(record.uid).second && uids_there.count(record.uid) == 0;
  if (!is_own || record.uid.find('\n') != std::string::npos) record.uid.clear();
}

class Storing {
 public:
  Storing(Project_Service& project, std::string_view text, const DocumentIndex& index)
      : project_(project),
        text_(text),
        index_(index),
        structure_(read_structure(project)),
        match_(match(index, structure_)) {}

  void require_room(IfFilled if_filled) {
    if (if_filled != IfFilled::refuse || !fills_any()) return;
    const ContentReader reader(project_);
    std::vector<std::string> faults;
    for_each_revision([&](std::size_t s, std::size_t r) {
      const RevisionEntry* const there = match_.revisions[s][r];
      if (there == nullptr || lines_of(index_.sheets[s].revisions[r]) == 0) return;
      const std::size_t lines = reader.size(there->content_id);
      if (lines == 0) return;
      faults.push_back(name_of({match_.sheets[s], there}) + " has " + std::to_string(lines) +
                       (lines == 1 ? " line already" : " lines already"));
    });
    if (!faults.empty()) throw DocumentError(std::move(faults));
  }

  StoredDocument store(IfFilled if_filled) {
    Undo undo;
    Catalogue catalogue(project_, structure_, index_, undo, result_.notes);
    catalogue_ = &catalogue;
    NewRevisions new_revisions(project_);
    std::vector<NewRevisions::NewSheet> made = entries_to_make();
    if (makes_any(made)) new_revisions.make(made);
    fill_new(made);
    fill_known(if_filled);
    add_properties(undo);
    if (makes_any(made)) new_revisions.finish();
    undo.forget();
    return std::move(result_);
  }

 private:
  using NewSheet = NewRevisions::NewSheet;

  /// Calls `visit` with the numbers of each sheet and revision of the document.
  template <class Visit>
  void for_each_revision(Visit visit) const {
    for (std::size_t s = 0; s < index_.sheets.size(); ++s) {
      for (std::size_t r = 0; r < index_.sheets[s].revisions.size(); ++r) visit(s, r);
    }
  }

  bool fills_any() const {
    bool fills = false;
    for_each_revision(
        [&](std::size_t s, std::size_t r) { fills = fills || match_.revisions[s][r] != nullptr; });
    return fills;
  }

  static bool makes_any(const std::vector<NewSheet>& sheets) {
    for (const NewSheet& sheet : sheets) {
      if (sheet.record.id < 0 || !sheet.revisions.empty()) return true;
    }
    return false;
  }

  /// One for each sheet of the document, with the revisions that the project lacks.
  std::vector<NewSheet> entries_to_make() {
    Batch<Sheet> all_sheets;
    project_.list_sheets({}, all_sheets);
    const std::set<std::string> sheets_there = uids_of(all_sheets);
    std::set<std::string> sheet_uids = sheets_there;
    Batch<Revision> all_revisions;
    project_.list_revisions({}, all_revisions);
    const std::set<std::string> revisions_there = uids_of(all_revisions);
    std::set<std::string> revision_uids = revisions_there;

    std::vector<NewSheet> sheets;
    for (std::size_t s = 0; s < index_.sheets.size(); ++s) {
      NewSheet& sheet = sheets.emplace_back();
      sheet.record = index_.sheets[s].record;
      if (match_.sheets[s] != nullptr) {
        sheet.record.id = match_.sheets[s]->record.id;
        note_if_other(match_.sheets[s]->record, index_.sheets[s].record, "");
      } else {
        sheet.record.id = Sheet{}.id;
        require_own_uid(sheet.record, sheet_uids, revisions_there);
      }
      for (std::size_t r = 0; r < index_.sheets[s].revisions.size(); ++r) {
        const Revision& original = index_.sheets[s].revisions[r].record;
        if (match_.revisions[s][r] != nullptr) {
          note_if_other(match_.revisions[s][r]->record, original,
                        name_for_people(index_.sheets[s].record) + ", ");
          continue;
        }
        Revision& revision = sheet.revisions.emplace_back(original);
        revision.id = Revision{}.id;
        require_own_uid(revision, revision_uids, sheets_there);
      }
    }
    return sheets;
  }

  template <class T>
  void note_if_other(const T& there, T here, const std::string& owner) {
    here.id = there.id;
    here.uid = there.uid;
    if constexpr (requires { here.sheet_id; }) here.sheet_id = there.sheet_id;
    if (here == there) return;
    result_.notes.push_back(owner + name_for_people(there) +
                            " is there with another comment or other properties, which are kept");
  }

  void fill_new(const std::vector<NewSheet>& made) {
    std::vector<std::size_t> next(made.size(), 0);
    for_each_revision([&](std::size_t s, std::size_t r) {
      if (const RevisionEntry* const there = match_.revisions[s][r]) {
        report(s, r, there->record.id);
        return;
      }
      const Revision& revision = made[s].revisions.at(next[s]++);
      report(s, r, revision.id);
      read(s, r, [&](const Content& lines) {
        add_content(project_, made[s].record.id, revision.id, lines);
      });
    });
  }

  void fill_known(IfFilled if_filled) {
    if (!fills_any()) return;
    const ContentReader reader(project_);
    for_each_revision([&](std::size_t s, std::size_t r) {
      const RevisionEntry* const there = match_.revisions[s][r];
      if (there == nullptr) return;
      const bool is_empty = lines_of(index_.sheets[s].revisions[r]) == 0;
      if (is_empty && if_filled != IfFilled::replace) return;
      Content content;
      if (if_filled == IfFilled::append) content = reader.read(there->content_id);
      read(s, r, [&](Content&& lines) {
        for_each_kind(
            [](auto& all, auto& more) {
              all.insert(all.end(), std::make_move_iterator(more.begin()),
                         std::make_move_iterator(more.end()));
            },
            content, lines);
      });
      replace_content(project_, there->record.id, content);
    });
  }

  /// Reads the lines of a revision, referring to what is in the project.
  void read(std::size_t s, std::size_t r, const std::function<void(Content&&)>& visit) const {
    read_lines(text_, index_, index_.sheets[s].revisions[r], [&](Content&& lines) {
      catalogue_->refer(lines);
      visit(std::move(lines));
    });
  }

  void report(std::size_t s, std::size_t r, std::int32_t id) {
    const DocumentIndex::Revision& revision = index_.sheets[s].revisions[r];
    const auto& [bars, fabrics, bar_spacers, mounting_parts] = revision.sizes;
    result_.revisions.push_back({id, index_.sheets[s].record.name, revision.record.name, bars,
                                 fabrics, bar_spacers, mounting_parts});
  }

  void add_properties(Undo& undo) {
    UpdateProject update;
    update.item = structure_.project;
    for (const auto& [name, value] : index_.project.properties) {
      const auto [entry, is_new] = update.item.properties.emplace(name, value);
      if (is_new || entry->second == value) continue;
      result_.notes.push_back("the project has another " + encoding::detail::shown(name) +
                              ", which is kept");
    }
    if (update.item == structure_.project) return;
    GenericReply reply;
    project_.update_project(update, reply);
    undo.add([this] {
      UpdateProject before;
      before.item = structure_.project;
      GenericReply ignored;
      project_.update_project(before, ignored);
    });
  }

  Project_Service& project_;
  std::string_view text_;
  const DocumentIndex& index_;
  Structure structure_;
  Match match_;
  const Catalogue* catalogue_ = nullptr;
  StoredDocument result_;
};

}  // namespace

std::vector<std::int32_t> revision_ids(const DocumentIndex& index, const Structure& structure) {
  std::vector<std::int32_t> ids;
  for (const auto& revisions : match(index, structure).revisions) {
    for (const RevisionEntry* const revision : revisions) {
      ids.push_back(revision == nullptr ? 0 : revision->record.id);
    }
  }
  return ids;
}

void require_room_for_document(Project_Service& project, std::string_view text,
                               const DocumentIndex& index, IfFilled if_filled) {
  if (if_filled == IfFilled::refuse) Storing(project, text, index).require_room(if_filled);
}

StoredDocument store_document(Project_Service& project, std::string_view text,
                              const DocumentIndex& index, IfFilled if_filled) {
  finish_changes(project);
  Storing storing(project, text, index);
  storing.require_room(if_filled);
  return storing.store(if_filled);
}

}  // namespace korvane::schedule
