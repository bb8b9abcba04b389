#include "model/plugins/korvane.model.cad.project/end_treatments.h"

#include <cstddef>
#include <string>

#include <Poco/Data/DataException.h>

#include "model/plugins/korvane.model.cad.project/record_access.h"

namespace korvane::model::cad {

namespace {

/// The six columns, in binding order, with the fields they come from.
struct Column {
  const char* name;
  const std::string EndTreatment::*text;
};
constexpr Column kColumns[] = {
    {"type", &EndTreatment::type},
    {"type_description", &EndTreatment::type_description},
    {"manufacturer", &EndTreatment::manufacturer},
    {"model", &EndTreatment::model},
    {"diameter", nullptr},  // the one number
    {"comment", &EndTreatment::comment},
};

std::string find_sql() {
  std::string sql = "SELECT id FROM end_treatment where ";
  const char* separator = "";
  for (const Column& column : kColumns) {
    sql += std::string(separator) + column.name + " = ?";
    separator = " AND ";
  }
  return sql;
}

InsertSpec insert_spec() {
  InsertSpec spec{"end_treatment", {}};
  for (const Column& column : kColumns) spec.columns.emplace_back(column.name);
  return spec;
}

void bind_six_values(PreparedStatement& statement, const EndTreatment& treatment) {
  std::size_t position = 0;
  for (const Column& column : kColumns) {
    ++position;
    if (column.text == nullptr) {
      statement.bind(position, treatment.diameter);
    } else {
      statement.bind(position, treatment.*column.text);
    }
  }
}

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
  if (!find_) find_.emplace(session_, find_sql());
  bind_six_values(*find_, treatment);
  const std::int32_t found = id_of(*find_);
  if (found != kNone) return found;
  if (!insert_) insert_.emplace(session_, make_insert_sql(insert_spec()));
  bind_six_values(*insert_, treatment);
  insert_->run();
  if (!max_) max_.emplace(session_, "SELECT MAX(id) FROM end_treatment");
  return id_of(*max_);
}

}  // namespace korvane::model::cad
