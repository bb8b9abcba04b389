#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "host/access/sql_fence.h"
#include "host/memory/call_memory.h"
#include "platform/rpc4/directory.h"

namespace korvane::host {

/// What is done before and after each query of a project: in its turn, and outside of the fence of
/// the query. Failures of it are nobody's: the query shows what is missing. May be null.
struct AroundQuery {
  using Work = std::function<void(const krv::rpc4::LiveService& project, std::string_view sql)>;
  Work before;
  Work after;
};

/// A query of `project` for as long as it lives, which all that it is given but the text must outlive:
/// does what is to be done before, and in the end what is to be done after, within `limits`. Made and
/// destroyed on one thread outside of all fences.
class QuerySurroundings {
 public:
  QuerySurroundings(const AroundQuery& around, const SqlFenceLimits& limits, CallMemory& memory,
                    const krv::rpc4::LiveService& project, std::string_view sql);
  QuerySurroundings(const QuerySurroundings&) = delete;
  QuerySurroundings& operator=(const QuerySurroundings&) = delete;
  ~QuerySurroundings();

 private:
  void run(const AroundQuery::Work& work) noexcept;

  const AroundQuery& around_;
  const SqlFenceLimits& limits_;
  CallMemory& memory_;
  const krv::rpc4::LiveService& project_;
  /// Of its own: the request's record, which has it, is gone when the query has run.
  const std::string sql_;
};

}  // namespace korvane::host
