#include "host/service/around_query.h"

namespace korvane::host {

QuerySurroundings::QuerySurroundings(const AroundQuery& around, const SqlFenceLimits& limits,
                                     CallMemory& memory, const krv::rpc4::LiveService& project,
                                     std::string_view sql)
    : around_(around), limits_(limits), memory_(memory), project_(project), sql_(sql) {
  run(around_.before);
}

QuerySurroundings::~QuerySurroundings() { run(around_.after); }

void QuerySurroundings::run(const AroundQuery::Work& work) noexcept {
  if (!work) return;
  try {
    SqlFence fence(limits_);
    try {
      const CallMemory::Scope scope(memory_);
      work(project_, sql_);
    } catch (...) {
      // The query comes to the same, and says it.
      fence.roll_back();
      return;
    }
    fence.roll_back();
  } catch (...) {
    return;  // no memory for a fence
  }
}

}  // namespace korvane::host
