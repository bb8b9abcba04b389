#include "schedule/project_document.h"

#include <optional>
#include <set>
#include <utility>

#include "contracts/encoding/json_text.h"
#include "schedule/content.h"
#include "schedule/document_names.h"
#include "schedule/document_store.h"
#include "schedule/fault_list.h"
#include "schedule/query.h"

namespace korvane::schedule {

using namespace model::cad;

namespace {

std::string joined(const std::vector<std::string>& faults) {
  std::string text;
  for (const std::string& fault : faults) text += (text.empty() ? "" : "\n") + fault;
  return text;
}

std::string_view without_byte_order_mark(std::string_view text) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  return text;
}

/// To whom a record belongs.
struct Owner {
  const Sheet* sheet = nullptr;
  const Revision* revision = nullptr;
};

/// The text of a document in either form.
class DocumentWriter {
 public:
  DocumentWriter(DocumentForm form, const encoding::JsonSink& sink) : form_(form), sink_(sink) {}

  /// Text that only a whole document has.
  void frame(std::string_view text) {
    if (form_ == DocumentForm::json) put(text);
  }

  /// Comes before each element of a list.
  void separate() {
    if (last_ != '[') frame(",");
    frame("\n");
  }

  template <class T>
  void record(const T& record, const Owner& owner) {
    Owner self = owner;
    if constexpr (std::is_same_v<T, Sheet>) self.sheet = &record;
    if constexpr (std::is_same_v<T, Revision>) self.revision = &record;
    begin_line(kDocumentName<T>.one, self);
    try {
      put(encoding::to_json(record));
    } catch (const encoding::JsonError& error) {
      fail(place(record, owner) + ": " + error.what());
    }
    if (form_ == DocumentForm::ndjson) put("}\n");
  }

  template <class T>
  void element(const T& item, const Owner& owner) {
    separate();
    record(item, owner);
  }

  void finish() {
    hand_on();
    if (faults_.count() != 0) throw DocumentError(faults_.texts());
  }

 private:
  static constexpr std::size_t kPiece = std::size_t{64} * 1024;

  template <class T>
  static std::string place(const T& record, const Owner& owner) {
    std::string place;
    if (owner.sheet != nullptr) place += name_for_people(*owner.sheet) + ", ";
    if (owner.revision != nullptr) place += name_for_people(*owner.revision) + ", ";
    return place + name_for_people(record);
  }

  void begin_line(std::string_view kind, const Owner& owner) {
    if (form_ != DocumentForm::ndjson) return;
    // A name that is not UTF-8 is a fault of this record or of one before.
    const auto text = [](const auto* record) {
      return record == nullptr ? "null" : encoding::detail::quoted(record->name).value_or("");
    };
    put("{\"kind\":\"" + std::string(kind) + "\",\"sheet\":" + text(owner.sheet) +
        ",\"revision\":" + text(owner.revision) + ",\"record\":");
  }

  void put(std::string_view text) {
    if (faults_.count() != 0 || text.empty()) return;
    text_ += text;
    last_ = text.back();
    if (text_.size() >= kPiece) hand_on();
  }

  void hand_on() {
    if (!text_.empty()) sink_(text_);
    text_.clear();
  }

  /// Nothing is written after a fault: the text is not whole, and has to look like it.
  void fail(std::string fault) { faults_.add(0, std::move(fault)); }

