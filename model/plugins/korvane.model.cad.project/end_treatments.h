#pragma once

#include <cstdint>
#include <optional>

#include <Poco/Data/Session.h>

#include "contracts/cad/end_treatment.h"
#include "model/plugins/korvane.model.cad.project/prepared_statement.h"

namespace korvane::model::cad {

/// The shared table `end_treatment`, for the time of one batch. Two treatments are one row exactly
/// when their `type`, `type_description`, `manufacturer`, `model`, `diameter` and `comment` are
/// equal by SQL `=`, across the whole project; other fields take no part.
///
/// Its three statements are each parsed at most once, when first needed, and re-executed for each
/// bar end: the look-up runs before the insert is parsed. They run on the session's own connection,
/// inside its transaction.
class EndTreatments {
 public:
  explicit EndTreatments(Poco::Data::Session& session) : session_(session) {}
  EndTreatments(const EndTreatments&) = delete;
  EndTreatments& operator=(const EndTreatments&) = delete;

  /// The id of the row of `treatment`, which is inserted if there is none. Throws the data layer's
  /// exceptions; Poco::Data::ExtractException "value already extracted" if several rows match, and
  /// krv::rpc4::UnusableRow for a row whose id has more than 32 bits.
  std::int32_t find_or_insert(const EndTreatment& treatment);

 private:
  Poco::Data::Session& session_;
  std::optional<PreparedStatement> find_;
  std::optional<PreparedStatement> insert_;
  std::optional<PreparedStatement> max_;
};

}  // namespace korvane::model::cad
