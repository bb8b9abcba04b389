#include "tests/format/page_tables.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "model/tables/meanings.h"
#include "model/tables/tables.h"
#include "tests/format/contract_tables.h"
#include "tests/support/filled_record.h"
#include "tests/support/stored_contracts.h"

namespace korvane::test {

namespace {

using model::tables::Column;
using model::tables::find_meaning;
using model::tables::Meaning;
using model::tables::meaning_of;
using model::tables::Origin;
using model::tables::Table;
using model::tables::Value;

/// A field that a column repeats.
struct Source {
  std::string path;
  const Meaning* meaning = nullptr;
};

/// Where in a record each value is. The record must hold no value twice.
class Sources {
 public:
  template <bond::Record T>
  void add(const T& record, const std::string& path = "") {
    bond::for_each_field<T>([&](const auto& field) {
      const std::string name(field.name);
      add_field(record.*field.member, {path + name, &meaning_of(plain_name_of<T>(), name)});
    });
  }

  std::optional<Source> find(const Value& value) const {
    for (const auto& [known, source] : values_) {
      if (known == value) return source;
    }
    return std::nullopt;
  }

 private:
  template <class T>
  void add_field(const T& value, const Source& source) {
    if constexpr (bond::Nullable<T>) {
      add_field(*value, source);
    } else if constexpr (bond::Record<T>) {
      add(value, source.path + ".");
    } else if constexpr (bond::Int32<T> || bond::Double<T> || bond::Text<T>) {
      values_.emplace_back(model::tables::value_of(value), source);
    }
  }

  std::vector<std::pair<Value, Source>> values_;
};

template <class T>
std::string column_row(const std::string& table, const Column<T>& column, const T& record,
                       const Sources& sources) {
  std::optional<Source> source;
  std::string source_text = "SQLite";
  bool can_be_null = column.type.find("NOT NULL") == std::string_view::npos;
  if (column.origin == Origin::kDatabase) {
    can_be_null = false;
  } else {
    const bool is_null_of_default = column.value(T{}, {}) == Value();
    can_be_null = can_be_null && is_null_of_default;
    if (column.origin == Origin::kRecord) source = sources.find(column.value(record, {}));
    source_text = source ? code(source->path) : "the store";
  }
  const Meaning* const own = find_meaning(table, column.name);
  const Meaning& meaning =
      own == nullptr && source ? *source->meaning : meaning_of(table, column.name);
  return row({code(column.name), code(column.type), can_be_null ? "yes" : "no", source_text,
              std::string(meaning.unit), std::string(meaning.text)});
}

/// The fields of a record that no column repeats: "`id`, `geometry`, of `fabric_type` all but `id`".
template <class T>
std::string fields_without_column(const Table<T>& table, const T& record, const Sources& sources) {
  std::set<std::string> in_columns;
  std::map<std::string, std::string> parts;
  for (const Column<T>& column : table.columns()) {
    if (column.origin == Origin::kDatabase) continue;
    const auto source = sources.find(column.value(record, {}));
    if (column.origin != Origin::kRecord || !source) continue;
    const std::size_t dot = source->path.find('.');
    in_columns.insert(source->path.substr(0, dot));
    if (dot == std::string::npos) continue;
    std::string& part = parts[source->path.substr(0, dot)];
    part += (part.empty() ? "" : ", ") + code(source->path.substr(dot + 1));
  }
  std::string text;
  const auto add = [&](const std::string& name) { text += (text.empty() ? "" : ", ") + name; };
  bond::for_each_field<T>([&](const auto& field) {
    const std::string name(field.name);
    using M = std::remove_cvref_t<decltype(record.*field.member)>;
    if constexpr (bond::Record<M>) {
      const std::string& part = parts[name];
      const auto columns = std::count(part.begin(), part.end(), ',') + (part.empty() ? 0 : 1);
      if (!part.empty() && static_cast<std::size_t>(columns) < bond::field_count<M>()) {
        return add("of " + code(name) + " all but " + part);
      }
    }
    if (!in_columns.contains(name)) add(code(name));
  });
  return text;
}

/// Constraints, each on a line.
std::string constraint_lines(std::string_view constraints) {
  constexpr std::string_view kSeparator = ", FOREIGN";
  std::string text(constraints);
  for (std::size_t at = text.find(kSeparator); at != std::string::npos;
       at = text.find(kSeparator, at)) {
    text.replace(at, 2, ",\n");
  }
  return "```sql\n" + text + "\n```\n\n";
}

template <class T>
std::string table_text(const Table<T>& table) {
  std::string text = "### `" + table.name() + "` (table)\n\n";
  text += std::string(meaning_of(table.name()).text);
  text += table.columns().back().name == "raw"
              ? " `raw` holds a `" + plain_name_of<T>() + "`.\n\n"
              : " No `raw`: the columns repeat fields of an `" + plain_name_of<T>() + "`.\n\n";
  text += "| Column | Declared | NULL | Source | Unit | Meaning |\n|---|---|---|---|---|---|\n";
  const T record = Filler().make<T>();
  Sources sources;
  sources.add(record);
  for (const Column<T>& column : table.columns()) {
    text += column_row(table.name(), column, record, sources);
  }
  const std::string hidden = fields_without_column(table, record, sources);
  text += "\n" + (hidden.empty() ? "" : "In no column: " + hidden + ".\n\n");
  if (!table.constraints().empty()) text += constraint_lines(table.constraints());
  return text;
}

}  // namespace

std::map<std::string, std::string> format_page_parts() {
  std::string tables;
  model::tables::for_each_table([&](const auto& table) { tables += table_text(table); });
  ContractTables types(&meaning_of);
  for_each_stored_type(types);
  return {
      {"tables", tables}, {"contracts", types.contracts()}, {"enumerations", types.enumerations()}};
}

std::string remade_format_page(const std::string& page) {
  return remade_page(page, format_page_parts());
}

}  // namespace korvane::test
