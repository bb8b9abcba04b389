#include "host/service/sql_limits.h"

#include <cstdint>
#include <limits>

#include "host/access/tokens.h"

namespace korvane::host {

using krv::rpc4::Effect;

bool is_fenced_query(const Call& call) {
  return call.operation().effect == Effect::queries &&
         (call.is_get() || call.client().scopes.count(Scope::sql) == 0);
}

SqlFenceLimits sql_limits(const Call& call) {
  const CallLimits& all = call.room().limits;
  const Effect effect = call.operation().effect;
  SqlFenceLimits limits = is_fenced_query(call) ? all.query : all.call;
  if (effect == Effect::queries) limits.statements = 1;
  if (is_fenced_query(call)) return limits;
  if (effect == Effect::queries && !all.is_sql_unfenced) limits.access = SqlAccess::changes;
  // These read no more than their request asks for.
  if (effect == Effect::writes) {
    limits.rows = limits.bytes = std::numeric_limits<std::int64_t>::max();
  }
  return limits;
}

}  // namespace korvane::host
