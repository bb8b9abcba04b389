#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <Poco/Data/MetaColumn.h>
#include <Poco/Data/Session.h>

#include "contracts/common/variant.h"

struct sqlite3;
struct sqlite3_stmt;

namespace korvane::model::cad {

/// One statement of a client, read from SQLite cell by cell into the reply. The data layer's own
/// statement keeps each cell in a container of its column first, and hands it out in a box that
/// knows its type.
///
/// It gives to the letter what the data layer gives, for what it takes: one statement without
/// parameters, on a session of the data layer's own connector, whose columns are all integers,
/// doubles, texts or bytes by their declared types. Must be destroyed before its session.
class DirectQuery {
 public:
  using Rows = std::vector<std::vector<Variant>>;

  /// Parses `sql`. Nothing if the data layer has to run it, for what it gives then or what it
  /// throws; nothing has run.
  static std::optional<DirectQuery> of(Poco::Data::Session& session, const std::string& sql);

  std::size_t column_count() const { return types_.size(); }
  Poco::Data::MetaColumn::ColumnDataType column_type(std::size_t column) const {
    return types_[column];
  }
  std::string column_name(std::size_t column) const;

  /// Runs the statement to its end. A NULL is a cell with no member set. Throws the data layer's
  /// exceptions; `rows()` is then of no use.
  void run();

  /// The rows, up to the first that has an integer beyond 32 bits.
  Rows& rows() { return rows_; }

  /// The row with such an integer, up to it, and the integer.
  struct TooLarge {
    std::vector<Variant> cells_before;
    std::int64_t value = 0;
  };
  const std::optional<TooLarge>& too_large() const { return too_large_; }

  /// The NULLs in all rows, that of `too_large()` included.
  std::size_t null_count() const { return null_count_; }

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const noexcept;
  };

  DirectQuery(sqlite3* connection, sqlite3_stmt* statement)
      : connection_(connection), statement_(statement) {}

  bool find_types();
  void read_row();
  void read_cell(std::size_t column, Variant& cell);

  sqlite3* connection_;
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
  std::vector<Poco::Data::MetaColumn::ColumnDataType> types_;
  Rows rows_;
  std::optional<TooLarge> too_large_;
  std::size_t null_count_ = 0;
};

}  // namespace korvane::model::cad
