#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// The bar schedule exchange format of BVBS ("ABS" files), after its guideline "Richtlinie für den
/// Datenaustausch von Bewehrungsdaten", version 3.1 of 2021. One record is one line:
///
///     record = group '@' block*          group = BF2D, BF3D, BFWE, BFMA, BFGT or BFAU
///     block  = capital field*            field = lower-case letter, value, '@'
///
/// for example, a straight bar of 200 mm:
///
///     BF2D@Hp1@l200@n1@e0.178@d12@Gl200@w0@C67@
///
/// A block ends where an '@' is followed by a capital letter. Block P is private text and runs to
/// the last "@C". Block C is the checksum; its number follows the letter without a field.
namespace korvane::schedule::bvbs {

/// What is wrong with one record. The text begins "line <number>: " and is UTF-8.
class RecordError : public std::runtime_error {
 public:
  RecordError(std::size_t line, const std::string& text)
      : std::runtime_error("line " + std::to_string(line) + ": " + text) {}
};

struct Field {
  char letter;
  std::string value;
};

struct Block {
  char letter;
  std::vector<Field> fields;

  /// The value of the first field of that letter. Fields are found by letter, never by position:
  /// real files leave some out.
  std::optional<std::string_view> find(char field) const;
};

struct Record {
  /// Number of the line in the file, counted from 1.
  std::size_t line;
  /// The super-group, "BF2D".
  std::string group;
  /// All blocks but the private ones and the checksum, in order. Texts are UTF-8.
  std::vector<Block> blocks;
  /// The line as UTF-8, without its end.
  std::string source;
  /// The line had letters beyond ASCII, which were taken as Windows-1252.
  bool has_foreign_letters = false;

  /// The first block of that letter, or null.
  const Block* find(char block) const;
};

/// The checksum of a record, from 65 to 96: 96 less the sum of its bytes modulo 32. `text` is the
/// record up to and including the C that begins the checksum block.
std::int32_t checksum(std::string_view text);

/// Splits one line, given without its end. Throws RecordError for a line that does not begin with a
/// group and '@', has no header block, no checksum, or a checksum that differs: "wrong checksum:
/// the record states 81, its characters give 86".
Record parse_record(std::string_view line, std::size_t number);

/// Reads all records of a file. Lines end in CR LF or LF; empty ones are skipped. Bytes beyond
/// ASCII are taken as Windows-1252. Sets the exception mask of `input` to badbit.
///
/// Throws RecordError at the first record that is wrong, and what reading `input` throws.
std::vector<Record> read_records(std::istream& input);

}  // namespace korvane::schedule::bvbs
