#pragma once

#include <optional>
#include <string>

#include "schedule/bvbs/draft.h"
#include "schedule/bvbs/lines.h"
#include "schedule/bvbs/record.h"

/// The line that a record was imported from, which the record keeps.
namespace korvane::schedule::bvbs {

/// The property with the line, as UTF-8.
inline constexpr const char* kSourceProperty = "bvbs";

/// The property with a line that is like the source, but states what the record has become. It is
/// kept for what only the line says, such as private text.
inline constexpr const char* kRestProperty = "bvbs.rest";

/// A line that was read again.
struct Source {
  /// In Windows-1252, without its end and with the right checksum.
  std::string line;
  Record record;
  /// The private blocks as UTF-8: "PtSEGOPT;o0@", or empty.
  std::string private_text;
  Drawing drawing;
  Draft draft;
};

/// The line of a kept source, which is UTF-8, in Windows-1252 and with the right checksum. None if it
/// has letters that Windows-1252 lacks, no checksum, or a line feed.
std::optional<std::string> line_of_source(const std::string& source);

/// The line in a property of the record. None if it is not there, cannot be read, or is of another
/// kind of record. A wrong checksum is no fault: the line may have been imported with it.
std::optional<Source> read_source(const model::cad::Rebar& bar, const char* property);
std::optional<Source> read_source(const model::cad::Fabric& fabric, const char* property);
std::optional<Source> read_source(const model::cad::BarSpacer& spacer, const char* property);

/// Whether the line states what the draft does. A line without a project's name says nothing about
/// it: files name their project in some records and not in others.
bool states(const Source& source, const Draft& draft);

/// Whether the source line of the record states what the record and its drawing say now, so that
/// reading it again would give the record. False for a record without a source line.
bool states_the_same(const model::cad::Rebar& now, const Drawing& drawing);
bool states_the_same(const model::cad::Fabric& now, const Drawing& drawing);
bool states_the_same(const model::cad::BarSpacer& now, const Drawing& drawing);

/// Removes the source line from a record that was changed, if it states a value that is no longer
/// so. What only the line says, and is still true, stays under kRestProperty. `steel` is the name of
/// the material that the record has now. The names of project, sheet and revision don't matter.
void drop_stale_source(model::cad::Rebar& now, const std::string& steel);
void drop_stale_source(model::cad::Fabric& now, const std::string& steel);
void drop_stale_source(model::cad::BarSpacer& now);

}  // namespace korvane::schedule::bvbs
