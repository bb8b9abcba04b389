#include "sqlite/stored_form.h"

#include <utility>

namespace korvane::sqlite {

Cell StoredForm::of(const std::string& declared, const model::tables::Value& value) {
  // Without the constraints: what they would refuse is to be seen.
  const std::string type = declared.substr(0, declared.find(' '));
  auto table = tables_.find(type);
  if (table == tables_.end()) {
    std::string name = "temp.stored_form_" + std::to_string(tables_.size());
    Statement(database_, "create table " + name + " (value " + type + ")").next();
    table = tables_.emplace(type, std::move(name)).first;
  }
  Statement(database_, "delete from " + table->second).next();
  Statement insert(database_, "insert into " + table->second + " values (?)");
  bind_cell(insert, 1, value);
  insert.next();
  Statement stored(database_, "select value from " + table->second);
  stored.next();
  return cell_at(stored, 0);
}

}  // namespace korvane::sqlite
