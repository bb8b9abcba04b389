#include "model/plugins/korvane.model.cad.project/end_treatments.h"

#include <Poco/Data/DataException.h>
#include <Poco/Data/SQLite/Utility.h>
#include <sqlite3.h>

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

/// Puts a statement back to its start, its bindings dropped, whichever way the scope is left.
class ResetAfterwards {
 public:
  explicit ResetAfterwards(sqlite3_stmt* statement) : statement_(statement) {}
  ResetAfterwards(const ResetAfterwards&) = delete;
  ResetAfterwards& operator=(const ResetAfterwards&) = delete;
  ~ResetAfterwards() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
  }

 private:
  sqlite3_stmt* statement_;
};

}  // namespace

void EndTreatments::Finalize::operator()(sqlite3_stmt* statement) const noexcept {
  sqlite3_finalize(statement);
}

std::int32_t EndTreatments::find_or_insert(const EndTreatment& treatment) {
  prepare();
  constexpr std::int32_t kNone = -1;
  std::int32_t id = kNone;
  bind_six_values(find_.get(), treatment);
  run(find_.get(), id);
  if (id == kNone) {
    std::int32_t no_result = kNone;
    bind_six_values(insert_.get(), treatment);
    run(insert_.get(), no_result);
    run(max_.get(), id);
  }
  return id;
}

void EndTreatments::prepare() {
  if (connection_ != nullptr) return;
  sqlite3* const connection = Poco::Data::SQLite::Utility::dbHandle(session_);
  connection_ = connection;
  insert_ = prepare(make_insert_sql(insert_spec()));
  max_ = prepare("SELECT MAX(id) FROM end_treatment");
  find_ = prepare(find_sql());
}

EndTreatments::Statement EndTreatments::prepare(const std::string& sql) {
  sqlite3_stmt* statement = nullptr;
  const int result = sqlite3_prepare_v2(connection_, sql.data(), static_cast<int>(sql.size()),
                                        &statement, nullptr);
  if (result != SQLITE_OK) Poco::Data::SQLite::Utility::throwException(connection_, result);
  return Statement(statement);
}

void EndTreatments::bind_six_values(sqlite3_stmt* statement, const EndTreatment& treatment) {
  int position = 0;
  for (const Column& column : kColumns) {
    ++position;
    int result = SQLITE_OK;
    if (column.text == nullptr) {
      result = sqlite3_bind_double(statement, position, treatment.diameter);
    } else {
      const std::string& text = treatment.*column.text;
      result = sqlite3_bind_text(statement, position, text.data(), static_cast<int>(text.size()),
                                 SQLITE_STATIC);
    }
    if (result != SQLITE_OK) Poco::Data::SQLite::Utility::throwException(connection_, result);
  }
}

bool EndTreatments::run(sqlite3_stmt* statement, std::int32_t& value) {
  const ResetAfterwards reset(statement);
  bool found = false;
  for (;;) {
    const int result = sqlite3_step(statement);
    if (result == SQLITE_DONE) return found;
    if (result != SQLITE_ROW) {
      Poco::Data::SQLite::Utility::throwException(connection_, result);
    }
    if (found) throw Poco::Data::ExtractException("value already extracted");
    found = true;
    value = sqlite3_column_int(statement, 0);
  }
}

}  // namespace korvane::model::cad
