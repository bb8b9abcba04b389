#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "platform/project_rpc/project_service.h"
#include "schedule/structure.h"
#include "schedule/table.h"

/// The lines of a revision a page at a time, as content_tables has them.
namespace korvane::schedule {

/// Where the lines of one kind and revision are in their table.
struct LineRange {
  std::size_t count = 0;
  /// Ids of rows; other revisions' may lie between them. No meaning without a line.
  std::int64_t first = 0;
  std::int64_t last = 0;
};

/// Goes through the whole table: it has no index by revision. `kind` is one of table_kinds();
/// `content_id` is RevisionEntry's. Throws what `query_table` throws.
LineRange find_range(model::cad::Project_Service& project, const std::string& kind,
                     std::int32_t content_id);

/// The columns of that kind of these names, in their order; all of them without a name. Throws
/// krv::rpc4::BadRequest "bars have no column \"weight\": expected sheet, revision, …".
std::vector<Column> columns_of_kind(const std::string& kind,
                                    const std::vector<std::string>& names = {});

struct LinePage {
  std::string kind;
  /// Names of columns; all if there is none.
  std::vector<std::string> columns = {};
  /// Only rows with a higher id.
  std::int64_t after = std::numeric_limits<std::int64_t>::min();
  std::size_t limit = 1000;
};

/// Called with the id of a row, and with its cells in the order of the columns.
using LineVisit = std::function<void(std::int64_t id, const std::vector<Cell>& cells)>;

/// Called with the id of a row whose record cannot be read, its table, and what is wrong with it.
using DamagedVisit =
    std::function<void(std::int64_t id, const char* table, const std::string& reason)>;

/// Calls `visit` for the lines of a page in the order of their ids, for one that cannot be read
/// `visit_damaged`, and returns the id that the next page comes after; nothing after the last line.
/// `range` is the revision's. Rows of other pages are not decoded, and those before it not looked at.
/// Throws as columns_of_kind does, and what `query_table` throws.
std::optional<std::int64_t> read_page(model::cad::Project_Service& project,
                                      const Structure& structure, const SelectedRevision& selected,
                                      const LineRange& range, const LinePage& page,
                                      const LineVisit& visit, const DamagedVisit& visit_damaged);

}  // namespace korvane::schedule
