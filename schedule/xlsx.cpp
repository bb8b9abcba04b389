#include "schedule/xlsx.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <variant>
#include <xlsxwriter.h>

#include "schedule/xlsx_check.h"
#include "schedule/xlsx_text.h"

namespace korvane::schedule {

namespace {

/// Those of the format, less some room for totals and notes.
constexpr lxw_row_t kMostRows = LXW_ROW_MAX - 1000;
constexpr std::size_t kLongestText = 32767;

/// In characters of a digit's width.
constexpr std::size_t kNarrowest = 6;
constexpr std::size_t kWidest = 48;

std::string header_of(const Column& column) {
  return column.title + (column.unit.empty() ? "" : " (" + column.unit + ")");
}

std::string lower(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

/// A number that is not finite, as people know it.
std::string text_of(double number) {
  if (std::isnan(number)) return "nan";
  return number > 0 ? "inf" : "-inf";
}

}  // namespace

class XlsxFile::Book {
 public:
  explicit Book(std::string filename)
      : filename_(std::move(filename)),
        folder_(std::filesystem::absolute(filename_).parent_path().string()) {
    lxw_workbook_options options{};
    options.constant_memory = LXW_TRUE;
    options.tmpdir = folder_.data();
    options.use_zip64 = LXW_TRUE;
    book_ = workbook_new_opt(filename_.c_str(), &options);
    if (book_ == nullptr) fail(lxw_strerror(LXW_ERROR_MEMORY_MALLOC_FAILED));
    bold_ = workbook_add_format(book_);
    format_set_bold(bold_);
  }
  ~Book() {
    if (book_ != nullptr) lxw_workbook_free(book_);
  }
  Book(const Book&) = delete;
  Book& operator=(const Book&) = delete;

  void add_rows(const Table& table) {
    for (const auto& row : table.rows) {
      Sheet& sheet = sheet_of(table);
      write_row(sheet.next_row < kMostRows ? sheet : begin_sheet(table), row, nullptr);
    }
    sheet_of(table);
  }

  void add_totals(const Table& table) {
    Sheet& sheet = sheet_of(table);
    for (const auto& row : table.totals) write_row(sheet, row, bold_);
    if (!table.notes.empty()) ++sheet.next_row;
    for (const std::string& note : table.notes) {
      write_text(sheet, 0, note, nullptr);
      ++sheet.next_row;
    }
  }

  void finish() {
    if (sheets_.empty())
      check(workbook_add_worksheet(book_, nullptr) == nullptr ? LXW_ERROR_MEMORY_MALLOC_FAILED
                                                              : LXW_NO_ERROR);
    for (auto& [name, sheet] : sheets_) set_widths(sheet);
    for (Sheet& sheet : full_) set_widths(sheet);
    // The library frees the book whatever comes out.
    const lxw_error error = workbook_close(std::exchange(book_, nullptr));
    check(error);
    if (const std::string fault = fault_of_xlsx(filename_); !fault.empty()) fail(fault);
  }

  std::size_t shortened_texts() const { return shortened_; }

 private:
  struct Sheet {
    lxw_worksheet* sheet = nullptr;
    lxw_row_t next_row = 0;
    std::vector<std::size_t> widths;
    /// Whether a column has any value.
    std::vector<bool> is_used;
  };

  [[noreturn]] void fail(const std::string& reason) const {
    throw std::runtime_error("cannot write " + filename_ + ": " + reason);
  }
  void check(lxw_error error) const {
    if (error != LXW_NO_ERROR) fail(lxw_strerror(error));
  }

  Sheet& sheet_of(const Table& table) {
    const auto found = sheets_.find(table.name);
    return found != sheets_.end() ? found->second : begin_sheet(table);
  }

  /// Makes the first worksheet of the table, or the next one.
  Sheet& begin_sheet(const Table& table) {
    const auto before = sheets_.find(table.name);
    if (before != sheets_.end()) full_.push_back(std::move(before->second));
    Sheet sheet;
    const std::string name = free_name(table.title.empty() ? table.name : table.title);
    sheet.sheet = workbook_add_worksheet(book_, name.c_str());
    if (sheet.sheet == nullptr) fail("no worksheet \"" + name + "\"");
    sheet.widths.assign(table.columns.size(), kNarrowest);
    sheet.is_used.assign(table.columns.size(), false);
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
      const std::string header = header_of(table.columns[i]);
      write_text(sheet, i, header, bold_);
      widen(sheet, i, length_of(header));
    }
    worksheet_freeze_panes(sheet.sheet, 1, 0);
    sheet.next_row = 1;
    return sheets_.insert_or_assign(table.name, std::move(sheet)).first->second;
  }

