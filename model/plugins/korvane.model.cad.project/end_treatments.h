#pragma once

#include <cstdint>
#include <optional>

#include <Poco/Data/Session.h>

#include "contracts/cad/end_treatment.h"
#include "model/plugins/korvane.model.cad.project/prepared_statement.h"
#include "model/plugins/korvane.model.cad.project/record_access.h"
#include "model/tables/tables.h"

namespace korvane::model::cad {

/// The shared table `end_treatment`, while one batch is written. Two treatments are one row exactly
/// when all fields that have a column (`type`, `type_description`, `manufacturer`, `model`,
/// `diameter`, `comment`) are equal by SQL `=`, across the whole project; other fields take no
/// part.
///
/// Each of its three statements is parsed at most once, when it is first needed, and run again for
/// each bar end: the look-up runs before the insert is parsed. They run on the session's own
/// connection, inside its transaction.
class EndTreatments {
 public:
  explicit EndTreatments(Poco::Data::Session& session) : session_(session) {}
  EndTreatments(const EndTreatments&) = delete;
  EndTreatments& operator=(const EndTreatments&) = delete;

  /// The id of the row of `treatment`, which is inserted if there is none. Throws the data layer's
  /// exceptions; Poco::Data::ExtractException "value already extracted" if several rows match, and
  /// krv::rpc4::UnusableRow for a row whose id does not fit 32 bits.
  std::int32_t find_or_insert(const EndTreatment& treatment);

 private:
  Poco::Data::Session& session_;
  const tables::Table<EndTreatment> table_ = tables::table_of<EndTreatment>();
  const InsertSpec spec_ = insert_spec(table_);
  std::optional<PreparedStatement> find_;
  std::optional<PreparedStatement> insert_;
  std::optional<PreparedStatement> max_;
};

}  // namespace korvane::model::cad
