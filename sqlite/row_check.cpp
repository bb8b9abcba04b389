#include "sqlite/row_check.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <new>
#include <set>
#include <type_traits>
#include <utility>

#include "contracts/encoding/record_codec.h"
#include "model/tables/tables.h"
#include "sqlite/stored_form.h"
#include "sqlite/treatment_rows.h"

namespace korvane::sqlite {

namespace {

namespace tables = model::tables;
using model::cad::BarSpacer;
using model::cad::EndTreatment;
using model::cad::ProjectData;
using model::cad::Rebar;
using model::cad::Revision;
using model::cad::Sheet;
using tables::Origin;

template <class T>
concept Content = requires(T record) {
  record.rev_id;
};
/// One whose columns `id` and `uid` are the truth: what its record says of them does not matter.
template <class T>
concept Entry = requires(T record) {
  record.uid;
};

/// What the checks of all tables share.
struct Checked {
  const Database& database;
  FindingList& findings;
  Mends* mends;
  StoredForm stored_form;
  TreatmentRows treatments = {};
  /// The sheet of each revision, by the revision's row.
  std::map<std::int64_t, std::int64_t> sheets = {};
  RowsSeen seen = {};
};

/// The rows of one table, which is there with `id` and `raw`.
template <class T>
class TableCheck {
 public:
  TableCheck(Checked& checked, const std::set<std::string>& found)
      : checked_(checked), table_(tables::table_of<T>()) {
    std::string sql = "select id, raw";
    for (const auto& column : table_.columns()) {
      if (column.name == "id" || column.name == "raw" || found.count(column.name) == 0) continue;
      sql += ", \"" + column.name + "\"";
      columns_.push_back(&column);
    }
    rows_.emplace(checked.database, sql + " from \"" + table_.name() + "\"");
  }

  void run() {
    while (rows_->next()) {
      ++checked_.seen.count;
      ++count_;
      check_row();
    }
    if constexpr (std::is_same_v<T, ProjectData>) check_project_rows();
    if (other_sheets_ != 0) note_other_sheets();
  }

 private:
  static constexpr int kId = 0;
  static constexpr int kRaw = 1;
  static constexpr int kFirst = 2;

  Finding finding(Kind kind, const std::string& column, std::string text) const {
    Finding made;
    made.kind = kind;
    made.table = table_.name();
    made.row = row_;
    made.column = column;
    made.text = table_.name() + " " + std::to_string(row_) + ": " + std::move(text);
    return made;
  }
  void tell(Kind kind, const std::string& column, std::string text) {
    checked_.findings.add(finding(kind, column, std::move(text)));
  }

  void check_row() {
    row_ = rows_->integer(kId);
    if (rows_->type(kId) != SQLITE_INTEGER) {
      return tell(Kind::row_id, "id", "the id is not a whole number");
    }
    // What comes over the interface is of 32 bits.
    if (row_ > std::numeric_limits<std::int32_t>::max() ||
        row_ < std::numeric_limits<std::int32_t>::min()) {
      tell(Kind::row_id, "id", "the id is not one of 32 bits");
    }
    check_uid();
    const std::string_view raw = rows_->bytes(kRaw);
    if (rows_->is_null(kRaw)) return tell(Kind::raw_missing, "raw", "the record is missing");
    T record{};
    std::uint32_t length = 0;
    try {
      length = encoding::decode_into(raw.data(), static_cast<std::uint32_t>(raw.size()), record);
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception& failure) {
      return tell(Kind::raw_damaged, "raw",
                  std::string("the record cannot be decoded: ") + failure.what());
    }
    const bool is_whole = check_form(raw, length, record);
    std::vector<ColumnMend> mends;
    check_kind_of_raw(raw, mends);
    check_columns(record, is_whole, std::move(mends));
    if constexpr (Content<T>) count_other_sheet(record);
    if constexpr (std::is_same_v<T, Sheet>) keep(record, checked_.seen.sheets);
    if constexpr (std::is_same_v<T, Revision>) check_sheet(record);
  }

  void check_uid() {
    if constexpr (Entry<T>) {
      const int column = position("uid");
      if (column >= 0 && rows_->type(column) != SQLITE_TEXT) {
        Finding made = finding(Kind::uid, "uid", "the uid is not a text");
        made.found = literal_of(cell_at(*rows_, column));
        checked_.findings.add(std::move(made));
      }
    }
  }

