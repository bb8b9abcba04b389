#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "bond/describe.h"
#include "bond/nullable.h"
#include "contracts/cad/bar_spacer.h"
#include "contracts/cad/fabric.h"
#include "contracts/cad/fabric_type.h"
#include "contracts/cad/hook.h"
#include "contracts/cad/mounting_part.h"
#include "contracts/cad/rebar.h"
#include "contracts/cad/rebar_params.describe.h"
#include "schedule/line_text.h"
#include "schedule/structure.h"
#include "schedule/table.h"
#include "schedule/value_text.h"

/// What the lists of columns in content_tables.cpp are made of.
namespace korvane::schedule {

/// A schedule line with what it refers to.
template <class T>
struct ScheduleLine {
  const Structure& structure;
  const SelectedRevision& selected;
  const T& item;
  /// The name of its steel.
  std::string steel;
  /// Of a fabric.
  model::cad::FabricType type;
};

// Values as cells. Where an empty text or a 0 is what stands for "not stated", there is no value.

inline Cell cell(const std::string& text) { return text.empty() ? Cell() : Cell(text); }
inline Cell cell(std::int32_t number) { return std::int64_t{number}; }
inline Cell cell(double number) { return number; }
inline Cell cell(bool flag) { return std::string(flag ? "yes" : "no"); }
inline Cell cell(const std::optional<double>& number) { return number ? Cell(*number) : Cell(); }
template <class E>
requires std::is_enum_v<E> Cell cell(E value) {
  if constexpr (std::is_same_v<E, model::cad::HookDirection>) {
    return direction_text(value);
  } else {
    return diff_state_text(value);
  }
}

template <class T>
Cell cell(const bond::nullable<T>& value) {
  if (value.empty()) return {};
  if constexpr (std::is_same_v<T, std::string>) {
    return *value;
  } else {
    return cell(*value);
  }
}
/// The list of the columns of one kind.
template <class T>
class Columns {
 public:
  using Read = std::function<Cell(const ScheduleLine<T>&)>;

  /// A text.
  Columns& text(const char* name, const char* title, Read read) {
    return add({name, title, Column::Kind::text, "", 0, false}, std::move(read));
  }
  Columns& number(const char* name, const char* title, const char* unit, int decimals, Read read) {
    return add({name, title, Column::Kind::number, unit, decimals, false}, std::move(read));
  }
  Columns& count(const char* name, const char* title, Read read) {
    return number(name, title, "", 0, std::move(read));
  }

  /// A field as it is.
  template <class Field>
  Columns& text(const char* name, const char* title, Field T::*field) {
    return text(name, title,
                [field](const ScheduleLine<T>& line) { return cell(line.item.*field); });
  }
  template <class Field>
  Columns& number(const char* name, const char* title, const char* unit, int decimals,
                  Field T::*field) {
    return number(name, title, unit, decimals,
                  [field](const ScheduleLine<T>& line) { return cell(line.item.*field); });
  }
  template <class Field>
  Columns& count(const char* name, const char* title, Field T::*field) {
    return number(name, title, "", 0, field);
  }

  /// The column before is one that people have elsewhere.
  Columns& for_programs() {
    columns_.back().column.is_for_programs = true;
    return *this;
  }

  /// For people, no value of the column before is this.
  Columns& if_none(const char* text) {
    columns_.back().column.if_none = text;
    return *this;
  }

  Columns& names() {
    text("sheet", "sheet",
         [](const ScheduleLine<T>& line) { return line.selected.sheet->record.name; });
    for_programs();
    text("revision", "revision",
         [](const ScheduleLine<T>& line) { return line.selected.revision->record.name; });
    for_programs();
    return text("label", "mark",
                [](const ScheduleLine<T>& line) { return cell(label_of(line.item)); });
  }

  /// The dimensions by letter, each letter a column: "a" and "a_rounded".
  Columns& letters(const std::string& suffix, const std::string& title,
                   model::cad::RebarParams T::*params) {
    bond::for_each_field<model::cad::RebarParams>([&](const auto& field) {
      const auto member = field.member;
      const auto capital = static_cast<char>(field.name[0] - 'a' + 'A');
      add({std::string(field.name) + suffix, capital + title, Column::Kind::number, "mm", 3, false},
          [params, member](const ScheduleLine<T>& line) {
            return cell(line.item.*params.*member);
          });
    });
    return *this;
  }