  const DocumentForm form_;
  const encoding::JsonSink& sink_;
  std::string text_;
  char last_ = 0;
  FaultList faults_;
};

/// The ids in `column` of the lines of the revisions in `rev_ids`.
void add_used(Project_Service& project, const std::string& table, const std::string& column,
              const std::set<std::int32_t>& rev_ids, std::set<std::int32_t>& used) {
  const std::string sql = "select distinct rev_id, " + column + " from " + table +
                          " where rev_id is not null and " + column + " is not null";
  for (const auto& [rev_id, id] : query<2>(project, sql)) {
    if (rev_ids.count(static_cast<std::int32_t>(integer_in(rev_id))) == 0) continue;
    used.insert(static_cast<std::int32_t>(integer_in(id)));
  }
}

/// Leaves of the catalogues what the lines of the revisions refer to.
void keep_used(Project_Service& project, const std::vector<SelectedRevision>& selected,
               Structure& structure) {
  std::set<std::int32_t> rev_ids;
  for (const SelectedRevision& each : selected) rev_ids.insert(each.revision->content_id);
  std::set<std::int32_t> types;
  add_used(project, "fabric", "fabric_type_id", rev_ids, types);
  std::erase_if(structure.fabric_types,
                [&](const auto& entry) { return types.count(entry.first) == 0; });
  std::set<std::int32_t> materials;
  add_used(project, "rebar", "material_id", rev_ids, materials);
  add_used(project, "mountingpart", "material_id", rev_ids, materials);
  for (const auto& [id, type] : structure.fabric_types) materials.insert(type.material.id);
  std::erase_if(structure.materials,
                [&](const auto& entry) { return materials.count(entry.first) == 0; });
}

/// The selected revisions of each sheet.
std::vector<std::pair<const SheetEntry*, std::vector<const RevisionEntry*>>> by_sheet(
    const Structure& structure, const Selection& selection,
    const std::vector<SelectedRevision>& selected) {
  std::vector<std::pair<const SheetEntry*, std::vector<const RevisionEntry*>>> sheets;
  auto next = selected.begin();
  for (const SheetEntry& sheet : structure.sheets) {
    std::vector<const RevisionEntry*> revisions;
    for (; next != selected.end() && next->sheet == &sheet; ++next) {
      revisions.push_back(next->revision);
    }
    const bool is_named = selection.sheet && sheet.record.name == *selection.sheet;
    const bool is_all = !selection.sheet && !selection.revision;
    if (!revisions.empty() || is_named || is_all) sheets.emplace_back(&sheet, revisions);
  }
  return sheets;
}

template <class T>
void write_catalogue(const std::map<std::int32_t, T>& entries, DocumentWriter& writer) {
  writer.frame(",\n\"" + std::string(kDocumentName<T>.list) + "\":[");
  for (const auto& [id, entry] : entries) writer.element(entry, {});
  writer.frame("]");
}

void write_revision(const ContentReader& reader, const Sheet& sheet, const RevisionEntry& revision,
                    DocumentWriter& writer) {
  writer.separate();
  writer.frame("{\"revision\":");
  writer.record(revision.record, {&sheet, nullptr});
  Content kinds;
  for_each_kind(
      [&](auto& list) {
        using T = typename std::decay_t<decltype(list)>::value_type;
        writer.frame(",\"" + std::string(kDocumentName<T>.list) + "\":[");
        reader.for_each<T>(revision.content_id, [&](T&& line) {
          if (revision.content_id != revision.record.id) {
            line.rev_id = revision.record.id;
            line.sheet_id = sheet.id;
          }
          writer.element(line, {&sheet, &revision.record});
        });
        writer.frame("]");
      },
      kinds);
  writer.frame("}");
}

}  // namespace

DocumentError::DocumentError(std::vector<std::string> faults)
    : BadRequest(joined(faults)), faults_(std::move(faults)) {}

void write_document(Project_Service& project, const Selection& selection, DocumentForm form,
                    const encoding::JsonSink& sink) {
  Structure structure = read_structure(project);
  const std::vector<SelectedRevision> selected = select_revisions(structure, selection);
  if (selection.sheet || selection.revision) keep_used(project, selected, structure);
  const ContentReader reader(project);

  DocumentWriter writer(form, sink);
  writer.frame("{\"format\":\"" + std::string(kDocumentFormat) +
               "\",\"version\":" + std::to_string(kDocumentVersion) + ",\n\"project\":");
  writer.record(structure.project, {});
  write_catalogue(structure.materials, writer);
  write_catalogue(structure.fabric_types, writer);
  writer.frame(",\n\"sheets\":[");
  for (const auto& [sheet, revisions] : by_sheet(structure, selection, selected)) {
    writer.separate();
    writer.frame("{\"sheet\":");
    writer.record(sheet->record, {});
    writer.frame(",\"revisions\":[");
    for (const RevisionEntry* revision : revisions) {
      write_revision(reader, sheet->record, *revision, writer);
    }
    writer.frame("]}");
  }
  writer.frame("]}\n");
  writer.finish();
}

bool looks_like_document(std::string_view text) {
  text = without_byte_order_mark(text);
  const std::size_t begin = text.find_first_not_of(" \t\r\n");
  return begin != std::string_view::npos && text[begin] == '{';
}

ProjectDocument::ProjectDocument(std::string_view text)
    : text_(without_byte_order_mark(text)), index_(index_document(text_)) {}

std::vector<StoredRevision> ProjectDocument::revisions() const {
  std::vector<StoredRevision> revisions;
  for (const DocumentIndex::Sheet& sheet : index_.sheets) {
    for (const DocumentIndex::Revision& revision : sheet.revisions) {
      const auto& [bars, fabrics, bar_spacers, mounting_parts] = revision.sizes;
      revisions.push_back(
          {0, sheet.record.name, revision.record.name, bars, fabrics, bar_spacers, mounting_parts});
    }
  }
  return revisions;
}

std::vector<StoredRevision> ProjectDocument::revisions_in(const Structure& structure) const {
  std::vector<StoredRevision> found = revisions();
  const std::vector<std::int32_t> ids = revision_ids(index_, structure);
  for (std::size_t i = 0; i < found.size(); ++i) found[i].id = ids[i];
  return found;
}

void ProjectDocument::require_room(Project_Service& project, IfFilled if_filled) const {
  require_room_for_document(project, text_, index_, if_filled);
}

StoredDocument ProjectDocument::store(Project_Service& project, IfFilled if_filled,
                                      bool skip_faulty) const {
  const bool is_usable = index_.faults.empty() || (skip_faulty && index_.is_rest_usable);
  if (!is_usable) throw DocumentError(index_.faults);
  return store_document(project, text_, index_, if_filled);
}

}  // namespace korvane::schedule
