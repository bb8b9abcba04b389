#include "sqlite/repair.h"

#include <set>
#include <utility>

#include "model/tables/tables.h"
#include "sqlite/cell.h"
#include "sqlite/joined.h"

namespace korvane::sqlite {

namespace {

namespace tables = model::tables;
using model::cad::EndTreatment;

/// A repair of one file, in a transaction that has begun.
class FileRepair {
 public:
  FileRepair(Database& database, std::vector<Repair>& repairs)
      : database_(database), repairs_(repairs) {}

  /// A row of a table with other columns could be several, or write more than it is told.
  void leave_tables_that_differ(const FindingList& findings) {
    for (const Finding& finding : findings.listed()) {
      if (finding.kind != Kind::declaration || finding.column.empty()) continue;
      if (!differing_.insert(finding.table).second) continue;
      leave(Kind::declaration, finding.table,
            "table " + finding.table +
                ": no row is repaired, as its columns differ: " + finding.text);
    }
  }

  void build_indexes() {
    Repair repair;
    repair.kind = Kind::index;
    try_to(std::move(repair), "all indexes were built anew", [&] { database_.run("reindex"); });
  }

  void write_columns(const std::vector<ColumnMend>& mends) {
    for (const ColumnMend& mend : mends) {
      if (differing_.count(mend.table) != 0) continue;
      Repair repair = repair_of(Kind::column, mend.table, mend.row, mend.column, mend.before);
      repair.after = literal_of(mend.after);
      const std::string text = place(repair) + " is now " + repair.after + ", was " + repair.before;
      try_to(std::move(repair), text, [&] { set(mend.table, mend.column, mend.row, mend.after); });
    }
  }

  void link_treatments(const std::vector<TreatmentMend>& mends) {
    if (differing_.count("rebar") + differing_.count("end_treatment") != 0) return;
    for (const TreatmentMend& mend : mends) {
      const Kind kind =
          mend.treatment && mend.before == Cell() ? Kind::treatment_unlinked : Kind::treatment;
      Repair repair = repair_of(kind, "rebar", mend.bar, mend.column, mend.before);
      const std::string text = place(repair) + " is linked to the end treatment of its record";
      try_to(std::move(repair), text, [&] {
        Cell id;
        if (mend.treatment) id = row_of(*mend.treatment);
        set("rebar", mend.column, mend.bar, id);
      });
    }
  }

  /// The one with the lowest id stays.
  void merge_treatments() {
    if (differing_.count("rebar") + differing_.count("end_treatment") != 0) return;
    if (is_referred_to_by_others(Kind::equal_treatments, "end_treatment")) return;
    std::string columns;
    std::string where;
    treatments_.for_each_inserted([&](const auto& column) {
      columns += (columns.empty() ? "" : ", ") + column.name;
      where += " and other." + column.name + " = kept." + column.name;
    });
    const std::string pairs =
        "from end_treatment as kept join end_treatment as other on other.id > "
        "kept.id" +
        where;
    std::vector<std::pair<std::int64_t, std::int64_t>> equal;
    Statement found(database_, "select other.id, min(kept.id) " + pairs + " group by other.id");
    while (found.next()) equal.emplace_back(found.integer(0), found.integer(1));
    for (const auto& [other, kept] : equal) {
      Repair repair;
      repair.kind = Kind::equal_treatments;
      repair.table = "end_treatment";
      repair.row = other;
      repair.before = std::to_string(other);
      repair.after = std::to_string(kept);
      try_to(std::move(repair),
             "end_treatment " + std::to_string(other) + " is now one with " + std::to_string(kept),
             [&, other = other, kept = kept] {
               for (const char* end : {"end_treatment_start", "end_treatment_end"}) {
                 Statement link(database_, std::string("update rebar set ") + end + " = ? where " +
                                               end + " = ?");
                 link.bind(1, kept).bind(2, other).next();
               }
               Statement(database_, "delete from end_treatment where id = ?").bind(1, other).next();
             });
    }
  }

  void remove_orphans() {
    if (differing_.count("barspacer") + differing_.count("revision") != 0) return;
    if (is_referred_to_by_others(Kind::orphan_bar_spacers, "barspacer")) return;
    const std::string where =
        " from barspacer where rev_id is null or rev_id not in (select id from revision)";
    std::vector<std::pair<std::string, std::string>> orphans;
    Statement found(database_, "select rev_id, count(*)" + where + " group by rev_id");
    while (found.next()) {
      orphans.emplace_back(literal_of(cell_at(found, 0)), literal_of(cell_at(found, 1)));
    }
    if (orphans.empty()) return;
    Statement(database_, "delete" + where).next();
    for (const auto& [rev_id, count] : orphans) {
      Repair repair;
      repair.kind = Kind::orphan_bar_spacers;
      repair.is_done = true;
      repair.table = "barspacer";
      repair.column = "rev_id";
      repair.before = rev_id;
      repair.text = joined({"barspacer: removed rows of revision ", rev_id, ": ", count});
      repairs_.push_back(std::move(repair));
    }
  }