  /// Each field of a record that `find` returns, or null, as a column for programs:
  /// "start_hook_angle".
  template <class Record>
  Columns& fields(const std::string& prefix,
                  std::function<const Record*(const ScheduleLine<T>& line)> find) {
    bond::for_each_field<Record>([&](const auto& field) {
      const auto member = field.member;
      using Value = std::decay_t<decltype(std::declval<Record>().*member)>;
      const auto kind = std::is_arithmetic_v<Value> && !std::is_same_v<Value, bool>
                            ? Column::Kind::number
                            : Column::Kind::text;
      std::string name = prefix + std::string(field.name);
      std::string title = name;
      for (char& c : title) c = c == '_' ? ' ' : c;
      const bool is_length = title.ends_with("length") || title.ends_with("diameter") ||
                             title.ends_with("distance") || title.ends_with("overhang");
      add({std::move(name), std::move(title), kind, is_length ? "mm" : "", 3, true},
          [find, member](const ScheduleLine<T>& line) {
            const Record* const record = find(line);
            return record == nullptr ? Cell() : cell(record->*member);
          });
    });
    return *this;
  }

  Columns& mark_parts() {
    text("mark_prefix", "mark prefix", &T::mark_prefix).for_programs();
    text("mark", "mark alone", &T::mark).for_programs();
    return text("mark_suffix", "mark suffix", &T::mark_suffix).for_programs();
  }

  /// "3 x 4" where the pieces are those of several members.
  Columns& members(std::int32_t T::*count, std::int32_t T::*pieces) {
    return text("members", "members", [count, pieces](const ScheduleLine<T>& line) {
      const std::int32_t members = line.item.*count;
      if (members == 0 || members == 1) return Cell();
      return Cell(std::to_string(members) + " x " + std::to_string(line.item.*pieces));
    });
  }

  Columns& diff_state() { return text("diff_state", "state", &T::diff_state); }

  Columns& properties() {
    text("properties", "properties",
         [](const ScheduleLine<T>& line) { return cell(properties_text(line.item.properties)); });
    text("bvbs", "BVBS record", [](const ScheduleLine<T>& line) {
      const auto found = line.item.properties.find("bvbs");
      return found == line.item.properties.end() ? Cell() : cell(variant_text(found->second));
    });
    return for_programs();
  }

  Columns& textblock() {
    return text("textblock", "text block", [](const ScheduleLine<T>& line) {
      return line.item.textblock.empty() ? Cell() : cell(textblock_text(*line.item.textblock));
    });
  }

  Table table(const char* name, const char* title) const {
    Table table;
    table.name = name;
    table.title = title;
    for (const ReadColumn& each : columns_) table.columns.push_back(each.column);
    return table;
  }

  std::size_t size() const { return columns_.size(); }
  const Column& column(std::size_t place) const { return columns_[place].column; }
  Cell value(const ScheduleLine<T>& line, std::size_t place) const {
    return columns_[place].read(line);
  }

  std::vector<Cell> row(const ScheduleLine<T>& line) const {
    std::vector<Cell> cells;
    cells.reserve(columns_.size());
    for (const ReadColumn& each : columns_) cells.push_back(each.read(line));
    return cells;
  }

 private:
  struct ReadColumn {
    Column column;
    Read read;
  };

  Columns& add(Column column, Read read) {
    columns_.push_back({std::move(column), std::move(read)});
    return *this;
  }

  std::vector<ReadColumn> columns_;
};

/// The columns of lines of `T`, which is Rebar, Fabric, BarSpacer or MountingPart.
template <class T>
const Columns<T>& columns_of();
template <>
const Columns<model::cad::Rebar>& columns_of();
template <>
const Columns<model::cad::Fabric>& columns_of();
template <>
const Columns<model::cad::BarSpacer>& columns_of();
template <>
const Columns<model::cad::MountingPart>& columns_of();

/// A line with what it refers to in `structure`.
template <class T>
ScheduleLine<T> line_of(const Structure& structure, const SelectedRevision& selected,
                        const T& item);

}  // namespace korvane::schedule
