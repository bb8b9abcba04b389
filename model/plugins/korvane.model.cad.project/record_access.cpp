#include "model/plugins/korvane.model.cad.project/record_access.h"

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

namespace korvane::model::cad {

std::string generate_uid() { return boost::uuids::to_string(boost::uuids::random_generator()()); }

std::string join(const std::vector<std::string>& columns, std::string_view suffix,
                 std::string_view separator) {
  std::string joined;
  for (const std::string& column : columns) {
    if (!joined.empty()) joined += separator;
    joined += column;
    joined += suffix;
  }
  return joined;
}

std::string make_insert_sql(const InsertSpec& spec, std::string_view separator) {
  const std::vector<std::string> parameters(spec.columns.size(), "?");
  return "insert into " + spec.table + " (" + join(spec.columns, "", separator) + ") values (" +
         join(parameters, "", separator) + ")";
}

std::string make_update_sql(const InsertSpec& spec) {
  return "update " + spec.table + " set " + join(spec.columns, "=?", ", ") + " where id=?";
}

void update_raw(Poco::Data::Session& session, const std::string& table, tables::Bytes raw,
                std::int32_t id) {
  run(session, "update " + table + " set raw=? where id=?", raw, id);
}

}  // namespace korvane::model::cad
