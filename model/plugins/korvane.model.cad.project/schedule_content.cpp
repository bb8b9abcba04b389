#include "model/plugins/korvane.model.cad.project/schedule_content.h"

#include "model/plugins/korvane.model.cad.project/end_treatments.h"
#include "model/plugins/korvane.model.cad.project/schedule_columns.h"

namespace korvane::model::cad {

void add_rebars(Poco::Data::Session& session, std::vector<Rebar>& bars) {
  TransactionScope scope(session);
  RebarRowValues values;
  EndTreatments treatments(session);
  const InsertRow<Rebar> row = rebar_columns(values);
  const auto resolve = [&](const bond::nullable<EndTreatment>& treatment,
                           Poco::Nullable<std::int32_t>& id) {
    if (treatment.hasvalue()) {
      id = treatments.find_or_insert(*treatment);
    } else {
      id.clear();
    }
  };
  insert_all(session, row, bars, [&](const Rebar& bar) {
    values.raw = serialize_record(bar);
    resolve(bar.end_treatment_start, values.end_treatment_start);
    resolve(bar.end_treatment_end, values.end_treatment_end);
  });
  scope.commit();
}

}  // namespace korvane::model::cad
