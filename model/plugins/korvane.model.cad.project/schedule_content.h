#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <vector>

#include <Poco/Data/Session.h>

#include "contracts/cad/bar_spacer.h"
#include "contracts/cad/fabric.h"
#include "contracts/cad/mounting_part.h"
#include "contracts/cad/rebar.h"
#include "contracts/cad/revision.h"
#include "model/plugins/korvane.model.cad.project/prepared_statement.h"
#include "model/plugins/korvane.model.cad.project/raw_records.h"

/// The lines of a revision's schedule: written in batches, read back by revision.
namespace korvane::model::cad {

/// Stores the bars of `bars` in order: all of them or none. An end treatment equal in its six
/// values to a stored one shares its row, across the whole project. Numbers are stored as sent: no
/// unit, no rounding. Throws what the data layer throws (unknown `rev_id`, no `material_id`);
/// nothing of the batch is stored then, end treatments included.
void add_rebars(Poco::Data::Session& session, const std::vector<Rebar>& bars);

/// Stores the records in order: all of them or none, as they were sent. `add_fabrics` does not
/// touch the table `fabric_type`; `add_bar_spacers` takes any `rev_id`, as no foreign key ties bar
/// spacers to anything. Throws what the data layer throws; nothing of the batch is stored then.
void add_fabrics(Poco::Data::Session& session, const std::vector<Fabric>& fabrics);
void add_bar_spacers(Poco::Data::Session& session, const std::vector<BarSpacer>& spacers);
void add_mounting_parts(Poco::Data::Session& session, const std::vector<MountingPart>& parts);

/// Deletes the rows of `delete_table` that belong to the revision `ref.id`, which must be set:
/// those whose id is in `select_column` of the revision's rows of `select_table`, or with either of
/// these empty, those with its `rev_id`. An empty `delete_table` is reported by an assertion.
void delete_for_revision(Poco::Data::Session& session, const std::string& delete_table,
                         const std::string& select_table, const std::string& select_column,
                         const RevisionRef& ref);

/// Deletes the end treatments, bars, fabrics and bar spacers of the revision `ref.id`, which must
/// be set; mounting parts stay. A treatment that another revision's bars share is deleted as
/// well, which leaves NULL in their columns. All or nothing.
void clear_revision_content(Poco::Data::Session& session, const RevisionRef& ref);

/// Appends the records of `table` with that `rev_id` to `items`, in the order in which the engine
/// scans them. A record is what `raw` holds: what the client sent, its `id` included. What was read
/// before a failure stays in `items`.
template <class T>
void read_revision_content(Poco::Data::Session& session, const std::string& table,
                           std::int32_t rev_id, std::vector<T>& items) {
  RawRecords records;
  std::exception_ptr failure;
  try {
    PreparedStatement scan(session, "select raw from " + table + " where rev_id = ?", rev_id);
    while (scan.step()) records.add(scan.bytes(0));
  } catch (...) {
    failure = std::current_exception();
  }
  records.append_decoded(items);
  if (failure) std::rethrow_exception(failure);
}

}  // namespace korvane::model::cad
