#include "model/plugins/korvane.model.cad.project/end_treatments.h"

#include <Poco/Data/DataException.h>

#include "model/plugins/korvane.model.cad.project/record_access.h"

namespace korvane::model::cad {

namespace {

constexpr std::int32_t kNone = -1;

/// The one id that the statement gives, or `kNone`.
std::int32_t id_of(PreparedStatement& statement) {
  std::int32_t id = kNone;
  for (bool is_first = true; statement.step(); is_first = false) {
    if (!is_first) throw Poco::Data::ExtractException("value already extracted");
    id = statement.id(0, "end_treatment");
  }
  return id;
}

}  // namespace

std::int32_t EndTreatments::find_or_insert(const EndTreatment& treatment) {
  if (!find_) {
    find_.emplace(session_,
                  "SELECT id FROM end_treatment where " + join(spec_.columns, " = ?", " AND "));
  }
  bind_row(*find_, table_, treatment, {});
  const std::int32_t found = id_of(*find_);
  if (found != kNone) return found;
  if (!insert_) insert_.emplace(session_, make_insert_sql(spec_));
  bind_row(*insert_, table_, treatment, {});
  insert_->run();
  if (!max_) max_.emplace(session_, "SELECT MAX(id) FROM end_treatment");
  return id_of(*max_);
}

}  // namespace korvane::model::cad
