#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <Poco/Data/Session.h>
#include <gtest/gtest.h>

#include "model/plugins/korvane.model.cad.project/project.h"
#include "tests/support/captured_log.h"
#include "tests/support/plain_sqlite.h"
#include "tests/support/records.h"
#include "tests/support/temporary_folder.h"

namespace korvane::test {

/// The tables of a project file, in the order in which they are made.
extern const std::vector<std::string> kTables;

/// One project in a fresh file. What it wrote is looked at by plain SQLite.
class StoreTest : public ::testing::Test {
 protected:
  StoreTest();

  const std::string& file() const { return file_; }
  CapturedLog& log() { return log_; }

  model::cad::Project_Service_Impl& project() { return *project_; }
  void close() { project_.reset(); }
  void reopen();

  /// A session of the test's own on the file, with foreign keys in force. It does not wait for
  /// locks, so that a conflict shows at once.
  Poco::Data::Session own_session() const;
  /// The same, closed.
  Poco::Data::Session closed_session() const;

  /// Past the project, on a connection without foreign keys.
  Rows rows(const std::string& sql) const { return plain_rows(file_, sql); }
  /// The one cell of a query's one row.
  CellText value(const std::string& sql) const;
  std::int64_t count(const std::string& table) const;
  /// The number of rows of each of `kTables`.
  std::vector<std::int64_t> counts() const;
  void run_plainly(const std::string& sql) const;
  void set_raw(const std::string& table, std::int32_t id, const std::string& hex_digits) const;

  /// Client SQL through the project, where foreign keys are in force.
  model::table::TABLE query(const std::string& sql);

  std::int32_t make_material(const std::string& uid = "");
  std::int32_t make_sheet(const std::string& uid = "");
  std::int32_t make_revision(std::int32_t sheet_id, const std::string& uid = "");
  /// A revision of a new sheet.
  std::int32_t make_revision();
  void add(const std::vector<model::cad::Rebar>& bars);
  std::vector<model::cad::Rebar> bars_of(std::int32_t rev_id);

  /// Makes every page the file has yet to get fail, as a full disk does.
  void fill_disk();
  void free_disk();

 private:
  TemporaryFolder folder_;
  std::string file_;
  CapturedLog log_;
  std::shared_ptr<model::cad::Project_Service_Impl> project_;
};

}  // namespace korvane::test
