#pragma once

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/plain_sqlite.h"
#include "bond/describe.h"
#include "bond/kinds.h"
#include "bond/nullable.h"
#include "contracts/cad/contracts.describe.h"
#include "model/plugins/korvane.model.cad.project/record_access.h"

namespace korvane::bench {

/// The row of one record for a plain insert. Which field goes to which position is worked out once,
/// from the store's list of columns and the contract's description; binding then is a run through
/// the fields in the order of the struct, unrolled by the compiler.
template <class T>
class PlainRow {
 public:
  explicit PlainRow(const model::cad::InsertSpec& spec) : sql_(model::cad::make_insert_sql(spec)) {
    for (const std::string& column : spec.columns) {
      positions_.emplace(column, static_cast<int>(positions_.size()) + 1);
    }
    find_positions<T>("");
  }

  const std::string& sql() const { return sql_; }

  /// The position of a column that no field goes to; each is to be asked for once.
  int take_position(const std::string& column) {
    const int position = positions_.at(column);
    positions_.erase(column);
    return position;
  }
  /// Throws std::logic_error if a column is left that nothing would bind.
  void check_whole() const {
    if (!positions_.empty()) throw std::logic_error("nothing binds " + positions_.begin()->first);
  }

  void bind(Prepared& insert, const T& record) const {
    const int* position = of_fields_.data();
    bind_fields(insert, record, position);
  }

 private:
  template <class M>
  static constexpr bool is_scalar = std::is_same_v<M, std::int32_t> || std::is_same_v<M, double> ||
                                    std::is_same_v<M, std::string>;
  template <class M>
  static constexpr bool is_column = [] {
    if constexpr (bond::Nullable<M>) {
      return is_scalar<typename M::value_type>;
    } else {
      return is_scalar<M>;
    }
  }();

  /// Columns are called after their fields but for the lettered dimensions and the bar's type.
  static std::string column_of(const std::string& field) {
    for (const auto& [params, suffix] :
         {std::pair<std::string, std::string>{"parameters_exact_", ""},
          {"parameters_rounded_", "_rounded"}}) {
      if (!field.starts_with(params)) continue;
      const int letter = field.at(params.size());
      return std::string(1, static_cast<char>(std::toupper(letter))) + suffix;
    }
    const std::string bar_type = "bar_type_";
    return field.starts_with(bar_type) ? "bartype_" + field.substr(bar_type.size()) : field;
  }

  template <class Record>
  void find_positions(const std::string& prefix) {
    bond::for_each_field<Record>([&](auto field) {
      using M = std::remove_cvref_t<decltype(Record{}.*field.member)>;
      const std::string name = prefix + std::string(field.name);
      if constexpr (is_column<M>) {
        const auto found = positions_.find(column_of(name));
        of_fields_.push_back(found == positions_.end() ? 0 : found->second);
        if (found != positions_.end()) positions_.erase(found);
      } else if constexpr (bond::Described<M>) {
        find_positions<M>(name + "_");
      }
    });
  }

  template <class Record>
  static void bind_fields(Prepared& insert, const Record& record, const int*& position) {
    bond::for_each_field<Record>([&](auto field) {
      const auto& value = record.*field.member;
      using M = std::remove_cvref_t<decltype(value)>;
      if constexpr (is_column<M>) {
        if (const int at = *position++; at != 0) insert.bind(at, value);
      } else if constexpr (bond::Described<M>) {
        bind_fields(insert, value, position);
      }
    });
  }

  std::string sql_;
  std::map<std::string, int> positions_;
  std::vector<int> of_fields_;
};

}  // namespace korvane::bench
