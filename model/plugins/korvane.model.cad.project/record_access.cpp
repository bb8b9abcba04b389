#include "model/plugins/korvane.model.cad.project/record_access.h"

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

namespace korvane::model::cad {

std::string generate_uid() { return boost::uuids::to_string(boost::uuids::random_generator()()); }

std::string make_insert_sql(const InsertSpec& spec) {
  std::string columns;
  std::string parameters;
  for (const std::string& column : spec.columns) {
    if (!columns.empty()) {
      columns += ",";
      parameters += ",";
    }
    columns += column;
    parameters += "?";
  }
  return "insert into " + spec.table + " (" + columns + ") values (" + parameters + ")";
}

}  // namespace korvane::model::cad
