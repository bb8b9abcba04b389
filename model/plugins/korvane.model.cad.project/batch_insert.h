#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <Poco/Data/Session.h>

#include "bond/nullable.h"
#include "contracts/cad/rebar_params.h"
#include "model/plugins/korvane.model.cad.project/prepared_statement.h"
#include "model/plugins/korvane.model.cad.project/record_access.h"

/// The shared shape of the batch writers: a list of columns, and one statement that is parsed once
/// and run for every record.
namespace korvane::model::cad {

/// The columns of one insert in binding order, each with the place its value comes from. A nullable
/// without a value binds NULL, an empty text stays empty text, and numbers go as they are. It reads
/// like the table it fills. Values given by reference must outlive it.
template <class T>
class InsertRow {
 public:
  explicit InsertRow(std::string table) : table_(std::move(table)) {}

  /// A field as it stands: NULL only if it is a nullable without a value.
  template <class M>
  InsertRow& field(std::string name, M T::*member) {
    return add(std::move(name), [member](const T& record, Insert& insert, std::size_t position) {
      insert.bind(position, record.*member);
    });
  }

  /// A field of a record that stands inside this one.
  template <class Inner, class M>
  InsertRow& field(std::string name, Inner T::*inner, M Inner::*member) {
    return add(std::move(name),
               [inner, member](const T& record, Insert& insert, std::size_t position) {
                 insert.bind(position, record.*inner.*member);
               });
  }

  /// The seven columns `A` to `F` and `R`, each with `suffix` behind its letter.
  InsertRow& letters(const std::string& suffix, RebarParams T::*params) {
    using P = RebarParams;
    const std::pair<const char*, bond::nullable<double> P::*> all[] = {
        {"A", &P::a}, {"B", &P::b}, {"C", &P::c}, {"D", &P::d},
        {"E", &P::e}, {"F", &P::f}, {"R", &P::r}};
    for (const auto& [letter, member] : all) field(letter + suffix, params, member);
    return *this;
  }

  /// A value that is worked out for each record before it is bound.
  template <class M>
  InsertRow& given(std::string name, const M& value) {
    return add(std::move(name), [&value](const T&, Insert& insert, std::size_t position) {
      insert.bind(position, value);
    });
  }

  InsertSpec spec() const {
    InsertSpec spec{table_, {}};
    for (const Column& column : columns_) spec.columns.push_back(column.name);
    return spec;
  }

  /// Binds the values of `record`, which is to stay as it is until the statement has run.
  void bind(const T& record, PreparedStatement& insert) const {
    std::size_t position = 0;
    for (const Column& column : columns_) column.bind(record, insert, ++position);
  }

 private:
  using Insert = PreparedStatement;
  using Bind = std::function<void(const T&, Insert&, std::size_t)>;

  struct Column {
    std::string name;
    Bind bind;
  };

  InsertRow& add(std::string name, Bind bind) {
    columns_.push_back({std::move(name), std::move(bind)});
    return *this;
  }

  std::string table_;
  std::vector<Column> columns_;
};

/// Inserts a row for each of `items`, in order, inside the caller's transaction. `prepare(record)`
/// runs before each, for the first one also before the insert is parsed. Without items nothing is
/// parsed at all. An exception leaves at its record and the rest is not tried.
template <class T, class Prepare>
void insert_all(Poco::Data::Session& session, const InsertRow<T>& row, const std::vector<T>& items,
                Prepare prepare) {
  std::optional<PreparedStatement> insert;
  for (const T& record : items) {
    prepare(record);
    if (!insert) insert.emplace(session, make_insert_sql(row.spec()));
    row.bind(record, *insert);
    insert->run();
  }
}

}  // namespace korvane::model::cad
