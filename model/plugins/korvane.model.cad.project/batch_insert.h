#pragma once

#include <optional>
#include <vector>

#include <Poco/Data/Session.h>

#include "model/plugins/korvane.model.cad.project/blamed_item.h"
#include "model/plugins/korvane.model.cad.project/prepared_statement.h"
#include "model/plugins/korvane.model.cad.project/record_access.h"
#include "model/tables/tables.h"

namespace korvane::model::cad {

/// The shared shape of the batch writers: inserts a row for each of `items`, in order, inside the
/// caller's transaction, with one statement that is parsed once. `complete(record, given)` fills in
/// what `given` needs besides `raw`, before each insert, for the first one also before the insert
/// is parsed. Without items nothing is parsed at all. An exception leaves at its record and the
/// rest is not tried; of a constraint, the record is noted for the host.
template <class T, class Complete>
void insert_all(Poco::Data::Session& session, const std::vector<T>& items, Complete complete) {
  const tables::Table<T> table = tables::table_of<T>();
  std::optional<PreparedStatement> insert;
  for (const T& record : items) {
    const bond::blob raw = encoding::encode(record);
    tables::Given<T> given;
    given.raw = tables::bytes_of(raw);
    complete(record, given);
    if (!insert) insert.emplace(session, make_insert_sql(insert_spec(table)));
    bind_row(*insert, table, record, given);
    run_blaming(session, *insert, table, record, given,
                static_cast<std::size_t>(&record - items.data()));
  }
}

}  // namespace korvane::model::cad
