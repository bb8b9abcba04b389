#pragma once

#include <functional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "bond/describe.h"
#include "bond/nullable.h"
#include "sqlite/extension/sql_result.h"

/// What the views show of a record besides the columns of its table.
namespace korvane::sqlite::extension {

/// The values of a record that SQL can ask for by name. The views have a column for each, in this
/// order, but those that are told to be for the views' own use.
template <class T>
class RecordValues {
 public:
  struct Value {
    std::string name;
    std::function<void(const T&, SqlResult&)> read;
    bool is_column = true;
  };

  /// A field as it is.
  template <class Field>
  RecordValues&& field(std::string name, Field T::*member) && {
    return add(std::move(name),
               [member](const T& record, SqlResult& result) { result.set(record.*member); });
  }
  template <class Inner, class Field>
  RecordValues&& field(std::string name, Inner T::*inner, Field Inner::*member) && {
    return add(std::move(name), [inner, member](const T& record, SqlResult& result) {
      result.set(record.*inner.*member);
    });
  }

  /// Each field of a record that may be missing, its name after `prefix`. NULL where it is missing.
  template <class Inner>
  RecordValues&& fields(const std::string& prefix, bond::nullable<Inner> T::*inner) && {
    bond::for_each_field<Inner>([&](const auto& field) {
      const auto member = field.member;
      add(prefix + std::string(field.name), [inner, member](const T& record, SqlResult& result) {
        const bond::nullable<Inner>& found = record.*inner;
        found.hasvalue() ? result.set((*found).*member) : result.set_null();
      });
    });
    return std::move(*this);
  }

  /// JSON of what `part` returns: a pointer to a list or a map, or null. NULL where it is empty.
  template <class Part>
  RecordValues&& json(std::string name, Part part) && {
    return add(std::move(name), [part](const T& record, SqlResult& result) {
      const auto* const found = part(record);
      if (found == nullptr || found->empty()) return result.set_null();
      result.set_json(CompactJson::text_of(*found));
    });
  }

  /// What `read(record, result)` makes of it; the views show it nowhere.
  template <class Read>
  RecordValues&& hidden(std::string name, Read read) && {
    add(std::move(name), read);
    values_.back().is_column = false;
    return std::move(*this);
  }

  const std::vector<Value>& all() const& { return values_; }
  const std::vector<Value>& all() && = delete;

 private:
  RecordValues&& add(std::string name, std::function<void(const T&, SqlResult&)> read) {
    values_.push_back({std::move(name), std::move(read)});
    return std::move(*this);
  }

  std::vector<Value> values_;
};

/// The values of a contract, made anew by each call; none for one that no view asks.
template <class T>
RecordValues<T> values_of() {
  return {};
}

}  // namespace korvane::sqlite::extension
