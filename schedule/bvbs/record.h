#pragma once

#include <cstddef>
#include <cstdint>
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

/// What is wrong with one record. The text is UTF-8.
class RecordError : public std::runtime_error {
 public:
  /// The whole text is "line <number>: <reason>".
  RecordError(std::size_t line, const std::string& reason)
      : std::runtime_error("line " + std::to_string(line) + ": " + reason),
        line_(line),
        reason_(reason) {}

  std::size_t line() const { return line_; }
  const std::string& reason() const { return reason_; }

 private:
  std::size_t line_;
  std::string reason_;
};

/// One line of a source.
struct SourceLine {
  /// Counted from 1.
  std::size_t number = 0;
  /// Without its end. Refers to the source's text.
  std::string_view text;
  /// The source begins with the byte order mark of UTF-8.
  bool has_mark = false;
};

/// Takes the text of a source apart. Lines end in CR LF or LF; empty ones are left out, and so is a
/// byte order mark. The text must outlive what is made of it.
class SourceLines {
 public:
  explicit SourceLines(std::string_view text);

  /// None after the last line.
  std::optional<SourceLine> next();

 private:
  std::string_view rest_;
  std::size_t number_ = 0;
  bool has_mark_ = false;
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

/// Whether a line begins with a group of the format and '@'.
bool begins_as_record(std::string_view line);

/// Splits one line. Letters beyond ASCII are taken as Windows-1252, but in a source with the byte
/// order mark of UTF-8 as what they are, provided that Windows-1252 has them all: somebody saved
/// the file anew. The checksum may then be that of either form.
///
/// Throws RecordError for a line that does not begin with a group and '@', has no header block, no
/// checksum, or a checksum that differs ("wrong checksum: the record states 81, its characters give
/// 86"), or a carriage return in the middle.
Record parse_record(const SourceLine& line);
inline Record parse_record(std::string_view line, std::size_t number) {
  return parse_record(SourceLine{number, line});
}

}  // namespace korvane::schedule::bvbs
