#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "contracts/cad/rebar_params.h"
#include "model/tables/value.h"

/// How a table is described: one list of columns, from which the table is made, written and read.
namespace korvane::model::tables {

/// What a row of `T`s holds besides fields of the record. Whoever writes the row works it out.
template <class T>
struct Given {
  /// The whole record, encoded.
  Bytes raw;
};

/// Who fills a column.
enum class Origin {
  kDatabase,  // the id, assigned with the row
  kRecord,    // it repeats a field of the record
  kWriter,    // it is one of the `Given`
};

template <class T>
struct Column {
  std::string name;
  /// The rest of the declaration, key words included. A literal.
  std::string_view type;
  Origin origin;
  /// The value in the row of `record`. It refers to both arguments, which must outlive it. Empty
  /// for `kDatabase`; with `kRecord` `given` does not matter.
  std::function<Value(const T& record, const Given<T>& given)> value;
};

/// One table whose rows are made of `T`s: its columns in the order of their declaration. Written in
/// one expression, a column a line. A nullable field without a value is NULL, an empty text stays
/// an empty text, and numbers go as they are.
template <class T>
class Table {
 public:
  explicit Table(std::string name) : name_(std::move(name)) {}

  /// A column that the database fills.
  Table&& column(std::string name, std::string_view type) && {
    columns_.push_back({std::move(name), type, Origin::kDatabase, {}});
    return std::move(*this);
  }

  /// A column that repeats a field. `source` is its member pointer, or a function of the record.
  template <class Source>
  Table&& column(std::string name, std::string_view type, Source source) && {
    using Result = std::invoke_result_t<Source, const T&>;
    static_assert(std::is_reference_v<Result> || std::is_arithmetic_v<Result>,
                  "the value would refer to a temporary");
    return add(std::move(name), type, Origin::kRecord, [source](const T& record, const Given<T>&) {
      return value_of(std::invoke(source, record));
    });
  }

  /// A column that repeats a field of a record inside this one.
  template <class Inner, class M>
  Table&& column(std::string name, std::string_view type, Inner T::*inner, M Inner::*member) && {
    return add(std::move(name), type, Origin::kRecord,
               [inner, member](const T& record, const Given<T>&) {
                 return value_of(record.*inner.*member);
               });
  }

  /// The seven columns `A` to `F` and `R`, each name followed by `suffix`.
  Table&& letters(const std::string& suffix, cad::RebarParams T::*params) && {
    using P = cad::RebarParams;
    const std::pair<const char*, bond::nullable<double> P::*> all[] = {
        {"A", &P::a}, {"B", &P::b}, {"C", &P::c}, {"D", &P::d},
        {"E", &P::e}, {"F", &P::f}, {"R", &P::r}};
    for (const auto& [letter, member] : all) {
      std::move(*this).column(letter + suffix, "REAL", params, member);
    }
    return std::move(*this);
  }

  /// A column that takes its value from a member of `Given<T>`.
  template <class M>
  Table&& given(std::string name, std::string_view type, M Given<T>::*member) && {
    return add(std::move(name), type, Origin::kWriter,
               [member](const T&, const Given<T>& values) { return value_of(values.*member); });
  }

  /// The column with the whole record.
  Table&& raw() && { return std::move(*this).given("raw", "BLOB", &Given<T>::raw); }

  /// Moves the last column to the front of an insert.
  Table&& inserted_first() && {
    std::rotate(inserted_.begin(), inserted_.end() - 1, inserted_.end());
    return std::move(*this);
  }

  /// The table's constraints as one text, pasted as it stands.
  Table&& constraints(std::string_view text) && {
    constraints_ = text;
    return std::move(*this);
  }

  const std::string& name() const { return name_; }
  const std::vector<Column<T>>& columns() const& { return columns_; }
  const std::vector<Column<T>>& columns() && = delete;  // they would go with the table
  /// A literal, or empty.
  std::string_view constraints() const { return constraints_; }

  /// Calls `visit(column)` for each column that an insert fills, in its order.
  template <class Visit>
  void for_each_inserted(Visit visit) const {
    for (const std::size_t index : inserted_) visit(columns_[index]);
  }

 private:
  using Read = decltype(Column<T>::value);

  Table&& add(std::string name, std::string_view type, Origin origin, Read read) {
    inserted_.push_back(columns_.size());
    columns_.push_back({std::move(name), type, origin, std::move(read)});
    return std::move(*this);
  }

  std::string name_;
  std::vector<Column<T>> columns_;
  std::vector<std::size_t> inserted_;
  std::string_view constraints_;
};

}  // namespace korvane::model::tables
