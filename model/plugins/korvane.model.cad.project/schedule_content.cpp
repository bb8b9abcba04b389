#include "model/plugins/korvane.model.cad.project/schedule_content.h"

#include "model/plugins/korvane.model.cad.project/batch_insert.h"
#include "model/plugins/korvane.model.cad.project/end_treatments.h"
#include "platform/assert/smart_assert.h"

namespace korvane::model::cad {

namespace {

template <class T>
void add_records(Poco::Data::Session& session, const std::vector<T>& records) {
  TransactionScope scope(session);
  insert_all(session, records, [](const T&, tables::Given<T>&) {});
  scope.commit();
}

}  // namespace

void add_rebars(Poco::Data::Session& session, const std::vector<Rebar>& bars) {
  TransactionScope scope(session);
  EndTreatments treatments(session);
  const auto find = [&](const bond::nullable<EndTreatment>& treatment,
                        bond::nullable<std::int32_t>& id) {
    if (treatment.hasvalue()) id.set(treatments.find_or_insert(*treatment));
  };
  insert_all(session, bars, [&](const Rebar& bar, tables::Given<Rebar>& given) {
    find(bar.end_treatment_start, given.end_treatment_start);
    find(bar.end_treatment_end, given.end_treatment_end);
  });
  scope.commit();
}

void add_fabrics(Poco::Data::Session& session, const std::vector<Fabric>& fabrics) {
  add_records(session, fabrics);
}

void add_bar_spacers(Poco::Data::Session& session, const std::vector<BarSpacer>& spacers) {
  add_records(session, spacers);
}

void add_mounting_parts(Poco::Data::Session& session, const std::vector<MountingPart>& parts) {
  add_records(session, parts);
}

void delete_for_revision(Poco::Data::Session& session, const std::string& delete_table,
                         const std::string& select_table, const std::string& select_column,
                         const RevisionRef& ref) {
  if (delete_table.empty()) {
    krv::smartassert::SmartAssert("!delete_table.empty()")
        .setFileContext(__FILE__, __LINE__)
        .debug("delete table is empty");
  }
  std::string sql = "delete from " + delete_table;
  // The blanks are part of the texts.
  if (!select_table.empty() && !select_column.empty()) {
    sql +=
        " where id in (select " + select_column + " from " + select_table + " where rev_id = ? )";
  } else {
    sql += " where rev_id = ? ";
  }
  run(session, sql, ref.id.value());
}

void clear_revision_content(Poco::Data::Session& session, const RevisionRef& ref) {
  TransactionScope scope(session);
  // The treatments are found through the bars, so they are deleted first.
  delete_for_revision(session, "end_treatment", "rebar", "end_treatment_start", ref);
  delete_for_revision(session, "end_treatment", "rebar", "end_treatment_end", ref);
  delete_for_revision(session, "rebar", "", "", ref);
  delete_for_revision(session, "fabric", "", "", ref);
  delete_for_revision(session, "barspacer", "", "", ref);
  scope.commit();
}

}  // namespace korvane::model::cad
