#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <Poco/Data/DataException.h>
#include <Poco/Data/SQLite/SQLiteException.h>
#include <gmock/gmock.h>

#include "tests/model/plugins/korvane.model.cad.project/content_records.h"
#include "tests/support/connection_watch.h"
#include "tests/support/store_test.h"

namespace korvane::test {

/// Calls that fail on a constraint, whose message names it with `which`.
inline auto violates(const std::string& which) {
  return ::testing::Throws<Poco::Data::SQLite::ConstraintViolationException>(
      ::testing::Property(&Poco::Exception::message, ::testing::HasSubstr(which)));
}

/// Calls that fail because the session of `file` is closed.
inline auto misses_connection_to(const std::string& file) {
  return ::testing::Throws<Poco::Data::NotConnectedException>(
      ::testing::Property(&Poco::Exception::message, file));
}

/// A reader of another connection, which holds a commit up. Until it lets go it sees what was there
/// before; a commit that it held up keeps other readers out.
class Reader {
 public:
  explicit Reader(const std::string& file);
  std::string count(const std::string& table);
  void let_go();

 private:
  PlainConnection connection_;
};

/// A project with verbs for all that a schedule consists of.
class ContentTest : public StoreTest {
 protected:
  /// `type_name` has to be another each time.
  std::int32_t make_fabric_type(std::int32_t material_id, const std::string& type_name = "Q188A");

  using StoreTest::add;
  void add(const std::vector<model::cad::Fabric>& fabrics);
  void add(const std::vector<model::cad::BarSpacer>& spacers);
  void add(const std::vector<model::cad::MountingPart>& parts);
  std::vector<model::cad::Fabric> fabrics_of(std::int32_t rev_id);
  std::vector<model::cad::BarSpacer> spacers_of(std::int32_t rev_id);
  std::vector<model::cad::MountingPart> parts_of(std::int32_t rev_id);
  void clear(std::int32_t rev_id);

  /// The one row of `table`, with the columns' names.
  NamedRow only_row(const std::string& table) const;
  /// All of `table` in order of `id`.
  Rows all_of(const std::string& table) const;
  /// Makes the database refuse to do `action` to a row of `table` for which `condition` holds.
  void refuse(const std::string& action, const std::string& table, const std::string& condition);
  void refuse_no_more();
  /// A conflict of locks shows at once.
  void wait_for_no_lock();
  /// Reopens the project so that `watch` sees what it does from now on.
  void reopen_under(ConnectionWatch& watch);
};

}  // namespace korvane::test
