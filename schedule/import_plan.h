#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "contracts/cad/fabric_type.h"
#include "schedule/bvbs/schedule.h"
#include "schedule/project_document.h"

/// What an import will do, before any project is touched.
namespace korvane::schedule {

/// A text to import.
struct Source {
  /// Of a file or otherwise, for messages. Without its folder and extension it names the sheet of
  /// drawings that have no number.
  std::string name;
  std::string text;
};

/// What is wrong in a source.
struct SourceFault {
  std::string source;
  /// 0 if all of the source is meant.
  std::size_t line = 0;
  std::string reason;
};

/// "a.abs: line 3: wrong checksum: …". UTF-8, as long as the source's name is.
std::string text_of(const SourceFault& fault);

/// What a person should know about the lines of all sources that it is about.
struct SourceNote {
  std::string text;
  std::size_t count = 0;
  /// How many sources have such lines.
  std::size_t sources = 0;
  std::string first_source;
  std::size_t first_line = 0;
};

/// "a.abs: … (line 3)", "a.abs: … (41 lines, first line 3)", "… (41 lines in 3 sources, first line 3
/// of a.abs)".
std::string text_of(const SourceNote& note);

/// Names that take the place of those in the sources.
struct ImportNames {
  std::optional<std::string> sheet;
  std::optional<std::string> revision;
};

/// Called now and then with what is being done, how much of it is done, and how much it is in all.
using Progress = std::function<void(std::string_view step, std::size_t done, std::size_t total)>;

/// What the sources say of one revision. The lines are read again when they are stored: all records
/// at once would take some twenty times the memory of their texts.
struct PlannedRevision {
  std::string sheet;
  std::string revision;
  /// No record has the number of a drawing: the sheet is named after its source.
  bool is_sheet_named_after_source = true;
  std::vector<bvbs::SourceLine> bars;
  std::vector<bvbs::SourceLine> fabrics;
  std::vector<bvbs::SourceLine> bar_spacers;

  std::size_t size() const { return bars.size() + fabrics.size() + bar_spacers.size(); }
};

/// A fabric type as the first fabric of its name has it, and its steel.
struct PlannedFabricType {
  model::cad::FabricType record;
  std::string steel;
};

/// A project in JSON, and the source that it is.
struct PlannedDocument {
  std::string source;
  ProjectDocument document;
};

/// Sources that are read and checked.
class ImportPlan {
 public:
  /// Reads all of `sources`. What each of them is, its content says: a bar schedule of BVBS has a
  /// line that begins as a record, a project in JSON begins with a brace.
  ImportPlan(std::vector<Source> sources, const ImportNames& names, const Progress& progress = {});
  ImportPlan(const ImportPlan&) = delete;
  ImportPlan& operator=(const ImportPlan&) = delete;

  /// Of all sources, in order. The rest can be imported without what they name. It is a fault, too,
  /// that a revision of a document is in another source, or that a document is to get other names.
  const std::vector<SourceFault>& faults() const { return faults_; }
  const std::vector<SourceNote>& notes() const { return notes_; }
  /// How many records of each group were left out, since a project has no place for them.
  const std::map<std::string, std::size_t>& skipped() const { return skipped_; }

  /// In the order of their first lines. No two have the same names.
  const std::vector<PlannedRevision>& revisions() const { return revisions_; }
  /// The steels of bars.
  const std::set<std::string>& steels() const { return steels_; }
  /// By name.
  const std::map<std::string, PlannedFabricType>& fabric_types() const { return fabric_types_; }
  /// The first name of a project; empty without one.
  const std::string& project() const { return project_; }

  const std::vector<PlannedDocument>& documents() const { return documents_; }

  /// How many lines there are to store.
  std::size_t size() const { return size_; }
  /// Whether there is nothing to store. A document always has something.
  bool is_empty() const { return size_ == 0 && documents_.empty(); }

 private:
  /// Calls `go_on` with each line.
  void read_schedule(const Source& source, const ImportNames& names,
                     const std::function<void(const bvbs::SourceLine&)>& go_on);
  void read_document(const Source& source, const ImportNames& names);
  /// Takes out the documents that have a revision of another source.
  void refuse_shared_revisions();
  PlannedRevision& revision_of(const bvbs::Drawing& drawing);
  void note(const Source& source, const bvbs::Note& note);

  std::vector<Source> sources_;
  std::vector<SourceFault> faults_;
  std::vector<SourceNote> notes_;
  std::map<std::string, std::size_t> notes_by_text_;
  std::map<std::string, std::size_t> skipped_;
  std::vector<PlannedRevision> revisions_;
  std::map<std::pair<std::string, std::string>, std::size_t> revisions_by_name_;
  std::set<std::string> steels_;
  std::map<std::string, PlannedFabricType> fabric_types_;
  std::string project_;
  std::vector<PlannedDocument> documents_;
  std::size_t size_ = 0;
};

}  // namespace korvane::schedule
