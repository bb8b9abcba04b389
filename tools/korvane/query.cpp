#include "schedule/query.h"

#include <atomic>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "model/tables/tables.h"
#include "sqlite/database.h"
#include "sqlite/extension/extension.h"
#include "sqlite/extension/views.h"
#include "sqlite/journal_files.h"
#include "tools/korvane/commands.h"
#include "tools/korvane/output_options.h"
#include "tools/korvane/project_options.h"
#include "tools/korvane/sql_guard.h"
#include "tools/korvane/sql_result.h"
#include "tools/korvane/standard_output.h"
#include "tools/korvane/terminal_text.h"

namespace korvane::tools {

using model::cad::Project_Service;
using sqlite::Database;
using sqlite::DatabaseError;
using sqlite::Statement;

namespace {

struct QueryOptions {
  ProjectOptions project;
  std::string sql;
  bool is_writing = false;
  OutputOptions output;
};

/// Ctrl-C ends the statement, so that what it has written is taken back. Once: the next one ends the
/// program.
class Interruptible {
 public:
  explicit Interruptible(sqlite3* database) {
    database_ = database;
    struct sigaction action {};
    action.sa_handler = [](int) {
      // SQLite allows it in a signal handler, as long as the connection is open.
      if (sqlite3* const running = database_) sqlite3_interrupt(running);
    };
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &action, &before_);
  }
  Interruptible(const Interruptible&) = delete;
  Interruptible& operator=(const Interruptible&) = delete;
  ~Interruptible() {
    sigaction(SIGINT, &before_, nullptr);
    database_ = nullptr;
  }

