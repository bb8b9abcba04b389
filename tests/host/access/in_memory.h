#pragma once

#include <memory>

#include <sqlite3.h>

namespace korvane::test {

struct CloseConnection {
  void operator()(sqlite3* connection) const noexcept { sqlite3_close(connection); }
};
using Connection = std::unique_ptr<sqlite3, CloseConnection>;

/// A connection to a new database that is in no file, with the fence where the process has one.
inline Connection in_memory() {
  sqlite3* connection = nullptr;
  sqlite3_open(":memory:", &connection);
  return Connection(connection);
}

}  // namespace korvane::test
