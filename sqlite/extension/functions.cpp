#include "sqlite/extension/functions.h"

#include <exception>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "sqlite/extension/stored_contract.h"
#include "sqlite/extension/views.h"

namespace korvane::sqlite::extension {

namespace {

// Known to later versions of SQLite alone; earlier ones ignore it.
#ifndef SQLITE_RESULT_SUBTYPE
#define SQLITE_RESULT_SUBTYPE 0x001000000
#endif
constexpr const char* kJson = "korvane_json";
constexpr const char* kValue = "korvane_value";
constexpr const char* kViews = "korvane_views";
constexpr int kPure = SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS | SQLITE_RESULT_SUBTYPE;

/// What the functions of one connection share.
class Records {
 public:
  Records() : contracts_(stored_contracts()) {
    for (const auto& contract : contracts_) {
      std::size_t index = 0;
      for (const std::string& name : contract->value_names()) {
        values_.emplace(std::string(contract->name()) + "." + name, Value{contract.get(), index++});
      }
    }
  }

  void json(std::string_view contract, std::string_view raw, SqlResult& result) const {
    result.set_json(contract_of(contract).json(raw));
  }

  void value(std::string_view name, std::string_view raw, SqlResult& result) const {
    const auto found = values_.find(name);
    if (found == values_.end()) throw std::runtime_error("unknown value " + quoted(name));
    found->second.contract->value(found->second.index, raw, result);
  }

 private:
  struct Value {
    StoredContract* contract;
    std::size_t index;
  };
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const {
      return std::hash<std::string_view>()(text);
    }
  };

  static std::string quoted(std::string_view text) { return "'" + std::string(text) + "'"; }

  const StoredContract& contract_of(std::string_view name) const {
    std::string known;
    for (const auto& contract : contracts_) {
      if (contract->name() == name || contract->qualified_name() == name) return *contract;
      known += (known.empty() ? "" : ", ") + std::string(contract->name());
    }
    throw std::runtime_error("unknown contract " + quoted(name) + ": known are " + known);
  }

  std::vector<std::unique_ptr<StoredContract>> contracts_;
  std::unordered_map<std::string, Value, Hash, std::equal_to<>> values_;
};

using SharedRecords = std::shared_ptr<const Records>;

/// What the functions of a connection share; those of the thread if it has none of its own.
const Records& records_of(sqlite3_context* context) {
  const auto* const own = static_cast<const SharedRecords*>(sqlite3_user_data(context));
  if (own != nullptr) return **own;
  thread_local const Records of_thread;
  return of_thread;
}

std::string_view text_of(sqlite3_value* value) {
  const auto* const text = reinterpret_cast<const char*>(sqlite3_value_text(value));
  // Without memory there is no text.
  if (text == nullptr) throw std::bad_alloc();
  return {text, static_cast<std::size_t>(sqlite3_value_bytes(value))};
}

std::string_view bytes_of(sqlite3_value* value) {
  if (sqlite3_value_type(value) != SQLITE_BLOB) throw std::runtime_error("raw must be a BLOB");
  const auto* const bytes = static_cast<const char*>(sqlite3_value_blob(value));
  return {bytes, static_cast<std::size_t>(sqlite3_value_bytes(value))};
}

/// Runs what may throw: no exception may pass through SQLite.
template <class Work>
void guarded(sqlite3_context* context, const char* function, Work work) noexcept {
  try {
    try {
      work();
    } catch (const std::bad_alloc&) {
      sqlite3_result_error_nomem(context);
    } catch (const std::exception& failure) {
      const std::string text = std::string(function) + ": " + failure.what();
      sqlite3_result_error(context, text.c_str(), static_cast<int>(text.size()));
    }
  } catch (...) {  // no memory for the message
    sqlite3_result_error_nomem(context);
  }
}

/// A function of a name and a record: `member` of what the connection shares.
template <void (Records::*member)(std::string_view, std::string_view, SqlResult&) const>
void answer(sqlite3_context* context, const char* function, sqlite3_value** arguments) noexcept {
  guarded(context, function, [&] {
    const bool has_null = sqlite3_value_type(arguments[0]) == SQLITE_NULL ||
                          sqlite3_value_type(arguments[1]) == SQLITE_NULL;
    if (has_null) return sqlite3_result_null(context);
    const Records& records = records_of(context);
    SqlResult result(context);
    (records.*member)(text_of(arguments[0]), bytes_of(arguments[1]), result);
  });
}

extern "C" {

static void korvane_json(sqlite3_context* context, int, sqlite3_value** arguments) {
  answer<&Records::json>(context, kJson, arguments);
}

static void korvane_value(sqlite3_context* context, int, sqlite3_value** arguments) {
  answer<&Records::value>(context, kValue, arguments);
}

static void korvane_views(sqlite3_context* context, int, sqlite3_value** arguments) {
  guarded(context, kViews, [&] {
    if (sqlite3_value_type(arguments[0]) != SQLITE_TEXT) {
      throw std::runtime_error("the name of a database must be a text");
    }
    const std::string schema(text_of(arguments[0]));
    if (sqlite3_db_readonly(sqlite3_context_db_handle(context), schema.c_str()) < 0) {
      throw std::runtime_error("no database is attached as '" + schema + "'");
    }
    const std::vector<View> views = views_of(schema, schema + "_");
    make_views(sqlite3_context_db_handle(context), views);
    sqlite3_result_int(context, static_cast<int>(views.size()));
  });
}

static void forget(void* records) { delete static_cast<SharedRecords*>(records); }
}

}  // namespace

int add_functions(sqlite3* database, RecordsOf owner) {
  SharedRecords records;
  if (owner == RecordsOf::connection) records = std::make_shared<const Records>();
  const auto shared = [&] { return records ? new SharedRecords(records) : nullptr; };
  // SQLite owns what it is given, also if it fails.
  const int code = sqlite3_create_function_v2(database, kJson, 2, kPure, shared(), korvane_json,
                                              nullptr, nullptr, forget);
  if (code != SQLITE_OK) return code;
  return sqlite3_create_function_v2(database, kValue, 2, kPure, shared(), korvane_value, nullptr,
                                    nullptr, forget);
}

int add_functions(sqlite3* database) {
  const int code = add_functions(database, RecordsOf::connection);
  if (code != SQLITE_OK) return code;
  return sqlite3_create_function_v2(database, kViews, 1, SQLITE_UTF8 | SQLITE_DIRECTONLY, nullptr,
                                    korvane_views, nullptr, nullptr, nullptr);
}

void remove_functions(sqlite3* database) {
  for (const auto& [name, arguments] :
       {std::pair(kJson, 2), std::pair(kValue, 2), std::pair(kViews, 1)}) {
    sqlite3_create_function_v2(database, name, arguments, SQLITE_UTF8, nullptr, nullptr, nullptr,
                               nullptr, nullptr);
  }
}

}  // namespace korvane::sqlite::extension
