#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "contracts/encoding/json.h"
#include "platform/project_rpc/project_service.h"
#include "platform/rpc4/failure.h"
#include "schedule/document_index.h"
#include "schedule/structure.h"

/// A project as text that holds all of it: every field of every record, and what refers to what.
///
///     {"format":"korvane project","version":1,
///     "project":{…},
///     "materials":[…],
///     "fabric_types":[…],
///     "sheets":[
///     {"sheet":{…},"revisions":[
///     {"revision":{…},"bars":[…],"fabrics":[…],"bar_spacers":[…],"mounting_parts":[…]}]}]}
///
/// Records are as contracts/encoding/json.h writes them, each on a line of its own. Ids are those of
/// the project that it was written from: what is read back gets ids of its own, and so does what
/// refers to it. A line belongs to the revision that it stands in, whatever its own ids say.
namespace korvane::schedule {

inline constexpr std::string_view kDocumentFormat = "korvane project";
inline constexpr std::int32_t kDocumentVersion = 1;

enum class DocumentForm {
  /// One document, which `ProjectDocument` reads back.
  json,
  /// The same records in the same order, each on a line:
  ///
  ///     {"kind":"bar","sheet":"417","revision":"a","record":{…}}
  ///
  /// Kinds are project, material, fabric_type, sheet, revision, bar, fabric, bar_spacer and
  /// mounting_part. Where a record belongs to no sheet or revision, null stands for its name.
  ndjson,
};

/// Thrown where several things are wrong. `what()` has all of them, each on a line.
class DocumentError : public krv::rpc4::BadRequest {
 public:
  /// There must be at least one fault.
  explicit DocumentError(std::vector<std::string> faults);
  const std::vector<std::string>& faults() const { return faults_; }

 private:
  std::vector<std::string> faults_;
};

/// Writes a project to `sink`, in pieces of some 64 KiB; some thousand records are held at a time.
/// With a selection, the sheets and revisions of those names, and of the catalogues what their lines
/// refer to; else all sheets, also those that are empty.
///
/// Throws what select_revisions does, before anything is written, and DocumentError
/// `sheet "417", revision "a", bar "12": bar_diameter: NaN cannot be written as JSON` for what JSON
/// cannot say (encoding::JsonError), naming all such records. What was written until then ends in
/// the middle of a record, so that no reader takes it for whole. Passes on what the project and the
/// sink throw.
void write_document(model::cad::Project_Service& project, const Selection& selection,
                    DocumentForm form, const encoding::JsonSink& sink);

/// Whether a text is meant to be a JSON document rather than a schedule in another format: it begins
/// with a brace, if need be after blanks and a byte order mark.
bool looks_like_document(std::string_view text);

/// What happens to a revision that has lines already.
enum class IfFilled {
  refuse,
  /// The document's lines take the place of all that it has.
  replace,
  /// The document's lines come after those that it has.
  append,
};

/// A revision that a document was stored in, with the numbers of lines that the document has of
/// each kind.
struct StoredRevision {
  std::int32_t id = 0;
  std::string sheet;
  std::string revision;
  std::size_t bars = 0;
  std::size_t fabrics = 0;
  std::size_t bar_spacers = 0;
  std::size_t mounting_parts = 0;
};

struct StoredDocument {
  /// In the order of the document.
  std::vector<StoredRevision> revisions;
  /// What is not as the document says, since the project has something of that name already.
  std::vector<std::string> notes;
};

/// A document that is read back.
class ProjectDocument {
 public:
  /// Checks all of `text`, which must outlive the object. Holds what is not a line of a schedule,
  /// and while it checks one line at a time.
  explicit ProjectDocument(std::string_view text);

  /// All that is wrong, such as
  ///
  ///     line 3: materials[1].physical.density: expected a number, found text
  ///     line 9: sheets[0].revisions[0].bars[2].material_id: no material 7 in this document
  ///
  /// in the order of the text. A text that is not JSON, or not a document of a version that is known,
  /// has one fault. After a thousand faults the rest is counted.
  const std::vector<std::string>& faults() const { return index_.faults; }

  /// Whether only lines of schedules are faulty, so that the rest can be stored.
  bool is_rest_usable() const { return index_.is_rest_usable; }

  /// How many lines of schedules it has, without those that are faulty.
  std::size_t size() const { return index_.size; }

  /// Its revisions, with names and numbers alone.
  std::vector<StoredRevision> revisions() const;

  /// The same, each with the id of the revision that it would fill; 0 for one that would be made.
  std::vector<StoredRevision> revisions_in(const Structure& structure) const;

  /// Throws what `store` throws for revisions that have lines.
  void require_room(model::cad::Project_Service& project, IfFilled if_filled) const;

  /// Stores it in `project`. Sheets, and revisions of a sheet, go by their names: one that the
  /// project has is filled, with its record and properties as they are; one that it lacks is made as
  /// the document has it, with its uid unless the project uses that already. So do materials and
  /// fabric types. Of several with one name the first stands for the first. Properties of the
  /// project record are added where the project lacks them.
  ///
  /// New sheets and revisions are shown at once, after the revisions that are replaced or appended
  /// to have changed one by one (schedule/changes.h). A failure takes back what is new.
  ///
  /// Throws DocumentError with the faults, if any; with `skip_faulty` only unless the rest is
  /// usable. Throws DocumentError `sheet "417", revision "a" has 19 lines already` with
  /// IfFilled::refuse, for all such revisions, before anything is stored. Throws what the project
  /// throws.
  StoredDocument store(model::cad::Project_Service& project, IfFilled if_filled,
                       bool skip_faulty = false) const;

 private:
  std::string_view text_;
  DocumentIndex index_;
};

}  // namespace korvane::schedule
