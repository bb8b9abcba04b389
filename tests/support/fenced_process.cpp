// For programs that use SQL fences: SQLite accepts an allocator only before it is first used, and
// other test sources use it while the program starts.

#include "host/access/sql_fence.h"

namespace {

[[gnu::constructor(101)]] void install_before_all_else() { korvane::host::install_sql_fence(); }

}  // namespace