 private:
  inline static std::atomic<sqlite3*> database_ = nullptr;
  struct sigaction before_ {};
};

std::string sql_of(const std::string& argument) {
  if (argument != "-") return argument;
  return {std::istreambuf_iterator<char>(std::cin), {}};
}

void require_tables(const Database& database) {
  model::tables::for_each_table([&](const auto& table) {
    Statement found(database, "select 1 from main.sqlite_master where type = 'table' and name = ?");
    found.bind(1, std::string_view(table.name()));
    if (found.next()) return;
    throw std::runtime_error("\"" + database.filename() +
                             "\" is not a korvane project: no such table: " + table.name());
  });
}

/// What a read-only connection cannot do, in words that say what helps.
std::string advice_for(int code) {
  const bool is_left_behind = code == SQLITE_READONLY_ROLLBACK || code == SQLITE_READONLY_RECOVERY;
  return is_left_behind ? ". A program was killed while it wrote: \"korvane list\" takes back what "
                          "it left, then a query can read"
                        : "";
}

Database open(const QueryOptions& options) {
  const std::string& file = options.project.file;
  require_project_file(file);
  if (!std::filesystem::is_regular_file(file)) {
    throw std::runtime_error("\"" + file + "\" is not a file");
  }
  const bool may_write = options.is_writing || sqlite::is_log_at_rest(file);
  Database database(file, may_write ? Database::Access::write : Database::Access::read);
  database.distrust();
  // What a statement sorts may be larger than what there is of memory.
  database.run("pragma temp_store = default");
  try {
    require_tables(database);
  } catch (const DatabaseError& failure) {
    throw std::runtime_error(failure.what() + advice_for(failure.code()));
  }
  sqlite::extension::add_to(database.handle());
  if (options.is_writing) {
    database.run("pragma foreign_keys = 1");
  } else {
    database.run("pragma query_only = 1");
    allow_reading_only(database.handle());
  }
  return database;
}

void say_outcome(const QueryOptions& options, bool gives_rows, std::size_t rows,
                 std::int64_t changes) {
  if (options.output.is_quiet) return;
  if (gives_rows && rows == 0 && options.output.format == Format::table) {
    std::cerr << "no rows\n";
  }
  if (options.is_writing && (!gives_rows || changes != 0)) {
    std::cerr << format_count(static_cast<std::size_t>(changes), "row") << " changed\n";
  }
}

int run_on_file(const QueryOptions& options, const std::string& sql) {
  const Database database = open(options);
  Statement statement(database, only_statement(database.handle(), sql));
  const Interruptible interruptible(database.handle());
  const sqlite3_int64 before = sqlite3_total_changes64(database.handle());
  std::size_t rows = 0;
  try {
    rows = print_rows(statement, options.output, std::cout);
  } catch (const DatabaseError& failure) {
    if (failure.code() == SQLITE_INTERRUPT) throw std::runtime_error("interrupted");
    // Of ATTACH and VACUUM SQLite asks while they run.
    if ((failure.code() & 0xFF) == SQLITE_AUTH) throw MoreThanReading();
    throw;
  }
  const bool has_changed = sqlite3_total_changes64(database.handle()) != before;
  require_output();
  say_outcome(options, statement.column_count() != 0, rows,
              has_changed ? sqlite3_changes64(database.handle()) : 0);
  return kDone;
}

/// The tables of a project in memory.
std::unique_ptr<sqlite3, int (*)(sqlite3*)> empty_project() {
  sqlite3* handle = nullptr;
  sqlite3_open(":memory:", &handle);
  std::unique_ptr<sqlite3, int (*)(sqlite3*)> database(handle, sqlite3_close_v2);
  model::tables::for_each_table([&](const auto& table) {
    std::string columns;
    for (const auto& column : table.columns()) {
      columns += (columns.empty() ? "" : ", ") + column.name + " " + std::string(column.type);
    }
    const std::string sql = "create table " + table.name() + " (" + columns + ")";
    if (sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
      throw DatabaseError(sqlite3_errmsg(handle), sqlite3_extended_errcode(handle));
    }
  });
  sqlite::extension::add_to(handle);
  return database;
}

/// Looks at SQL for a server before it is sent: as SQL over an empty project. The server decides for
/// itself what it allows, but knows nothing of --write.
void require_sendable(const QueryOptions& options, const std::string& sql) {
  const std::unique_ptr<sqlite3, int (*)(sqlite3*)> empty = empty_project();
  if (!options.is_writing) allow_reading_only(empty.get());
  try {
    only_statement(empty.get(), sql);
  } catch (const DatabaseError&) {
    if (!options.is_writing) throw;
  }
}

int run_on_server(const QueryOptions& options, const CommonOptions& common,
                  const std::string& sql) {
  require_sendable(options, sql);
  model::table::TABLE reply;
  with_project(options.project, common, Purpose::reading,
               [&](Project_Service& project) { reply = schedule::query_table(project, sql); });
  const std::size_t rows = print_rows(reply, options.output, std::cout);
  require_output();
  const bool gives_rows = !reply.columns.empty();
  if (gives_rows) say_outcome(options, true, rows, 0);
  return kDone;
}

int run_query(const QueryOptions& options, const CommonOptions& common) {
  const std::string sql = sql_of(options.sql);
  return options.project.server ? run_on_server(options, common, sql) : run_on_file(options, sql);
}

}  // namespace

Command add_query(CLI::App& program) {
  const auto options = std::make_shared<QueryOptions>();
  CLI::App* const command =
      program.add_subcommand("query",
                             "Run SQL over a project: its tables, and views with the names of "
                             "sheets, revisions and steels "
                             "(bars, fabrics, bar_spacers, mounting_parts, sheets, revisions)");
  command->add_option("PROJECT", options->project.file, "The project file")->required();
  command->add_option("SQL", options->sql, "One statement; - for the standard input")->required();
  command->add_flag("--write", options->is_writing,
                    "Let the statement write. Without it the file is opened for reading only, and "
                    "the statement can change no other file either");
  add_output_options(*command, options->output);
  add_server_options(*command, options->project);
  command->footer(
      "Bytes are printed as base64. The views and their columns are listed in docs/sql.md.\n"
      "Examples:\n"
      "  korvane query guideline.db 'select sheet, label, steel, legs from bars'\n"
      "  korvane query guideline.db 'select * from revisions' --format json\n"
      "  korvane query guideline.db - --format csv <marks.sql >marks.csv");
  return {command, [options](const CommonOptions& common) { return run_query(*options, common); }};
}

}  // namespace korvane::tools
