#pragma once

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "sqlite/extension/sql_result.h"

namespace korvane::sqlite::extension {

/// Thrown for bytes that are not a record: "raw is not a Rebar: <why>".
class DamagedRecord : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A contract whose records are stored in the column `raw` of a table. One thread at a time.
class StoredContract {
 public:
  StoredContract() = default;
  StoredContract(const StoredContract&) = delete;
  StoredContract& operator=(const StoredContract&) = delete;
  virtual ~StoredContract() = default;

  /// "korvane.model.cad.Rebar", and "Rebar".
  std::string_view qualified_name() const { return qualified_name_; }
  std::string_view name() const { return name_; }

  /// The names of its values, in order; those for the views' own use come last.
  virtual std::vector<std::string> value_names() const = 0;
  /// The same, only those that views show.
  virtual std::vector<std::string> column_names() const = 0;

  /// The record as JSON, the same as everywhere. Throws DamagedRecord, and encoding::JsonError for
  /// what JSON cannot say.
  virtual std::string json(std::string_view raw) const = 0;

  /// Sets `result` to the value at that place of `value_names`. The last record is kept, so that
  /// many values of one row cost one decoding. Throws DamagedRecord.
  virtual void value(std::size_t index, std::string_view raw, SqlResult& result) = 0;

 protected:
  void set_name(std::string_view qualified_name, std::string_view name) {
    qualified_name_ = qualified_name;
    name_ = name;
  }

 private:
  std::string_view qualified_name_;
  std::string_view name_;
};

/// All contracts of the project file's tables, in the tables' order.
std::vector<std::unique_ptr<StoredContract>> stored_contracts();

/// The columns that views show of `contract`, a plain name, besides those of its table.
std::vector<std::string> column_names_of(std::string_view contract);

}  // namespace korvane::sqlite::extension
