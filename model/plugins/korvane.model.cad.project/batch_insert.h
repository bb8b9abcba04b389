#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <Poco/Data/AbstractBinder.h>
#include <Poco/Data/AbstractBinding.h>
#include <Poco/Data/LOB.h>
#include <Poco/Data/Session.h>
#include <Poco/Data/Statement.h>
#include <Poco/Nullable.h>

#include "bond/nullable.h"
#include "contracts/cad/rebar_params.h"
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

  /// A field as it stands, never NULL.
  template <class M>
  InsertRow& plain(std::string name, M T::*member) {
    return add(std::move(name), [member](const T& record, Binder& binder, std::size_t position) {
      binder.bind(position, record.*member, kIn);
    });
  }

  /// A field of a record that stands inside this one.
  template <class Inner, class M>
  InsertRow& plain(std::string name, Inner T::*inner, M Inner::*member) {
    return add(std::move(name),
               [inner, member](const T& record, Binder& binder, std::size_t position) {
                 binder.bind(position, record.*inner.*member, kIn);
               });
  }

  /// A field that may hold no value: NULL then.
  template <class M>
  InsertRow& nullable(std::string name, bond::nullable<M> T::*member) {
    return add(std::move(name), [member](const T& record, Binder& binder, std::size_t position) {
      bind_nullable(binder, position, record.*member);
    });
  }

  /// The seven columns `A` to `F` and `R`, each with `suffix` behind its letter.
  InsertRow& letters(const std::string& suffix, RebarParams T::*params) {
    using P = RebarParams;
    const std::pair<const char*, bond::nullable<double> P::*> all[] = {
        {"A", &P::a}, {"B", &P::b}, {"C", &P::c}, {"D", &P::d},
        {"E", &P::e}, {"F", &P::f}, {"R", &P::r}};
    for (const auto& [letter, member] : all) {
      add(letter + suffix,
          [params, letter_of = member](const T& record, Binder& binder, std::size_t position) {
            bind_nullable(binder, position, record.*params.*letter_of);
          });
    }
    return *this;
  }

  /// A value that is worked out for each record before it is bound.
  InsertRow& given(std::string name, const Poco::Nullable<std::int32_t>& value) {
    return add(std::move(name), [&value](const T&, Binder& binder, std::size_t position) {
      if (value.isNull()) {
        binder.bind(position, Poco::Data::Keywords::null, kIn);
      } else {
        binder.bind(position, value.value(), kIn);
      }
    });
  }
  InsertRow& given(std::string name, const Poco::Data::BLOB& value) {
    return add(std::move(name), [&value](const T&, Binder& binder, std::size_t position) {
      binder.bind(position, value, kIn);
    });
  }

  const std::string& table() const { return table_; }
  std::size_t size() const { return columns_.size(); }

  InsertSpec spec() const {
    InsertSpec spec{table_, {}};
    for (const Column& column : columns_) spec.columns.push_back(column.name);
    return spec;
  }

  /// Binds the values of `record` to the parameters from `position` on.
  void bind(const T& record, Poco::Data::AbstractBinder& binder, std::size_t position) const {
    for (const Column& column : columns_) column.bind(record, binder, position++);
  }

 private:
  using Binder = Poco::Data::AbstractBinder;
  using Bind = std::function<void(const T&, Binder&, std::size_t)>;
  static constexpr Binder::Direction kIn = Binder::PD_IN;

  struct Column {
    std::string name;
    Bind bind;
  };

  template <class M>
  static void bind_nullable(Binder& binder, std::size_t position, const bond::nullable<M>& value) {
    if (value.hasvalue()) {
      binder.bind(position, *value, kIn);
    } else {
      binder.bind(position, Poco::Data::Keywords::null, kIn);
    }
  }

  InsertRow& add(std::string name, Bind bind) {
    columns_.push_back({std::move(name), std::move(bind)});
    return *this;
  }

  std::string table_;
  std::vector<Column> columns_;
};

/// Feeds a batch into one execution of an insert, record after record. A statement that has
/// finished is parsed again when it is executed again, six times the cost of the insert itself; one
/// whose binding still has rows to give is only reset in between.
template <class T, class Prepare>
class RecordStream : public Poco::Data::AbstractBinding {
 public:
  /// `prepare(record)` runs before each record is bound; it may use the session. `row` and `items`
  /// must outlive the execution.
  RecordStream(const InsertRow<T>& row, std::vector<T>& items, Prepare prepare)
      : row_(row), items_(items), prepare_(std::move(prepare)) {}

  std::size_t numOfColumnsHandled() const override { return row_.size(); }
  std::size_t numOfRowsHandled() const override { return 1; }
  bool canBind() const override { return next_ < items_.size(); }

  void bind(std::size_t position) override {
    T& record = items_[next_];
    prepare_(record);
    row_.bind(record, *getBinder(), position);
    ++next_;
  }

  void reset() override { next_ = 0; }

 private:
  const InsertRow<T>& row_;
  std::vector<T>& items_;
  Prepare prepare_;
  std::size_t next_ = 0;
};

/// Inserts a row for each of `items`, in order, inside the caller's transaction. `prepare(record)`
/// runs before each. An exception leaves at its record and the rest is not tried.
template <class T, class Prepare>
void insert_all(Poco::Data::Session& session, const InsertRow<T>& row, std::vector<T>& items,
                Prepare prepare) {
  Poco::Data::Statement insert(session << make_insert_sql(row.spec()));
  // With nothing to bind the insert would run once all the same, with every parameter NULL.
  if (items.empty()) return;
  insert.addBind(new RecordStream<T, Prepare>(row, items, std::move(prepare)));
  insert.execute(true);
}

}  // namespace korvane::model::cad