  /// The place of a column in the row, or -1.
  int position(std::string_view name) const {
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (columns_[i]->name == name) return kFirst + static_cast<int>(i);
    }
    return -1;
  }

  /// Whether the bytes are those of the record and no others.
  bool check_form(std::string_view raw, std::uint32_t length, const T& record) {
    if (length < raw.size()) {
      tell(Kind::raw_left_over, "raw",
           std::to_string(raw.size() - length) + " bytes follow the end of the record");
      return false;
    }
    const bond::blob again = encoding::encode(record);
    if (std::string_view(again.content(), again.size()) == raw) return true;
    tell(Kind::raw_unknown, "raw", "the record has something that this version does not know");
    return false;
  }

  /// The store reads a text as well, but the functions of SQL for bytes do not.
  void check_kind_of_raw(std::string_view raw, std::vector<ColumnMend>& mends) {
    if (rows_->type(kRaw) == SQLITE_BLOB) return;
    // First: where the file has texts in UTF-16, asking for the text takes the bytes away.
    Blob bytes{std::string(raw)};
    ColumnMend mend{table_.name(), row_, "raw", cell_at(*rows_, kRaw), std::move(bytes)};
    tell_difference(mend);
    mends.push_back(std::move(mend));
  }

  void check_columns(const T& record, bool is_whole, std::vector<ColumnMend> mends) {
    const tables::Given<T> given{};
    bool is_of_its_revision = true;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      const auto& column = *columns_[i];
      if (column.origin != Origin::kRecord || (Entry<T> && column.name == "uid")) continue;
      if (std::is_same_v<T, Revision> && column.name == "sheet_id") continue;
      const tables::Value value = column.value(record, given);
      const int position = kFirst + static_cast<int>(i);
      if (is_same(view_at(*rows_, position), value)) continue;
      ColumnMend mend{table_.name(), row_, column.name, cell_at(*rows_, position),
                      checked_.stored_form.of(std::string(column.type), value)};
      if (mend.before == mend.after) continue;
      tell_difference(mend);
      // Which revision a row belongs to is what every read goes by.
      if (column.name == "rev_id") is_of_its_revision = false;
      mends.push_back(std::move(mend));
    }
    const bool may_mend = is_whole && is_of_its_revision && checked_.mends != nullptr;
    if (may_mend) {
      std::move(mends.begin(), mends.end(), std::back_inserter(checked_.mends->columns));
    }
    if constexpr (std::is_same_v<T, Rebar>) {
      check_treatment("end_treatment_start", record.end_treatment_start, may_mend);
      check_treatment("end_treatment_end", record.end_treatment_end, may_mend);
    }
  }

  void tell_difference(const ColumnMend& mend) {
    Finding made = finding(Kind::column, mend.column, "");
    made.found = literal_of(mend.before);
    made.expected = literal_of(mend.after);
    made.text += mend.column + " is " + made.found +
                 (mend.column == "raw" ? ", not bytes" : ", raw says " + made.expected);
    checked_.findings.add(std::move(made));
  }

  void check_treatment(const std::string& column, const bond::nullable<EndTreatment>& treatment,
                       bool may_mend) {
    const int place = position(column);
    if (place < 0) return;
    const Cell stored = cell_at(*rows_, place);
    const auto* const id = std::get_if<std::int64_t>(&stored);
    const bool is_null = rows_->is_null(place);
    if (!treatment.hasvalue() && is_null) return;
    if (treatment.hasvalue() && id != nullptr && checked_.treatments.has(*id, *treatment)) return;
    const bool is_unlinked = treatment.hasvalue() && is_null;
    Finding made = finding(is_unlinked ? Kind::treatment_unlinked : Kind::treatment, column, "");
    made.found = literal_of(stored);
    if (is_unlinked) {
      made.text += column + " is NULL, raw has a treatment";
    } else if (!treatment.hasvalue()) {
      made.text += column + " is " + made.found + ", raw has no treatment";
      made.expected = "NULL";
    } else {
      made.text += column + " is " + made.found + ", " +
                   (id != nullptr && checked_.treatments.has(*id) ? "a row that differs from raw's"
                                                                  : "which is not a row");
    }
    checked_.findings.add(std::move(made));
    if (!may_mend) return;
    TreatmentMend mend{row_, column, stored, {}};
    if (treatment.hasvalue()) mend.treatment = *treatment;
    checked_.mends->treatments.push_back(std::move(mend));
  }