  /// A name that no worksheet has: two that differ in case alone are the same.
  std::string free_name(const std::string& title) {
    std::string name = worksheet_name(title);
    for (int number = 2; !names_.insert(lower(name)).second; ++number) {
      const std::string suffix = " (" + std::to_string(number) + ")";
      name = first_characters(worksheet_name(title), LXW_SHEETNAME_MAX - suffix.size()) + suffix;
    }
    return name;
  }

  void write_row(Sheet& sheet, const std::vector<Cell>& row, lxw_format* format) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      write_cell(sheet, i, row[i], format);
      if (row[i].index() != 0 && i < sheet.is_used.size()) sheet.is_used[i] = true;
    }
    ++sheet.next_row;
  }

  void write_cell(Sheet& sheet, std::size_t column, const Cell& cell, lxw_format* format) {
    if (const auto* const integer = std::get_if<std::int64_t>(&cell)) {
      return write_number(sheet, column, static_cast<double>(*integer), format);
    }
    if (const auto* const number = std::get_if<double>(&cell)) {
      if (std::isfinite(*number)) return write_number(sheet, column, *number, format);
      return write_text(sheet, column, text_of(*number), format);
    }
    if (const auto* const text = std::get_if<std::string>(&cell)) {
      widen(sheet, column, length_of(*text));
      write_text(sheet, column, *text, format);
    }
  }

  void write_number(Sheet& sheet, std::size_t column, double number, lxw_format* format) {
    widen(sheet, column, kNarrowest + 2);
    check(worksheet_write_number(sheet.sheet, sheet.next_row, static_cast<lxw_col_t>(column),
                                 number, format));
  }

  void write_text(Sheet& sheet, std::size_t column, const std::string& text, lxw_format* format) {
    if (text.empty()) return;
    std::string written = xlsx_text(text);
    if (length_of(written) > kLongestText) {
      written = first_characters(written, kLongestText - 1) + "…";
      ++shortened_;
    }
    check(worksheet_write_string(sheet.sheet, sheet.next_row, static_cast<lxw_col_t>(column),
                                 written.c_str(), format));
  }

  static void widen(Sheet& sheet, std::size_t column, std::size_t width) {
    if (column >= sheet.widths.size()) return;
    sheet.widths[column] = std::max(sheet.widths[column], std::min(width + 1, kWidest));
  }

  void set_widths(Sheet& sheet) {
    for (std::size_t i = 0; i < sheet.widths.size(); ++i) {
      const auto column = static_cast<lxw_col_t>(i);
      lxw_row_col_options options{};
      options.hidden = sheet.next_row > 1 && !sheet.is_used[i] ? LXW_TRUE : LXW_FALSE;
      check(worksheet_set_column_opt(sheet.sheet, column, column,
                                     static_cast<double>(sheet.widths[i]), nullptr, &options));
    }
  }

  std::string filename_;
  /// The library keeps its address.
  std::string folder_;
  lxw_workbook* book_ = nullptr;
  lxw_format* bold_ = nullptr;
  /// By the table's name, the one that rows go to.
  std::map<std::string, Sheet> sheets_;
  std::vector<Sheet> full_;
  std::set<std::string> names_;
  std::size_t shortened_ = 0;
};

XlsxFile::XlsxFile(std::string filename) : book_(std::make_unique<Book>(std::move(filename))) {}
XlsxFile::~XlsxFile() = default;

void XlsxFile::add_rows(const Table& table) { book_->add_rows(table); }
void XlsxFile::add_totals(const Table& table) { book_->add_totals(table); }
void XlsxFile::finish() { book_->finish(); }
std::size_t XlsxFile::shortened_texts() const { return book_->shortened_texts(); }

void write_xlsx(const std::vector<Table>& tables, const std::string& filename) {
  XlsxFile file(filename);
  for (const Table& table : tables) {
    file.add_rows(table);
    file.add_totals(table);
  }
  file.finish();
}

std::string worksheet_name(const std::string& title) {
  std::string name = xlsx_text(title);
  for (char& c : name) {
    if (std::string_view("[]:*?/\\").find(c) != std::string_view::npos) c = '_';
    if (static_cast<unsigned char>(c) < ' ') c = ' ';
  }
  name = first_characters(name, LXW_SHEETNAME_MAX);
  if (name.starts_with('\'')) name.front() = '_';
  if (name.ends_with('\'')) name.back() = '_';
  // The second is taken by spreadsheets.
  if (name.empty() || lower(name) == "history") name += "_";
  return name;
}

}  // namespace korvane::schedule
