// For programs that use fences for SQL: SQLite takes an allocator only before anything else of it
// is used, which other sources of tests do while the program starts.

#include "host/access/sql_fence.h"

namespace {

[[gnu::constructor(101)]] void install_before_all_else() { korvane::host::install_sql_fence(); }

}  // namespace
