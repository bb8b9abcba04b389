#pragma once

#include "bench/schedule_generated.h"
#include "contracts/cad/rebar.h"

namespace korvane::bench {

/// The bar in the classes of FlatBuffers' object API: from its JSON, field by field by name, so that
/// `schedule.fbs` cannot fall behind the contract unnoticed. Throws std::logic_error for a field of
/// the contract that the table has not.
flat::RebarT flat_of(const model::cad::Rebar& bar);

}  // namespace korvane::bench
