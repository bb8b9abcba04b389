#pragma once

#include <string>
#include <vector>

#include <Poco/Data/LOB.h>
#include <Poco/Data/Session.h>
#include <Poco/Data/Statement.h>

#include "contracts/cad/rebar.h"
#include "model/plugins/korvane.model.cad.project/record_access.h"

/// The lines of a revision's schedule: written in batches, read back by revision.
namespace korvane::model::cad {

/// Stores the bars of `bars` in order: all of them or none. An end treatment equal in its six
/// values to a stored one shares its row, across the whole project. Numbers are stored as sent: no
/// unit, no rounding. Throws what the data layer throws (unknown `rev_id`, no `material_id`);
/// nothing of the batch is stored then, end treatments included. `bars` is used up.
void add_rebars(Poco::Data::Session& session, std::vector<Rebar>& bars);

/// Appends the records of `table` with that `rev_id` to `items`, in the order in which the engine
/// scans them. A record is what `raw` holds: what the client sent, its `id` included. What was read
/// before a failure stays in `items`.
template <class T>
void read_revision_content(Poco::Data::Session& session, const std::string& table,
                           std::int32_t rev_id, std::vector<T>& items) {
  using namespace Poco::Data::Keywords;
  Poco::Data::BLOB raw;
  Poco::Data::Statement statement = (session << "select raw from " + table + " where rev_id = ?",
                                     into(raw), Poco::Data::Keywords::bind(rev_id), one_row());
  for_each_row(statement, [&] { deserialize_record_into(raw, items.emplace_back()); });
}

}  // namespace korvane::model::cad
