#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include <Poco/Data/DataException.h>
#include <Poco/Data/SQLite/SQLiteException.h>
#include <Poco/Data/Session.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model/plugins/korvane.model.cad.project/project.h"
#include "tests/support/captured_log.h"
#include "tests/support/connection_watch.h"
#include "tests/support/content_kinds.h"
#include "tests/support/plain_sqlite.h"
#include "tests/support/records.h"
#include "tests/support/temporary_folder.h"

namespace korvane::test {

/// The tables of a project file, in the order in which they are made.
extern const std::vector<std::string> kTables;

/// Calls that fail on a constraint, whose message names it with `which`.
inline auto violates(const std::string& which) {
  return ::testing::Throws<Poco::Data::SQLite::ConstraintViolationException>(
      ::testing::Property(&Poco::Exception::message, ::testing::HasSubstr(which)));
}

/// Calls that fail with an exception of the data layer, whose what() says its kind alone.
template <class Exception>
auto throws_message(const std::string& message) {
  return ::testing::Throws<Exception>(::testing::Property(&Poco::Exception::message, message));
}

/// Calls that fail because the session of `file` is closed.
inline auto misses_connection_to(const std::string& file) {
  return throws_message<Poco::Data::NotConnectedException>(file);
}

/// A reader on another connection, which keeps a commit from completing. Until it lets go it sees
/// the state before; a commit that waits for it keeps new readers out.
class Reader {
 public:
  explicit Reader(const std::string& file);
  std::string count(const std::string& table);
  void let_go();

 private:
  PlainConnection connection_;
};

/// A project in a new file. Plain SQLite looks at what it wrote.
class StoreTest : public ::testing::Test {
 protected:
  StoreTest();

  const std::string& file() const { return file_; }
  CapturedLog& log() { return log_; }

  model::cad::Project_Service_Impl& project() { return *project_; }
  void close() { project_.reset(); }
  void reopen();
  /// Reopens the project so that `watch` sees what it does from now on.
  void reopen_under(ConnectionWatch& watch);

  /// Another session on the file, with foreign keys enforced. It does not wait for locks.
  Poco::Data::Session own_session() const;
  /// The same, closed.
  Poco::Data::Session closed_session() const;

  /// On a separate connection, which does not enforce foreign keys.
  Rows rows(const std::string& sql) const { return plain_rows(file_, sql); }
  /// The only cell of the only row of a query.
  CellText value(const std::string& sql) const;
  std::int64_t count(const std::string& table) const;
  /// All of `table` in order of `id`.
  Rows all_of(const std::string& table) const;
  /// The one row of `table`, with the columns' names.
  NamedRow only_row(const std::string& table) const;
  /// The number of rows of each of `kTables`.
  std::vector<std::int64_t> counts() const;
  void run_plainly(const std::string& sql) const;
  void set_raw(const std::string& table, std::int32_t id, const std::string& hex_digits) const;

  /// Runs client SQL through the project, where foreign keys are enforced.
  model::table::TABLE query(const std::string& sql);

  std::int32_t make_material(const std::string& uid = "");
  std::int32_t make_sheet(const std::string& uid = "");
  std::int32_t make_revision(std::int32_t sheet_id, const std::string& uid = "");
  /// A revision of a new sheet.
  std::int32_t make_revision();
  /// No two types of a project may have the same name.
  std::int32_t make_fabric_type(std::int32_t material_id, const std::string& type_name = "Q188A");

  template <class Record>
  void add(const std::vector<Record>& records) {
    add_content<KindOfRecord<Record>>(project(), records);
  }
  template <class Record>
  void add(std::initializer_list<Record> records) {
    add(std::vector<Record>(records));
  }
  std::vector<model::cad::Rebar> bars_of(std::int32_t rev_id);
  std::vector<model::cad::Fabric> fabrics_of(std::int32_t rev_id);
  std::vector<model::cad::BarSpacer> spacers_of(std::int32_t rev_id);
  std::vector<model::cad::MountingPart> parts_of(std::int32_t rev_id);
  void delete_revision(std::int32_t rev_id);
  void clear(std::int32_t rev_id);

  /// From now on the file cannot grow, as on a full disk.
  void fill_disk();
  void free_disk();
  /// Makes the database refuse to do `action` to a row of `table` for which `condition` holds.
  void refuse(const std::string& action, const std::string& table, const std::string& condition);
  void refuse_no_more();
  /// From now on a call that meets a lock fails at once.
  void wait_for_no_lock();

 private:
  TemporaryFolder folder_;
  std::string file_;
  CapturedLog log_;
  std::shared_ptr<model::cad::Project_Service_Impl> project_;
};

}  // namespace korvane::test
