#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "schedule/table.h"

namespace korvane::schedule {

/// An XLSX file that is written table by table and row by row: what it holds in memory does not
/// grow with the rows. Those wait in temporary files in the folder of the file.
///
/// A table becomes a worksheet with its title as name, as far as worksheets can have it. The first
/// row, which stays when one scrolls, has the columns' titles with their units. Numbers are numbers
/// that spreadsheets calculate with, texts are texts whatever they look like, and no value is an
/// empty cell. Totals come below in bold, notes after them. Columns without any value are hidden.
/// Rows beyond what a worksheet holds go to a further one.
///
/// What a cell cannot have is replaced: characters that XML lacks and bytes that are not UTF-8 by
/// U+FFFD, a number that is not finite by the text "nan", "inf" or "-inf".
class XlsxFile {
 public:
  /// Nothing is written before `finish`. Throws std::runtime_error "cannot write <filename>: …".
  explicit XlsxFile(std::string filename);
  ~XlsxFile();
  XlsxFile(const XlsxFile&) = delete;
  XlsxFile& operator=(const XlsxFile&) = delete;

  /// Adds the rows of `table` to the worksheet of the tables of its name, which the first call
  /// makes. All tables of one name have the same columns.
  void add_rows(const Table& table);

  /// Adds the totals and notes of `table`, after the last rows of its name.
  void add_totals(const Table& table);

  /// Writes the file, and reads it back to see that it is whole. Throws std::runtime_error
  /// "cannot write <filename>: <reason>"; the file may be there then, in part. The last call.
  void finish();

  /// How many texts were too long for a cell, which holds 32,767 characters, and end in "…".
  std::size_t shortened_texts() const;

 private:
  class Book;

  std::unique_ptr<Book> book_;
};

/// Writes a file with a worksheet for each table, with its totals. Throws as XlsxFile does.
void write_xlsx(const std::vector<Table>& tables, const std::string& filename);

/// `title` as the name of a worksheet: of at most 31 characters and none that spreadsheets keep for
/// themselves.
std::string worksheet_name(const std::string& title);

}  // namespace korvane::schedule
