#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <Poco/Data/Session.h>

#include "bond/blob.h"
#include "bond/nullable.h"

struct sqlite3;
struct sqlite3_stmt;

namespace korvane::model::cad {

/// One statement on a session's own connection, inside its transaction, parsed once and run any
/// number of times. For what runs once a record or gives many rows: Poco parses a statement again
/// for each execution and copies every value on its way. Errors are raised through Poco's mapping,
/// so that callers see the data layer's exceptions either way.
///
/// Must be destroyed before its session. Used in the session's thread.
class PreparedStatement {
 public:
  /// Parses `sql`. Throws Poco::Data::NotConnectedException with the connection string if the
  /// session has none, and the data layer's exceptions.
  PreparedStatement(Poco::Data::Session& session, const std::string& sql);

  /// Binds a value to a parameter, counted from one. Texts and bytes are not copied: they must stay
  /// as they are until the statement has run.
  void bind(std::size_t position, std::int32_t value);
  void bind(std::size_t position, double value);
  void bind(std::size_t position, const std::string& value);
  void bind(std::size_t position, const bond::blob& value);
  void bind_null(std::size_t position);
  /// NULL for none.
  template <class T>
  void bind(std::size_t position, const bond::nullable<T>& value) {
    if (value.hasvalue()) {
      bind(position, *value);
    } else {
      bind_null(position);
    }
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

  /// Values of the row, by column, counted from zero. NULL is an empty text or no bytes; what has
  /// another type is converted by SQLite. A text has all its bytes, zero bytes included. Texts and
  /// bytes are valid up to the next step.
  std::string_view text(int column) const;
  std::string_view bytes(int column) const;
  /// The id of a row of `table`; NULL is 0. Another program can make one that no reference holds:
  /// throws krv::rpc4::UnusableRow "<table>: the id <value> does not fit 32 bits".
  std::int32_t id(int column, std::string_view table) const;

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const noexcept;
  };

  void check(int result) const;

  sqlite3* connection_ = nullptr;
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

}  // namespace korvane::model::cad
