#include "model/plugins/korvane.model.cad.project/blamed_item.h"

#include <algorithm>
#include <cstdint>
#include <variant>

namespace korvane::model::cad {

namespace {

/// A foreign key of one column, as SQLite tells it.
struct ForeignKey {
  std::string column;
  std::string parent;
  std::string parent_column;
};

std::vector<ForeignKey> foreign_keys_of(Poco::Data::Session& session, std::string_view table) {
  std::vector<ForeignKey> keys;
  PreparedStatement list(session,
                         "select \"from\", \"table\", \"to\" from pragma_foreign_key_list(?)"
                         " order by id desc",
                         table);
  while (list.step()) {
    keys.push_back(
        {std::string(list.text(0)), std::string(list.text(1)), std::string(list.text(2))});
  }
  return keys;
}

std::string quoted(std::string_view name) {
  std::string text = "\"";
  // coverage: no table of ours has quotes in its name
  for (const char one : name) text.append(one == '"' ? 2 : 1, one);
  return text + '"';
}

/// "there is no revision 99".
std::string missing_text(const ForeignKey& key, const tables::Value& value) {
  std::string text = "there is no " + key.parent;
  // coverage: what is referred to has a number
  if (const auto* const id = std::get_if<std::int32_t>(&value)) text += ' ' + std::to_string(*id);
  return text;
}

std::optional<BlamedColumn> named_column(std::string_view table, std::string_view text) {
  const std::string before = std::string(table) + '.';
  const std::size_t place = text.find(": " + before);
  if (place == std::string_view::npos) return std::nullopt;
  std::string_view column = text.substr(place + 2 + before.size());
  column = column.substr(0, column.find_first_of(", "));
  const bool is_missing = text.find("NOT NULL") != std::string_view::npos;
  const bool is_double = text.find("UNIQUE") != std::string_view::npos;
  return BlamedColumn{std::string(column), is_missing  ? "it is not set"
                                           : is_double ? "another record has the same"
                                                       : ""};
}

}  // namespace

std::optional<BlamedColumn> find_blamed_column(Poco::Data::Session& session, std::string_view table,
                                               std::string_view text,
                                               const std::vector<ReferringValue>& values) {
  if (auto named = named_column(table, text)) return named;
  for (const ForeignKey& key : foreign_keys_of(session, table)) {
    const auto found = std::find_if(values.begin(), values.end(), [&](const ReferringValue& one) {
      return one.column == key.column;
    });
    if (found == values.end() || std::holds_alternative<std::monostate>(found->value)) continue;
    const std::string sql =
        "select 1 from " + quoted(key.parent) + " where " + quoted(key.parent_column) + " = ?";
    PreparedStatement parent(session, sql, found->value);
    if (!parent.step()) return BlamedColumn{key.column, missing_text(key, found->value)};
  }
  return std::nullopt;
}

}  // namespace korvane::model::cad
