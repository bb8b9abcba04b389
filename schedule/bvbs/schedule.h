#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "schedule/bvbs/lines.h"

namespace korvane::schedule::bvbs {

/// A record that cannot be read.
struct Fault {
  std::size_t line = 0;
  /// UTF-8, as RecordError has it.
  std::string reason;
};

/// What a person should know about lines that were read. Said once, however many they are.
struct Note {
  std::string text;
  /// Of the lines that it is about.
  std::size_t count = 0;
  std::size_t first_line = 0;
};

/// What was found in a source besides the lines of its schedule.
struct Findings {
  std::vector<Fault> faults;
  /// No two of the same text, in the order of their first lines.
  std::vector<Note> notes;
  /// How many records of each group were left out, since a project has no place for them.
  std::map<std::string, std::size_t> skipped;
};

/// Whether any line of the text begins as a record of the format does.
bool looks_like_schedule(std::string_view text);

/// Reads the text of a schedule and calls `visit` with each line that is not faulty, in order, and
/// with where it stands in the text, from where `read_line(parse_record(…))` reads it again. Bars
/// (BF2D, BF3D, BFWE), fabrics (BFMA) and bar spacers (BFAU) become lines; never a monostate.
///
/// The notes say what is taken otherwise than it is written, and what is not plausible: a weight
/// that length and diameter do not give, a cut length that the legs do not add up to, a second
/// project, a second fabric type under one name.
Findings read_schedule(std::string_view text,
                       const std::function<void(AnyLine&& line, const SourceLine& where)>& visit);

}  // namespace korvane::schedule::bvbs
