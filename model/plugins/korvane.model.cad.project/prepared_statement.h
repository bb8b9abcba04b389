#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <Poco/Data/Session.h>

#include "model/tables/value.h"

struct sqlite3;
struct sqlite3_stmt;

namespace korvane::model::cad {

/// One statement on a session's own connection, inside its transaction, parsed once and run any
/// number of times: how all SQL of the plugin runs but its transactions and the client's queries.
/// The data layer's own statement is parsed again for each execution and copies every value on its
/// way. Errors are raised through the data layer's mapping, as its exceptions.
///
/// Must be destroyed before its session. Used in the session's thread.
class PreparedStatement {
 public:
  /// Parses `sql` and binds `values`, if any, to its parameters in order. Throws
  /// Poco::Data::NotConnectedException with the connection string if the session has no connection,
  /// and the data layer's exceptions.
  template <class... Values>
  PreparedStatement(Poco::Data::Session& session, const std::string& sql, const Values&... values)
      : PreparedStatement(Parsed(), session, sql) {
    [[maybe_unused]] std::size_t position = 0;
    (bind(++position, values), ...);
  }

  /// Binds a value to a parameter, counted from one: whatever `tables::value_of` takes. Texts and
  /// bytes are not copied: they must stay as they are until the statement has run.
  void bind(std::size_t position, const tables::Value& value);
  template <class T>
  void bind(std::size_t position, const T& value) {
    bind(position, tables::value_of(value));
  }

  /// Goes on to the next row. Returns whether there is one; if there is none, the statement is back
  /// at its start. So it is after an exception, which is the data layer's.
  bool step();

  /// For a statement that gives no rows.
  void run() {
    while (step()) {
    }
  }

  /// Whether the connection has a transaction open.
  bool is_in_transaction() const noexcept;

  /// Values of the row, by column, counted from zero. NULL is an empty text or no bytes; SQLite
  /// converts what has another type. A text has all its bytes, zero bytes included. Texts and bytes
  /// are valid up to the next step.
  std::string_view text(int column) const;
  std::string_view bytes(int column) const;
  /// The id of a row of `table`; NULL is 0. Another program can make one that no reference holds:
  /// throws krv::rpc4::UnusableRow "<table>: the id <value> does not fit 32 bits".
  std::int32_t id(int column, std::string_view table) const;

 private:
  struct Parsed {};
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const noexcept;
  };

  PreparedStatement(Parsed, Poco::Data::Session& session, const std::string& sql);

  void check(int result) const;

  sqlite3* connection_ = nullptr;
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

/// Runs one statement that gives no rows, once: parses it, binds `values`, runs it. Throws what
/// these throw.
template <class... Values>
void run(Poco::Data::Session& session, const std::string& sql, const Values&... values) {
  PreparedStatement(session, sql, values...).run();
}

}  // namespace korvane::model::cad