 private:
  void leave(Kind kind, const std::string& table, std::string text) {
    Repair repair;
    repair.kind = kind;
    repair.table = table;
    repair.text = std::move(text);
    repairs_.push_back(std::move(repair));
  }

  /// Rows of another program's table could go with the ones that are removed.
  bool is_referred_to_by_others(Kind kind, const std::string& table) {
    Statement other(database_,
                    "select tables.name from sqlite_schema as tables "
                    "join pragma_foreign_key_list(tables.name) as keys "
                    "where tables.type = 'table' and tables.name <> 'rebar' "
                    "and keys.\"table\" = ? collate nocase");
    other.bind(1, std::string_view(table));
    if (!other.next()) return false;
    leave(kind, table,
          table + ": no row is removed, as the table " + std::string(other.text(0)) +
              " refers to them, which is not a project's");
    return true;
  }

  static Repair repair_of(Kind kind, const std::string& table, std::int64_t row,
                          const std::string& column, const Cell& before) {
    Repair repair;
    repair.kind = kind;
    repair.table = table;
    repair.row = row;
    repair.column = column;
    repair.before = literal_of(before);
    return repair;
  }

  static std::string place(const Repair& repair) {
    return repair.table + " " + std::to_string(*repair.row) + ": " + repair.column;
  }

  /// Does the work, or notes why it was left.
  template <class Work>
  void try_to(Repair repair, const std::string& text, Work work) {
    database_.run("savepoint one_repair");
    try {
      work();
      repair.is_done = true;
      repair.text = text;
    } catch (const DatabaseError& failure) {
      // SQLITE_ERROR: an index or a constraint has a function that is not known here.
      const int code = failure.code() & 0xFF;
      if (code != SQLITE_CONSTRAINT && code != SQLITE_ERROR) throw;
      const std::string why = code == SQLITE_ERROR ? sqlite3_errmsg(database_.handle())
                                                   : sqlite3_errstr(failure.code());
      database_.run("rollback to one_repair");
      repair.text = repair.row ? place(repair) + " stays as it is: " : "indexes stay as they are: ";
      repair.text += why;
    }
    database_.run("release one_repair");
    repairs_.push_back(std::move(repair));
  }

  void set(const std::string& table, const std::string& column, std::int64_t row,
           const Cell& value) {
    Statement update(database_, "update \"" + table + "\" set \"" + column + "\" = ? where id = ?");
    bind_cell(update, 1, value);
    update.bind(2, row).next();
  }

  std::int64_t row_of(const EndTreatment& treatment) {
    std::string columns;
    std::string marks;
    std::string where;
    treatments_.for_each_inserted([&](const auto& column) {
      columns += (columns.empty() ? "" : ", ") + column.name;
      marks += marks.empty() ? "?" : ", ?";
      where += (where.empty() ? "" : " and ") + column.name + " is ?";
    });
    Statement find(database_,
                   "select id from end_treatment where " + where + " order by id limit 1");
    bind_treatment(find, treatment);
    if (find.next()) return find.integer(0);
    Statement insert(database_,
                     "insert into end_treatment (" + columns + ") values (" + marks + ")");
    bind_treatment(insert, treatment);
    insert.next();
    return sqlite3_last_insert_rowid(database_.handle());
  }

  void bind_treatment(Statement& statement, const EndTreatment& treatment) const {
    int parameter = 0;
    treatments_.for_each_inserted([&](const auto& column) {
      bind_cell(statement, ++parameter, column.value(treatment, {}));
    });
  }

  Database& database_;
  std::vector<Repair>& repairs_;
  std::set<std::string> differing_;
  const tables::Table<EndTreatment> treatments_ = tables::table_of<EndTreatment>();
};

}  // namespace

std::vector<Repair> repair_file(const std::string& filename, const RepairOptions& options) {
  Database database(filename, Database::Access::write);
  database.wait_for_locks(options.wait);
  database.distrust();
  // Triggers are not a project's.
  sqlite3_db_config(database.handle(), SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  database.run("pragma foreign_keys = on; begin immediate");
  CheckReport report;
  report.filename = filename;
  Mends mends;
  check_database(database, {options.wait, true}, report, &mends);
  for (const Kind kind :
       {Kind::pages, Kind::not_a_project, Kind::missing_table, Kind::missing_column}) {
    if (report.findings.has(kind)) return {};
  }
  std::vector<Repair> repairs;
  FileRepair repair(database, repairs);
  repair.leave_tables_that_differ(report.findings);
  if (report.findings.has(Kind::index)) repair.build_indexes();
  if (report.findings.has(Kind::equal_treatments)) repair.merge_treatments();
  repair.write_columns(mends.columns);
  repair.link_treatments(mends.treatments);
  if (options.are_orphans_removed) repair.remove_orphans();
  database.run("commit");
  return repairs;
}

}  // namespace korvane::sqlite
