#include "schedule/document_index.h"

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

#include "contracts/encoding/json.h"
#include "contracts/encoding/json_text.h"
#include "schedule/change_mark.h"
#include "schedule/document_names.h"
#include "schedule/document_reader.h"
#include "schedule/json_cursor.h"
#include "schedule/project_document.h"

namespace korvane::schedule {

using namespace model::cad;
using encoding::JsonError;

namespace {

/// Lines that are handed on at a time.
constexpr std::size_t kLinesAtATime = 4000;

/// Ids or texts that must not occur twice, with the place of each.
template <class Key>
class Unique {
 public:
  /// The place of the same key before, if there is one.
  std::optional<std::string> add(const Key& key, const std::string& place) {
    const auto [entry, is_new] = places_.try_emplace(key, place);
    if (is_new) return std::nullopt;
    return entry->second;
  }
  bool has(const Key& key) const { return places_.count(key) != 0; }

 private:
  std::map<Key, std::string> places_;
};

/// Throws JsonError unless `text` is a document of a version that is known.
void require_document(std::string_view text) {
  encoding::check_json(text);
  std::string_view format;
  std::string_view version;
  JsonCursor cursor(text);
  if (cursor.is_object()) {
    cursor.enter();
    for (std::string_view name; cursor.next_member(name);) {
      const std::string_view value = cursor.take();
      if (name == "format") format = value;
      if (name == "version") version = value;
    }
  }
  const auto found = [](std::string_view value) {
    constexpr std::size_t kLongest = 60;
    if (value.empty()) return std::string("none");
    return value.size() > kLongest ? "something long" : std::string(value);
  };
  const std::string expected = encoding::detail::shown(kDocumentFormat);
  if (format != expected) {
    throw JsonError("format: expected " + expected + ", found " + found(format));
  }
  if (version != std::to_string(kDocumentVersion)) {
    throw JsonError("version: expected " + std::to_string(kDocumentVersion) + ", found " +
                    found(version));
  }
}

/// The one fault of a text that is not a document.
std::string fault_of_text(std::string_view text, std::string_view error) {
  constexpr std::string_view kWhole = "request: ";
  if (error.starts_with(kWhole)) error.remove_prefix(kWhole.size());
  const bool is_lines = text.starts_with("{\"kind\":");
  return std::string(error) +
         (is_lines ? "; what export writes as ndjson cannot be read back, json can" : "");
}

class Indexer {
 public:
  explicit Indexer(std::string_view text) : text_(text), reader_(text) {}

  DocumentIndex index() {
    read_document();
    index_.faults = reader_.faults();
    index_.is_rest_usable = reader_.fault_count() == index_.faulty_lines.size();
    return std::move(index_);
  }

 private:
  using Member = DocumentReader::Member;

  JsonCursor& cursor() { return reader_.cursor(); }
  void fault(std::size_t position, const std::string& text) { reader_.fault(position, text); }
  static std::string element(const std::string& place, std::size_t index) {
    return DocumentReader::element(place, index);
  }

  void read_document();
  void read_materials(const std::string& place);
  void read_fabric_types(const std::string& place);
  void read_sheet(const std::string& place);
  void read_revision(const std::string& place, DocumentIndex::Sheet& sheet);

  template <class T>
  void read_lines_of(const std::string& place, std::size_t& count);
  std::string fault_of(const Rebar& bar) const;
  std::string fault_of(const Fabric& fabric) const;
  std::string fault_of(const BarSpacer&) const { return {}; }
  std::string fault_of(const MountingPart& part) const;

  template <class Key>
  void require_new(Unique<Key>& known, const Key& key, std::size_t position,
                   const std::string& place, const std::string& field, const std::string& shown) {
    const auto other = known.add(key, place);
    if (!other) return;
    fault(position, place + field + ": " + shown + " is that of " + *other + " already");
  }

  /// No two of a table may have the same.
  void check_uid(Unique<std::string>& known, const std::string& uid, std::size_t position,
                 const std::string& place) {
    if (uid.empty()) return;
    if (uid.find('\0') != std::string::npos) {
      fault(position, place + ".uid: expected text without NUL characters");
    }
    require_new(known, uid, position, place, ".uid", encoding::detail::shown(uid));
  }

