#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <Poco/Data/SQLite/SQLiteException.h>
#include <Poco/Data/Session.h>

#include "model/plugins/korvane.model.cad.project/prepared_statement.h"
#include "model/tables/tables.h"
#include "platform/rpc4/failed_item.h"

namespace korvane::model::cad {

/// A column that a constraint was about, and what is wrong with its value.
struct BlamedColumn {
  std::string name;
  std::string reason;
};

/// A column of `table` with a foreign key and the value that a row would have there.
struct ReferringValue {
  std::string column;
  tables::Value value;
};

/// The column that SQLite's text of a constraint names ("NOT NULL constraint failed:
/// rebar.material_id"), or, as it names none of a foreign key, the first of `values` that refers to
/// a row that is not there. Nothing where neither is found. Throws the data layer's exceptions.
std::optional<BlamedColumn> find_blamed_column(Poco::Data::Session& session, std::string_view table,
                                               std::string_view text,
                                               const std::vector<ReferringValue>& values);

/// Notes for the host (krv::rpc4::FailedItemListener) which record a constraint refused: `record`,
/// item `index` of a batch, whose row would have been `given`. Inside the operation's transaction,
/// for the exception with that text. Throws nothing: the exception counts.
template <class T>
void note_blamed_item(Poco::Data::Session& session, const tables::Table<T>& table, const T& record,
                      const tables::Given<T>& given, std::optional<std::size_t> index,
                      std::string_view text) noexcept {
  if (!krv::rpc4::FailedItemListener::is_there()) return;
  try {
    std::vector<ReferringValue> values;
    // coverage: what is half made is taken down where memory fails
    table.for_each_inserted([&](const tables::Column<T>& column) {
      // coverage: the project's own table has nothing else
      if (column.name != "raw") values.push_back({column.name, column.value(record, given)});
    });
    krv::rpc4::FailedItem item{index, {}, {}, {}};
    if constexpr (requires { record.mark; }) item.mark = record.mark;
    if (auto column = find_blamed_column(session, table.name(), text, values)) {
      item.field = std::move(column->name);
      item.reason = std::move(column->reason);
    }
    krv::rpc4::FailedItemListener::tell(std::move(item));
  } catch (...) {  // NOLINT(bugprone-empty-catch): what is on its way says enough
  }
}

/// Runs the statement that writes the row of `record`, and notes the record if a constraint refuses
/// it. Throws the data layer's exceptions.
template <class T>
void run_blaming(Poco::Data::Session& session, PreparedStatement& statement,
                 const tables::Table<T>& table, const T& record, const tables::Given<T>& given,
                 std::optional<std::size_t> index = std::nullopt) {
  try {
    statement.run();
    // coverage: what else fails has tests with failing disks, which this count leaves out
  } catch (const Poco::Data::SQLite::ConstraintViolationException& failure) {
    note_blamed_item(session, table, record, given, index, failure.message());
    throw;
  }
}

}  // namespace korvane::model::cad
