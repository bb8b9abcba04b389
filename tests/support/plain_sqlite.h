#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

struct sqlite3;

/// Reads and writes project files with plain SQLite, without the code under test.
namespace korvane::test {

/// A cell as text, or none for NULL. A blob stands as upper-case hexadecimal digits.
using CellText = std::optional<std::string>;
using Row = std::vector<CellText>;
using Rows = std::vector<Row>;
using NamedRow = std::vector<std::pair<std::string, CellText>>;
inline constexpr std::nullopt_t kNull = std::nullopt;

/// A separate connection to a file. Foreign keys are off, and it does not wait for locks. Throws
/// std::runtime_error with SQLite's message. `ConnectionWatch` does not see it.
class PlainConnection {
 public:
  enum class Mode { kRead, kWrite };

  PlainConnection(const std::string& file, Mode mode);

  Rows rows(const std::string& sql);
  /// The first row of the result, each cell with its column's name.
  NamedRow named_row(const std::string& sql);
  /// Runs all statements of `sql`.
  void run(const std::string& sql);

 private:
  struct Close {
    void operator()(sqlite3* connection) const noexcept;
  };
  std::unique_ptr<sqlite3, Close> connection_;
};

/// The rows of a query, read through a read-only connection that is closed afterwards.
Rows plain_rows(const std::string& file, const std::string& sql);

/// Upper-case hexadecimal digits, two a byte.
std::string hex(const void* bytes, std::size_t size);

}  // namespace korvane::test
