#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "bond/kinds.h"
#include "sqlite/extension/api.h"
#include "sqlite/extension/compact_json.h"

namespace korvane::sqlite::extension {

/// JSON in the making of a SQL function: other JSON functions take it as JSON and not as text.
inline constexpr unsigned kJsonSubtype = 'J';

/// The result of a SQL function, from a value of a record. Numbers go as they are; a truth value is
/// 0 or 1; an enumeration its name in small letters.
class SqlResult {
 public:
  explicit SqlResult(sqlite3_context* context) : context_(context) {}

  void set_null() { sqlite3_result_null(context_); }
  void set(bond::Bool auto value) { sqlite3_result_int(context_, value ? 1 : 0); }
  void set(bond::Int32 auto value) { sqlite3_result_int(context_, value); }
  /// NULL for what is not a number, as SQLite has it.
  void set(bond::Double auto value) { sqlite3_result_double(context_, value); }
  void set(const bond::Text auto& value) { set_text(value); }
  template <bond::Enumeration E>
  void set(E value) {
    set_text(enumerator_text(value));
  }
  void set(const bond::Nullable auto& value) { value.hasvalue() ? set(*value) : set_null(); }

  void set_json(std::string_view json) {
    set_text(json);
    sqlite3_result_subtype(context_, kJsonSubtype);
  }

 private:
  void set_text(std::string_view text) {
    sqlite3_result_text64(context_, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
  }

  sqlite3_context* context_;
};

}  // namespace korvane::sqlite::extension