  /// A mark of a change would have the next change of the project finish what it says.
  template <class T>
  void check_mark(const T& record, std::size_t position, const std::string& place) {
    if (!mark_in(record.properties)) return;
    fault(position,
          place + ".properties: \"" + kChangeProperty + "\" is for changes that are not complete");
  }

  const std::string_view text_;
  DocumentReader reader_;
  DocumentIndex index_;

  Unique<std::int32_t> material_ids_;
  Unique<std::int32_t> fabric_type_ids_;
  Unique<std::string> material_uids_;
  Unique<std::string> fabric_type_uids_;
  Unique<std::string> fabric_type_names_;
  Unique<std::string> sheet_uids_;
  Unique<std::string> revision_uids_;
};

void Indexer::read_document() {
  // Members may come in any order, but what lines refer to is read first.
  std::map<std::string_view, std::size_t> positions;
  const auto skip = [this](const std::string&) { cursor().take(); };
  const auto later = [&](std::string_view name) {
    return Member{name, [this, &positions, name](const std::string&) {
                    positions[name] = cursor().position();
                    cursor().take();
                  }};
  };
  const std::string_view kProject = kDocumentName<ProjectData>.one;
  const std::string_view kMaterials = kDocumentName<Material>.list;
  const std::string_view kFabricTypes = kDocumentName<FabricType>.list;
  const std::string_view kSheets = kDocumentName<Sheet>.list;
  const std::array members = {Member{"format", skip}, Member{"version", skip}, later(kProject),
                              later(kMaterials),      later(kFabricTypes),     later(kSheets)};
  reader_.read_object("", members);

  const auto read = [&](std::string_view name, const auto& read_value) {
    const auto found = positions.find(name);
    if (found == positions.end()) return;
    reader_.go_to(found->second);
    read_value(std::string(name));
  };
  read(kProject, [&](const std::string& place) {
    if (auto record = reader_.read_record<ProjectData>(place)) index_.project = *std::move(record);
  });
  read(kMaterials, [&](const std::string& place) { read_materials(place); });
  read(kFabricTypes, [&](const std::string& place) { read_fabric_types(place); });
  read(kSheets, [&](const std::string& place) {
    reader_.read_list(place, [&](std::size_t i) { read_sheet(element(place, i)); });
  });
}

void Indexer::read_materials(const std::string& list) {
  reader_.read_list(list, [&](std::size_t i) {
    const std::string place = element(list, i);
    const std::size_t begin = cursor().position();
    std::optional<Material> material = reader_.read_record<Material>(place);
    if (!material) return;
    require_new(material_ids_, material->id, begin, place, ".id", std::to_string(material->id));
    check_uid(material_uids_, material->uid, begin, place);
    index_.materials.push_back(*std::move(material));
  });
}

void Indexer::read_fabric_types(const std::string& list) {
  reader_.read_list(list, [&](std::size_t i) {
    const std::string place = element(list, i);
    const std::size_t begin = cursor().position();
    std::optional<FabricType> type = reader_.read_record<FabricType>(place);
    if (!type) return;
    require_new(fabric_type_ids_, type->id, begin, place, ".id", std::to_string(type->id));
    check_uid(fabric_type_uids_, type->uid, begin, place);
    require_new(fabric_type_names_, type->type_name, begin, place, ".type_name",
                encoding::detail::shown(type->type_name));
    if (!material_ids_.has(type->material.id)) {
      fault(begin, place + ".material.id: no material " + std::to_string(type->material.id) +
                       " in this document");
    }
    index_.fabric_types.push_back(*std::move(type));
  });
}

void Indexer::read_sheet(const std::string& sheet_place) {
  DocumentIndex::Sheet sheet;
  const std::array members = {
      Member{kDocumentName<Sheet>.one,
             [&](const std::string& place) {
               const std::size_t begin = cursor().position();
               std::optional<Sheet> record = reader_.read_record<Sheet>(place);
               if (!record) return;
               check_uid(sheet_uids_, record->uid, begin, place);
               check_mark(*record, begin, place);
               sheet.record = *std::move(record);
             },
             true},
      Member{kDocumentName<Revision>.list, [&](const std::string& place) {
               reader_.read_list(place,
                                 [&](std::size_t i) { read_revision(element(place, i), sheet); });
             }}};
  reader_.read_object(sheet_place, members);
  index_.sheets.push_back(std::move(sheet));
}

void Indexer::read_revision(const std::string& revision_place, DocumentIndex::Sheet& sheet) {
  DocumentIndex::Revision revision;
  revision.begin = cursor().position();
  std::vector<Member> members = {Member{kDocumentName<Revision>.one,
                                        [&](const std::string& place) {
                                          const std::size_t begin = cursor().position();
                                          std::optional<Revision> record =
                                              reader_.read_record<Revision>(place);
                                          if (!record) return;
                                          check_uid(revision_uids_, record->uid, begin, place);
                                          check_mark(*record, begin, place);
                                          revision.record = *std::move(record);
                                        },
                                        true}};
  Content kinds;
  std::size_t kind = 0;
  for_each_kind(
      [&](auto& list) {
        using T = typename std::decay_t<decltype(list)>::value_type;
        std::size_t& count = revision.sizes.at(kind++);
        members.push_back({kDocumentName<T>.list,
                           [&](const std::string& place) { read_lines_of<T>(place, count); }});
      },
      kinds);
  reader_.read_object(revision_place, members);
  sheet.revisions.push_back(std::move(revision));
}

template <class T>
void Indexer::read_lines_of(const std::string& list, std::size_t& count) {
  reader_.read_list(list, [&](std::size_t i) {
    const std::size_t begin = cursor().position();
    std::string error;
    try {
      error = fault_of(encoding::from_json<T>(cursor().take()));
    } catch (const JsonError& failure) {
      error = failure.what();
    }
    if (error.empty()) {
      ++count;
      ++index_.size;
    } else {
      index_.faulty_lines.insert(begin);
      fault(begin, DocumentReader::at_place(element(list, i), error));
    }
  });
}

std::string Indexer::fault_of(const Rebar& bar) const {
  if (bar.material_id.empty()) return "material_id: expected the id of a material, found null";
  if (material_ids_.has(*bar.material_id)) return {};
  return "material_id: no material " + std::to_string(*bar.material_id) + " in this document";
}

std::string Indexer::fault_of(const Fabric& fabric) const {
  if (fabric_type_ids_.has(fabric.fabric_type.id)) return {};
  return "fabric_type.id: no fabric type " + std::to_string(fabric.fabric_type.id) +
         " in this document";
}

std::string Indexer::fault_of(const MountingPart& part) const {
  if (material_ids_.has(part.material_id)) return {};
  return "material_id: no material " + std::to_string(part.material_id) + " in this document";
}

/// Reads one list of lines into contents of its kind.
template <class T>
void read_list(JsonCursor& cursor, const DocumentIndex& index, std::vector<T> Content::*kind,
               const std::function<void(Content&&)>& visit) {
  Content lines;
  std::vector<T>& list = lines.*kind;
  cursor.enter();
  while (cursor.next_element()) {
    const std::size_t begin = cursor.position();
    const std::string_view line = cursor.take();
    if (index.faulty_lines.count(begin) != 0) continue;
    list.push_back(encoding::from_json<T>(line));
    if (list.size() == kLinesAtATime) visit(std::exchange(lines, {}));
  }
  if (!list.empty()) visit(std::move(lines));
}

}  // namespace

DocumentIndex index_document(std::string_view text) {
  try {
    require_document(text);
  } catch (const JsonError& error) {
    DocumentIndex none;
    none.faults.push_back(fault_of_text(text, error.what()));
    none.is_rest_usable = false;
    return none;
  }
  return Indexer(text).index();
}

void read_lines(std::string_view text, const DocumentIndex& index,
                const DocumentIndex::Revision& revision,
                const std::function<void(Content&& lines)>& visit) {
  JsonCursor cursor(text, revision.begin);
  cursor.enter();
  for (std::string_view name; cursor.next_member(name);) {
    bool is_lines = false;
    const auto read_if = [&]<class T>(std::vector<T> Content::*kind) {
      if (name != kDocumentName<T>.list) return;
      is_lines = true;
      read_list(cursor, index, kind, visit);
    };
    read_if(&Content::bars);
    read_if(&Content::fabrics);
    read_if(&Content::bar_spacers);
    read_if(&Content::mounting_parts);
    if (!is_lines) cursor.take();
  }
}

}  // namespace korvane::schedule