  /// The store does not look at what a line says of its sheet; a bar spacer has a column for it.
  void count_other_sheet(const T& record) {
    if (record.sheet_id <= 0 || position("rev_id") < 0) return;
    const auto sheet = checked_.sheets.find(rows_->integer(position("rev_id")));
    if (sheet == checked_.sheets.end() || sheet->second == record.sheet_id) return;
    if (other_sheets_++ == 0) first_other_sheet_ = row_;
  }

  void note_other_sheets() {
    Finding made;
    made.kind = Kind::other_sheet;
    made.table = table_.name();
    made.row = first_other_sheet_;
    made.column = "raw";
    made.text = table_.name() + ": rows that name another sheet than that of their revision: " +
                std::to_string(other_sheets_) + ", the first is " +
                std::to_string(first_other_sheet_);
    checked_.findings.add(std::move(made));
  }

  template <class Entries>
  void keep(T record, Entries& entries) {
    record.id = static_cast<std::int32_t>(row_);
    const int uid = position("uid");
    if (uid >= 0) record.uid = rows_->text(uid);
    entries.push_back(std::move(record));
  }

  void check_sheet(Revision record) {
    const int place = position("sheet_id");
    if (place < 0) return;
    const std::int64_t sheet = rows_->integer(place);
    if (rows_->is_null(place)) {
      tell(Kind::revision_without_sheet, "sheet_id", "belongs to no sheet");
    } else {
      checked_.sheets[row_] = sheet;
    }
    if (!rows_->is_null(place) && sheet != record.sheet_id) {
      Finding made = finding(Kind::other_sheet, "sheet_id", "");
      made.found = std::to_string(sheet);
      made.expected = std::to_string(record.sheet_id);
      made.text += "belongs to sheet " + made.found + ", raw says " + made.expected;
      checked_.findings.add(std::move(made));
    }
    record.sheet_id = static_cast<std::int32_t>(sheet);
    keep(std::move(record), checked_.seen.revisions);
  }

  void check_project_rows() {
    if (count_ < 2) return;
    Finding made;
    made.kind = Kind::project_rows;
    made.table = table_.name();
    made.text = "project: there are " + std::to_string(count_) + " rows, of which one is read";
    checked_.findings.add(std::move(made));
  }

  Checked& checked_;
  const tables::Table<T> table_;
  std::vector<const tables::Column<T>*> columns_;
  std::optional<Statement> rows_;
  std::int64_t row_ = 0;
  std::size_t count_ = 0;
  std::size_t other_sheets_ = 0;
  std::int64_t first_other_sheet_ = 0;
};

/// Calls `read`, which may come to where the file is damaged.
template <class Read>
void read_table(Checked& checked, const std::string& name, Read read) {
  try {
    read();
  } catch (const DatabaseError& failure) {
    Finding broken;
    broken.kind = Kind::pages;
    broken.table = name;
    broken.text = "table " + name + " cannot be read to its end: " + sqlite3_errstr(failure.code());
    checked.findings.add(std::move(broken));
  }
}

template <class T>
void check_table(Checked& checked, const FoundTables& found) {
  const auto columns = found.find(tables::table_of<T>().name());
  if (columns == found.end()) return;
  if (columns->second.count("id") == 0 || columns->second.count("raw") == 0) return;
  TableCheck<T>(checked, columns->second).run();
}

}  // namespace

RowsSeen check_rows(const Database& database, const FoundTables& found, FindingList& findings,
                    Mends* mends) {
  Checked checked{database, findings, mends, StoredForm(database)};
  tables::for_each_table([&]<class T>(const tables::Table<T>& table) {
    read_table(checked, table.name(), [&] {
      if constexpr (std::is_same_v<T, EndTreatment>) {
        checked.treatments.read(database, found);
        checked.seen.count += checked.treatments.count();
      } else {
        check_table<T>(checked, found);
      }
    });
  });
  return std::move(checked.seen);
}

}  // namespace korvane::sqlite
