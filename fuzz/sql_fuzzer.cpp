// The first byte names a table of a project, the others are the `raw` of its one row. All views are
// read, and the record as JSON: SQL ends in rows or in an error of the extension's functions, the
// same each time, and what is JSON is valid.

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <sqlite3.h>

#include "fuzz/promise.h"
#include "model/tables/tables.h"
#include "sqlite/extension/extension.h"
#include "sqlite/extension/views.h"

namespace {

using korvane::fuzz::promise;

/// Tables whose rows have `raw`, with the contracts of their records.
struct Stored {
  const char* table;
  const char* contract;
};
constexpr Stored kStored[] = {
    {"project", "ProjectData"},    {"material", "Material"},   {"sheet", "Sheet"},
    {"revision", "Revision"},      {"barspacer", "BarSpacer"}, {"rebar", "Rebar"},
    {"fabric_type", "FabricType"}, {"fabric", "Fabric"},       {"mountingpart", "MountingPart"}};

/// A project in memory with a row in each table, which all belong together.
class Project {
 public:
  Project() {
    sqlite3* handle = nullptr;
    promise(sqlite3_open(":memory:", &handle) == SQLITE_OK, "a database in memory");
    database_.reset(handle);
    korvane::model::tables::for_each_table([&](const auto& table) {
      std::string columns;
      for (const auto& column : table.columns()) {
        columns += (columns.empty() ? "" : ", ") + column.name;
      }
      run("create table " + table.name() + " (" + columns + ")");
      run("insert into " + table.name() + " (id) values (1)");
    });
    run("update revision set sheet_id = 1, uid = 'r'");
    run("update sheet set uid = 's'");
    for (const char* const table : {"rebar", "fabric", "barspacer", "mountingpart"}) {
      run("update " + std::string(table) + " set rev_id = 1");
    }
    run("update rebar set material_id = 1");
    run("update fabric_type set material_id = 1");
    run("update fabric set fabric_type_id = 1");
    korvane::sqlite::extension::add_to(handle);
  }

  void run(const std::string& sql) {
    promise(sqlite3_exec(database_.get(), sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK,
            sql);
  }

  void set_raw(const std::string& table, const std::uint8_t* bytes, std::size_t size) {
    sqlite3_stmt* const statement = prepared("update " + table + " set raw = ?");
    // Not NULL, even without any bytes.
    sqlite3_bind_blob64(statement, 1, size == 0 ? "" : static_cast<const void*>(bytes), size,
                        SQLITE_STATIC);
    promise(sqlite3_step(statement) == SQLITE_DONE, "raw can be anything");
    sqlite3_reset(statement);
  }

  /// All cells as text and what it ended in, one after another.
  std::string outcome(const std::string& sql) {
    sqlite3_stmt* const statement = prepared(sql);
    std::string text;
    int code = SQLITE_OK;
    while ((code = sqlite3_step(statement)) == SQLITE_ROW) {
      for (int i = 0; i < sqlite3_column_count(statement); ++i) {
        const auto* const cell = reinterpret_cast<const char*>(sqlite3_column_text(statement, i));
        if (cell != nullptr) text += cell;
        text += '|';
      }
    }
    if (code != SQLITE_DONE) {
      const std::string_view message = sqlite3_errmsg(database_.get());
      promise(message.starts_with("korvane_"), message);
      text += message;
    }
    sqlite3_reset(statement);
    return text;
  }

 private:
  using Statement = std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)>;

  /// Parsed once for all inputs.
  sqlite3_stmt* prepared(const std::string& sql) {
    const auto found = statements_.find(sql);
    if (found != statements_.end()) return found->second.get();
    sqlite3_stmt* handle = nullptr;
    promise(sqlite3_prepare_v2(database_.get(), sql.c_str(), -1, &handle, nullptr) == SQLITE_OK,
            sqlite3_errmsg(database_.get()));
    statements_.emplace(sql, Statement(handle, sqlite3_finalize));
    return handle;
  }

  struct Close {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
  };
  std::unique_ptr<sqlite3, Close> database_;
  std::map<std::string, Statement> statements_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  static Project project;
  static const std::vector<std::string> views = korvane::sqlite::extension::view_names();
  const Stored& stored = kStored[data[0] % std::size(kStored)];
  project.set_raw(stored.table, data + 1, size - 1);

  const std::string json = "korvane_json('" + std::string(stored.contract) + "', raw)";
  const std::string valid = project.outcome("select json_valid(" + json + ") from " + stored.table);
  promise(valid == "1|" || valid.starts_with("korvane_json: "), "JSON is valid");
  for (const std::string& view : views) {
    const std::string first = project.outcome("select * from " + view);
    promise(project.outcome("select * from " + view) == first, "the same each time");
  }
  for (const char* const cells : {"legs", "vertices", "textblock", "properties"}) {
    const std::string name = cells;
    const std::string is_valid =
        "select coalesce(min(" + name + " is null or json_valid(" + name + ")), 1)";
    for (const char* const view : {" from bars", " from fabrics"}) {
      const std::string found = project.outcome(is_valid + view);
      promise(found == "1|" || found.starts_with("korvane_value: "),
              is_valid + view + ": " + found);
    }
  }
  project.run("update " + std::string(stored.table) + " set raw = null");
  return 0;
}
